// Where recordings could be found before they had a library of their own.
#pragma once

#include "Mirror/Recording.h"  // IWYU pragma: export
