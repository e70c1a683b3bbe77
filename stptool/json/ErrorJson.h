// A failure as programs read it.
#pragma once

#include <string>

#include "stptool/output/Failure.h"

namespace stptool {

/// {"error": {"message": ..., "exitCode": 1, ...}} on a line, with the fields that apply.
std::string errorJson(const Failure& failure);

}  // namespace stptool
