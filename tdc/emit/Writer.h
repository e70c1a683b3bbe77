// Lines of C++ at an indentation.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tdc {

class Writer {
 public:
  static constexpr size_t width = 100;

  /// An empty line is written without blanks, and two of them become one.
  void line(std::string_view text = {});
  /// A statement; one that is too long goes on below the arguments of its outermost call, or, where
  /// the first of them does not fit there, on the next line.
  void code(std::string_view statement);
  /// A documentation comment, wrapped; nothing for an empty text.
  void doc(std::string_view text);
  /// "type name;", the name on the next line where it does not fit.
  void declaration(std::string_view type, std::string_view name);
  /// "name = value;", the value on the next line where it does not fit; just the name without one.
  void assignment(std::string_view name, std::string_view value);
  /// `head` and the items, separated by commas, behind one another; where they do not fit, the
  /// items go on below the first one, and where one of them does not fit there or that takes more
  /// lines, on the next line.
  void list(std::string_view head, const std::vector<std::string>& items, std::string_view tail);
  void indent() { indentation_ += 2; }
  void outdent() { indentation_ -= 2; }
  size_t indentation() const { return indentation_; }
  /// A text as literals that fit, one a line, at the indentation of a continuation.
  void text(std::string_view value, std::string_view tail);
  /// Ends the text with its last line that is not empty.
  void trim() {
    while (text_.ends_with("\n\n")) text_.pop_back();
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
  size_t indentation_ = 0;
};

/// Words of a text in lines of at most so many characters.
std::vector<std::string> wrapped(std::string_view text, size_t width);
/// A C++ string literal.
std::string literal(std::string_view text);

}  // namespace tdc
