// What a command says when it does not succeed.
#pragma once

#include <string>

#include "Tovo/Path.h"
#include "stptool/Failure.h"

namespace stptool {

/// {"error": {"message": ..., "exitCode": 1, ...}} on a line, with the fields that apply.
std::string errorJson(const Failure& failure);

/// A path that leads nowhere, with the name that was perhaps meant.
Failure withSuggestion(const Tovo::PathException& error);

}  // namespace stptool
