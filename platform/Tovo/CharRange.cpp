#include "Tovo/CharRange.h"

#include <charconv>
#include <cmath>
#include <exception>
#include <limits>

#include "Tovo/Exceptions.h"

namespace Tovo {

namespace {

std::string shown(const CharRange& text) {
  if (text.empty()) return "the end of the text";
  constexpr size_t shownCharacters = 16;
  std::string out;
  appendQuoted(out, text.rest().substr(0, shownCharacters));
  return out;
}

[[noreturn]] void fail(const CharRange& text, const std::string& expected,
                       std::string_view field = {}) {
  throw ParseException("expected " + expected + " at character " + std::to_string(text.position()) +
                           ", found " + shown(text),
                       text.position(), std::string(field));
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

template <class T>
T number(CharRange& text, std::string_view field) {
  const std::string_view rest = text.rest();
  T value{};
  // from_chars takes a minus sign only for signed types, and no blank or plus sign.
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value, 10);
  if (error == std::errc::result_out_of_range) {
    size_t digits = 0;
    while (digits < rest.size() && isDigit(rest[digits])) ++digits;
    throw ParseException("the number " + std::string(rest.substr(0, digits)) + " at character " +
                             std::to_string(text.position()) + " is above " +
                             std::to_string(std::numeric_limits<T>::max()),
                         text.position(), std::string(field));
  }
  if (error != std::errc{}) fail(text, "a decimal number", field);
  text.skip(static_cast<size_t>(end - rest.data()));
  return value;
}

int hexDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

template <class T>
void appendNumber(std::string& out, T value) {
  char digits[std::numeric_limits<T>::digits10 + 1];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  out.append(digits, result.ptr);
}

}  // namespace

bool CharRange::accept(std::string_view text) noexcept {
  if (!rest().starts_with(text)) return false;
  skip(text.size());
  return true;
}

void CharRange::expect(std::string_view text) {
  if (accept(text)) return;
  std::string expected;
  appendQuoted(expected, text);
  fail(*this, expected);
}

void needPre(CharRange& text, std::string_view typeName, std::string_view firstField) {
  std::string prefix = "Value('";
  prefix.append(typeName).append("', ").append(firstField).append("=");
  if (!text.accept(prefix)) fail(text, '"' + prefix + '"');
}

void needSep(CharRange& text, std::string_view nextField) {
  std::string separator = ", ";
  separator.append(nextField).append("=");
  if (!text.accept(separator)) fail(text, '"' + separator + '"');
}

DesAttrPost::DesAttrPost(CharRange& text) noexcept
    : text_(text), unwinding_(std::uncaught_exceptions()) {}

DesAttrPost::~DesAttrPost() noexcept(false) {
  if (std::uncaught_exceptions() == unwinding_) text_.expect(")");
}

CharRangeCheckAllDataConsumed::CharRangeCheckAllDataConsumed(CharRange& text) noexcept
    : text_(text), unwinding_(std::uncaught_exceptions()) {}

CharRangeCheckAllDataConsumed::~CharRangeCheckAllDataConsumed() noexcept(false) {
  if (std::uncaught_exceptions() == unwinding_ && !text_.empty()) {
    fail(text_, "the end of the text");
  }
}

template <>
uint8_t deserializeAttr<uint8_t>(CharRange& text, std::string_view field) {
  return number<uint8_t>(text, field);
}

template <>
uint16_t deserializeAttr<uint16_t>(CharRange& text, std::string_view field) {
  return number<uint16_t>(text, field);
}

template <>
uint32_t deserializeAttr<uint32_t>(CharRange& text, std::string_view field) {
  return number<uint32_t>(text, field);
}

template <>
uint64_t deserializeAttr<uint64_t>(CharRange& text, std::string_view field) {
  return number<uint64_t>(text, field);
}

template <>
bool deserializeAttr<bool>(CharRange& text, std::string_view field) {
  if (text.accept("true") || text.accept("True")) return true;
  if (text.accept("false") || text.accept("False")) return false;
  fail(text, "true or false", field);
}

template <>
Seconds deserializeAttr<Seconds>(CharRange& text, std::string_view field) {
  const std::string_view rest = text.rest();
  Seconds value{};
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
  if (error == std::errc::result_out_of_range) {
    throw ParseException("the number of seconds at character " + std::to_string(text.position()) +
                             " is outside the range of a double",
                         text.position(), std::string(field));
  }
  if (error != std::errc{}) fail(text, "a number of seconds", field);
  text.skip(static_cast<size_t>(end - rest.data()));
  return value;
}

template <>
Pelmo::String deserializeAttr<Pelmo::String>(CharRange& text, std::string_view field) {
  const size_t start = text.position();
  if (!text.accept("'")) fail(text, "a string in single quotes", field);
  std::string value;
  for (;;) {
    if (text.empty()) {
      text.positionIs(start);
      fail(text, "a string that ends in a single quote", field);
    }
    const char c = text.front();
    text.skip(1);
    if (c == '\'') return Pelmo::String(value);
    if (c != '\\') {
      value += c;
      continue;
    }
    const std::string_view rest = text.rest();
    if (!rest.empty() && (rest[0] == '\\' || rest[0] == '\'')) {
      value += rest[0];
      text.skip(1);
    } else if (rest.size() >= 3 && rest[0] == 'x' && hexDigit(rest[1]) >= 0 &&
               hexDigit(rest[2]) >= 0) {
      value += static_cast<char>(hexDigit(rest[1]) << 4 | hexDigit(rest[2]));
      text.skip(3);
    } else {
      fail(text, "\\, ' or xHH behind a backslash", field);
    }
  }
}

void appendText(std::string& out, uint8_t value) { appendNumber(out, value); }
void appendText(std::string& out, uint16_t value) { appendNumber(out, value); }
void appendText(std::string& out, uint32_t value) { appendNumber(out, value); }
void appendText(std::string& out, uint64_t value) { appendNumber(out, value); }
void appendText(std::string& out, bool value) { out += value ? "true" : "false"; }

void appendText(std::string& out, Seconds value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  out.append(digits, result.ptr);
}

void appendText(std::string& out, const Pelmo::String& value) { appendQuoted(out, value); }

void appendQuoted(std::string& out, std::string_view text) {
  static constexpr char hex[] = "0123456789abcdef";
  out += '\'';
  for (const char c : text) {
    if (c == '\'' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c >= 0x20 && c < 0x7f) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += "\\x";
      out += hex[byte >> 4];
      out += hex[byte & 15];
    }
  }
  out += '\'';
}

}  // namespace Tovo
