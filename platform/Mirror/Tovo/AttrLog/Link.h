// Where links could be found before they had a library of their own.
#pragma once

#include "Mirror/Link.h"  // IWYU pragma: export
