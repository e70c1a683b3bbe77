// Where connections could be found before they had a library of their own.
#pragma once

#include "Mirror/Connection.h"  // IWYU pragma: export
