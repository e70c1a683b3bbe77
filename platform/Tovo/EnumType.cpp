#include "Tovo/EnumType.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <ostream>

#include "Tovo/Exceptions.h"
#include "Tovo/Module.h"

namespace Tovo {

namespace {

std::span<const EnumLiteral> literals(TovoTypeBase type) noexcept {
  const TypeDescriptor& descriptor = typeDescriptor(type);
  return {descriptor.literals, descriptor.literalCount};
}

std::string allowed(TovoTypeBase type) {
  std::string out = " of ";
  out += typeName(type);
  out += "; allowed are";
  const char* separator = " ";
  for (const EnumLiteral& literal : literals(type)) {
    out += separator;
    out += literal.name;
    out += " (" + std::to_string(literal.value) + ")";
    separator = ", ";
  }
  return out;
}

const EnumLiteral* byName(std::string_view name, TovoTypeBase type) noexcept {
  for (const EnumLiteral& literal : literals(type)) {
    if (literal.name == name) return &literal;
  }
  return nullptr;
}

bool isIdentifierCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// A number that the type's width holds: an octet, or 32 bits with a sign.
bool readNumber(CharRange& text, TovoTypeBase type, int64_t& number) {
  const std::string_view rest = text.rest();
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (error != std::errc{}) return false;
  const bool isOctet = typeDescriptor(type).encodedSize == 1;
  const int64_t low = isOctet ? 0 : std::numeric_limits<int32_t>::min();
  const int64_t high =
      isOctet ? std::numeric_limits<uint8_t>::max() : std::numeric_limits<int32_t>::max();
  if (number < low || number > high) return false;
  text.skip(static_cast<size_t>(end - rest.data()));
  return true;
}

}  // namespace

int64_t EnumType::instance(int64_t number, TovoTypeBase type) {
  if (literalName(number, type)) return number;
  throw RangeException(std::to_string(number) + " is not a number" + allowed(type));
}

int64_t EnumType::instance(const Pelmo::String& name, TovoTypeBase type) {
  if (const EnumLiteral* literal = byName(name, type)) return literal->value;
  std::string quoted;
  appendQuoted(quoted, name);
  throw RangeException(quoted + " is not a literal" + allowed(type));
}

Pelmo::String EnumType::stringValue(int64_t number, TovoTypeBase type) {
  if (const char* name = literalName(number, type)) return Pelmo::String(name);
  throw RangeException(std::to_string(number) + " is not a number" + allowed(type));
}

const char* EnumType::literalName(int64_t number, TovoTypeBase type) noexcept {
  for (const EnumLiteral& literal : literals(type)) {
    if (literal.value == number) return literal.name;
  }
  return nullptr;
}

int64_t EnumType::sequenceToValue(CharRange& text, TovoTypeBase type) {
  const std::string_view rest = text.rest();
  const size_t length = static_cast<size_t>(
      std::find_if_not(rest.begin(), rest.end(), isIdentifierCharacter) - rest.begin());
  if (const EnumLiteral* literal = byName(rest.substr(0, length), type)) {
    text.skip(length);
    return literal->value;
  }
  if (int64_t number = 0; !text.checksRanges() && readNumber(text, type, number)) return number;
  std::string quoted;
  appendQuoted(quoted, rest.substr(0, length));
  throw ParseException(quoted + " is not a literal" + allowed(type), text.position());
}

void EnumType::appendText(std::string& out, int64_t number, TovoTypeBase type) {
  if (const char* name = literalName(number, type)) {
    out += name;
  } else {
    out += std::to_string(number);
  }
}

std::ostream& EnumType::operatorLessLess(std::ostream& os, int64_t number, TovoTypeBase type) {
  std::string text;
  appendText(text, number, type);
  return os << text;
}

}  // namespace Tovo
