// JSON that keeps the order of members.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "stptool/Failure.h"

// Made once, in Json.cpp: it would cost each file that touches JSON more than its own code.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace stptool {

using Json = nlohmann::ordered_json;
/// A place in a document, written as in RFC 6901: "/mounts/~1stp~1hw/mstiHw".
using JsonPlace = nlohmann::json_pointer<std::string>;

/// A member that is not what it should be. The message says what was found and what is allowed.
class JsonError : public Failure {
 public:
  JsonError(const JsonPlace& place, const std::string& message)
      : Failure((place.empty() ? "/" : place.to_string()) + ": " + message) {}
};

/// As a message shows a value: short, on one line.
std::string shownJson(const Json& value);

}  // namespace stptool
