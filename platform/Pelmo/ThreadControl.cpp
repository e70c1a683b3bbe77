#include "Pelmo/ThreadControl.h"

namespace Pelmo {

bool ThreadControl::tsp_ = false;

}  // namespace Pelmo
