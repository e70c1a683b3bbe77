#include "stptool/text/NaturalOrder.h"

#include <cstddef>

namespace stptool {

namespace {

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// Takes a run of digits, without leading zeros, from the front of the text.
std::string_view takeNumber(std::string_view& text) noexcept {
  size_t end = 0;
  while (end < text.size() && isDigit(text[end])) ++end;
  std::string_view number = text.substr(0, end);
  text.remove_prefix(end);
  while (!number.empty() && number.front() == '0') number.remove_prefix(1);
  return number;
}

}  // namespace

bool naturalLess(std::string_view a, std::string_view b) noexcept {
  const std::string_view wholeA = a;
  const std::string_view wholeB = b;
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      const std::string_view numberA = takeNumber(a);
      const std::string_view numberB = takeNumber(b);
      if (numberA.size() != numberB.size()) return numberA.size() < numberB.size();
      if (numberA != numberB) return numberA < numberB;
    } else {
      const auto first = static_cast<unsigned char>(a.front());
      const auto second = static_cast<unsigned char>(b.front());
      if (first != second) return first < second;
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  if (a.empty() != b.empty()) return a.empty();
  return wholeA < wholeB;  // they differ in leading zeros only
}

}  // namespace stptool
