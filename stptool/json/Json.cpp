#include "stptool/json/Json.h"

template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace stptool {

std::string shownJson(const Json& value) {
  constexpr size_t shownBytes = 60;
  std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
  if (text.size() > shownBytes) text.replace(shownBytes - 3, std::string::npos, "...");
  return text;
}

}  // namespace stptool
