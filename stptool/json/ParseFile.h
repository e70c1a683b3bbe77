// A file as a JSON document.
#pragma once

#include <string>

#include "stptool/json/Json.h"
#include "stptool/output/Progress.h"

namespace stptool {

/// Reads and parses a file, "-" being standard input. Throws Failure: "FILE: ..." when it cannot be
/// read, "FILE:3:14: ..." where it is no JSON, "FILE: /a/b: ..." where a member stands twice.
Json parseJsonFile(const std::string& file);
Json parseJsonFile(const std::string& file, Progress& progress);

/// The same of what was read from a file.
Json parseJson(const std::string& text, const std::string& file);

}  // namespace stptool
