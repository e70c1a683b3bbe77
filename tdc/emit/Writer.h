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
  /// A documentation comment, wrapped; nothing for an empty text.
  void doc(std::string_view text);
  /// `head` and the items, separated by commas, behind one another; where they do not fit, the
  /// items go on below the first one.
  void list(std::string_view head, const std::vector<std::string>& items, std::string_view tail);
  void indent() { indentation_ += 2; }
  void outdent() { indentation_ -= 2; }
  size_t indentation() const { return indentation_; }
  /// Writes everything another writer has, at this one's indentation.
  void block(const std::string& text);
  std::string take() { return std::move(text_); }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  size_t indentation_ = 0;
};

/// Words of a text in lines of at most so many characters.
std::vector<std::string> wrapped(std::string_view text, size_t width);
/// A C++ string literal.
std::string literal(std::string_view text);

}  // namespace tdc
