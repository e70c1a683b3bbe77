#include "stptool/text/Printable.h"

#include "Tovo/Inspect.h"

namespace stptool {

std::string typedText(const Tovo::ValueOps& ops, const void* value) {
  std::string text = Tovo::plainText(ops, value);
  if (!text.starts_with('\'') && isPrintable(text)) return text;
  return Tovo::valueText(ops, value);
}

}  // namespace stptool
