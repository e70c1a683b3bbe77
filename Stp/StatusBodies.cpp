// What the status types compute, and the texts that they refuse.
#include "Stp/StpStatus.h"
#include "Tovo/Assert.h"
#include "Tovo/System.h"

namespace Stp {

bool Status::recentlyRestarted() const {
  constexpr Tovo::Seconds span = 120;
  return lastRestart() + span > Tovo::System::currentTime();
}

OCGlobalStateContainer::OCGlobalStateContainer(Tovo::CharRange&) {
  TOVO_ASSERT_AT("Stp/StpStatus",
                 false && "No String constructor for OCGlobalStateContainer - has collection");
}

}  // namespace Stp
