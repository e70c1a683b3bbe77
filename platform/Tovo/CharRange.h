// Reading values from text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Pelmo/String.h"
#include "Tovo/Types.h"

namespace Tovo {

/// Which values a text may say.
enum class Ranges : uint8_t {
  checked,  ///< those that a setter takes
  kept,     ///< also what only the attribute log brings: values outside their ranges, and numbers
            ///< where an enumeration has no literal
};

/// A view of text with a read position. Does not own the text.
class CharRange {
 public:
  explicit CharRange(std::string_view text, Ranges ranges = Ranges::checked) noexcept
      : begin_(text.data()), current_(begin_), end_(begin_ + text.size()), ranges_(ranges) {}

  /// A type that refuses values which its log form can hold asks this before it does.
  bool checksRanges() const noexcept { return ranges_ == Ranges::checked; }

  std::string_view rest() const noexcept { return {current_, size()}; }
  size_t size() const noexcept { return static_cast<size_t>(end_ - current_); }
  bool empty() const noexcept { return current_ == end_; }
  /// Zero at the end.
  char front() const noexcept { return empty() ? '\0' : *current_; }
  size_t position() const noexcept { return static_cast<size_t>(current_ - begin_); }
  void positionIs(size_t position) noexcept { current_ = begin_ + position; }
  void skip(size_t count) noexcept { current_ += count; }

  /// True, and past it, when the rest starts with the text.
  bool accept(std::string_view text) noexcept;
  /// Throws ParseException: "expected '(' at character 7, found 'x'".
  void expect(std::string_view text);

 private:
  const char* begin_;
  const char* current_;
  const char* end_;
  Ranges ranges_;
};

/// "Value('Stp::PortId', portPriority=": the start of a record's text up to its first value.
/// Throws ParseException.
void needPre(CharRange& text, std::string_view typeName, std::string_view firstField);
/// ", portNumber=": what stands before the next value. Throws ParseException.
void needSep(CharRange& text, std::string_view nextField);

/// Demands the closing parenthesis where the record's text ends, unless an exception passes.
/// The destructor throws ParseException.
class DesAttrPost {
 public:
  explicit DesAttrPost(CharRange& text) noexcept;
  ~DesAttrPost() noexcept(false);
  DesAttrPost(const DesAttrPost&) = delete;
  DesAttrPost& operator=(const DesAttrPost&) = delete;

 private:
  CharRange& text_;
  int unwinding_;
};

/// Demands that nothing is left behind the value, unless an exception passes.
/// The destructor throws ParseException.
class CharRangeCheckAllDataConsumed {
 public:
  explicit CharRangeCheckAllDataConsumed(CharRange& text) noexcept;
  ~CharRangeCheckAllDataConsumed() noexcept(false);
  CharRangeCheckAllDataConsumed(const CharRangeCheckAllDataConsumed&) = delete;
  CharRangeCheckAllDataConsumed& operator=(const CharRangeCheckAllDataConsumed&) = delete;

 private:
  CharRange& text_;
  int unwinding_;
};

/// Reads one primitive: decimal digits only for numbers, true or false for bool (the first letter
/// may be a capital), a quoted string, seconds as a real. Throws ParseException with the field's
/// name; a number too large for the width is one.
template <class T>
T deserializeAttr(CharRange& text, std::string_view field);
template <>
uint8_t deserializeAttr<uint8_t>(CharRange& text, std::string_view field);
template <>
uint16_t deserializeAttr<uint16_t>(CharRange& text, std::string_view field);
template <>
uint32_t deserializeAttr<uint32_t>(CharRange& text, std::string_view field);
template <>
uint64_t deserializeAttr<uint64_t>(CharRange& text, std::string_view field);
template <>
bool deserializeAttr<bool>(CharRange& text, std::string_view field);
template <>
Seconds deserializeAttr<Seconds>(CharRange& text, std::string_view field);
template <>
Pelmo::String deserializeAttr<Pelmo::String>(CharRange& text, std::string_view field);

/// The forms that deserializeAttr reads back equal.
void appendText(std::string& out, uint8_t value);
void appendText(std::string& out, uint16_t value);
void appendText(std::string& out, uint32_t value);
void appendText(std::string& out, uint64_t value);
void appendText(std::string& out, bool value);
void appendText(std::string& out, Seconds value);
void appendText(std::string& out, const Pelmo::String& value);
/// In single quotes; a quote and a backslash behind a backslash, other bytes than printable ASCII
/// as a backslash, x and two hexadecimal digits.
void appendQuoted(std::string& out, std::string_view text);

}  // namespace Tovo
