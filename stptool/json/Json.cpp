#include "stptool/json/Json.h"

#include <cstdio>

#include "Tovo/Printable.h"

template nlohmann::basic_json<nlohmann::ordered_map>::basic_json(const nlohmann::ordered_json&);
template nlohmann::basic_json<nlohmann::ordered_map>::basic_json(initializer_list_t, bool, value_t);
template void nlohmann::basic_json<nlohmann::ordered_map>::json_value::destroy(value_t);
template std::string nlohmann::basic_json<nlohmann::ordered_map>::dump(int, char, bool,
                                                                       error_handler_t) const;

namespace stptool {

namespace {

// The next character of valid UTF-8 as JSON escapes it.
void appendEscape(std::string& out, std::string_view& rest) {
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(rest[at]); };
  const size_t length = byte(0) < 0x80 ? 1 : byte(0) < 0xe0 ? 2 : byte(0) < 0xf0 ? 3 : 4;
  unsigned code = length == 1 ? byte(0) : byte(0) & (0x7fU >> length);
  for (size_t at = 1; at < length; ++at) code = code << 6 | (byte(at) & 0x3f);
  const auto append = [&](unsigned unit) {
    char text[16];
    std::snprintf(text, sizeof text, "\\u%04x", unit);
    out += text;
  };
  if (code < 0x10000) {
    append(code);
  } else {
    append(0xd800 + ((code - 0x10000) >> 10));
    append(0xdc00 + (code & 0x3ff));
  }
  rest.remove_prefix(length);
}

}  // namespace

std::string jsonText(const Json& value, int indent) {
  std::string text = value.dump(indent, ' ', false, Json::error_handler_t::replace);
  if (indent < 0 && Tovo::isPrintable(text)) return text;
  std::string escaped;
  for (std::string_view rest = text; !rest.empty();) {
    const size_t length = rest.front() == '\n' ? 1 : Tovo::printableLength(rest);
    if (length == 0) {
      appendEscape(escaped, rest);
    } else {
      escaped += rest.substr(0, length);
      rest.remove_prefix(length);
    }
  }
  return escaped;
}

std::string lineOf(const Json& json) { return jsonText(json) + "\n"; }

std::string shownJson(const Json& value) {
  constexpr size_t shownBytes = 60;
  std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
  if (text.size() > shownBytes) text.replace(shownBytes - 3, std::string::npos, "...");
  return text;
}

}  // namespace stptool
