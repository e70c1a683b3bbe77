#include "tdc/model/Numbers.h"

#include <charconv>
#include <cmath>

namespace tdc {

std::string plainText(double number) {
  constexpr double fromWhichOn = 1e-5;
  constexpr double belowWhich = 1e17;
  const double size = std::abs(number);
  const bool plain = size == 0 || (size >= fromWhichOn && size < belowWhich);
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, number,
                                 plain ? std::chars_format::fixed : std::chars_format::scientific);
  return {text, end.ptr};
}

}  // namespace tdc
