// The texts that the configuration types refuse.
#include "Stp/StpConfig.h"
#include "Tovo/Assert.h"

namespace Stp {

OCGlobalConfigContainer::OCGlobalConfigContainer(Tovo::CharRange&) {
  TOVO_ASSERT_AT("Stp/StpConfig",
                 false && "No String constructor for OCGlobalConfigContainer - has collection");
}

}  // namespace Stp
