#include "stptool/json/ErrorJson.h"

#include "stptool/json/Json.h"

namespace stptool {

std::string errorJson(const Failure& failure) {
  const FailureFields& fields = failure.fields();
  Json error{{"message", failure.what()}, {"exitCode", static_cast<int>(failure.code())}};
  const std::pair<const char*, const std::string&> texts[] = {
      {"path", fields.path},   {"attribute", fields.attribute},
      {"value", fields.value}, {"allowed", fields.allowed},
      {"unit", fields.unit},   {"default", fields.initial},
      {"file", fields.file},   {"didYouMean", fields.suggestion},
  };
  for (const auto& [name, text] : texts) {
    if (!text.empty()) error[name] = text;
  }
  if (fields.byte) error["byte"] = *fields.byte;
  return lineOf({{"error", std::move(error)}});
}

}  // namespace stptool
