#include "stptool/json/Json.h"

template nlohmann::basic_json<nlohmann::ordered_map>::basic_json(const nlohmann::ordered_json&);
template nlohmann::basic_json<nlohmann::ordered_map>::basic_json(initializer_list_t, bool, value_t);
template void nlohmann::basic_json<nlohmann::ordered_map>::json_value::destroy(value_t);
template std::string nlohmann::basic_json<nlohmann::ordered_map>::dump(int, char, bool,
                                                                       error_handler_t) const;

namespace stptool {

std::string shownJson(const Json& value) {
  constexpr size_t shownBytes = 60;
  std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
  if (text.size() > shownBytes) text.replace(shownBytes - 3, std::string::npos, "...");
  return text;
}

}  // namespace stptool
