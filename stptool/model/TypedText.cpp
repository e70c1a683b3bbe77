#include "stptool/model/TypedText.h"

#include "Tovo/Inspect.h"
#include "Tovo/Printable.h"

namespace stptool {

std::string typedText(const Tovo::ValueOps& ops, const void* value) {
  std::string text = Tovo::plainText(ops, value);
  if (!text.starts_with('\'') && Tovo::isPrintable(text)) return text;
  return Tovo::valueText(ops, value);
}

}  // namespace stptool
