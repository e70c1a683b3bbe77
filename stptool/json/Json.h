// JSON that keeps the order of members.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "stptool/output/Failure.h"

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

/// A document as text, on one line or indented. What Tovo::isPrintable denies stands as \u escapes,
/// bytes that are no UTF-8 are replaced.
std::string jsonText(const Json& value, int indent = -1);
/// The same on a line of its own.
std::string lineOf(const Json& json);

/// As a message shows a value: short, on one line.
std::string shownJson(const Json& value);

}  // namespace stptool

// What is called and not inlined; made once, in Json.cpp. All of the class would take longer to
// compile than any file that uses it.
extern template nlohmann::basic_json<nlohmann::ordered_map>::basic_json(
    const nlohmann::ordered_json&);
extern template nlohmann::basic_json<nlohmann::ordered_map>::basic_json(initializer_list_t, bool,
                                                                        value_t);
extern template void nlohmann::basic_json<nlohmann::ordered_map>::json_value::destroy(value_t);
extern template std::string nlohmann::basic_json<nlohmann::ordered_map>::dump(
    int, char, bool, error_handler_t) const;
