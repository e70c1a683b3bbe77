// Text to tokens.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/SourceFile.h"

namespace tdc {

struct Comment {
  /// What follows the slashes, without trailing blanks.
  std::string text;
  Span span;
  /// Written with three slashes.
  bool documentation = false;
  /// Nothing but blanks stands before it on its line.
  bool ownLine = false;
  bool blankLineAbove = false;
};

struct Token {
  enum class Kind {
    word,
    number,  ///< starts with a digit; also the 16 hexadecimal digits of a record that do
    real,
    text,
    punctuation,
    end,
  };

  Kind kind = Kind::end;
  Span span;
  /// As written; points into the file.
  std::string_view spelling;
  /// What a text says, its escapes replaced.
  std::string text;
  /// The comments between the token before and this one.
  std::vector<Comment> comments;
  bool firstOnLine = false;
  bool blankLineAbove = false;
};

/// The tokens of a file, the last one being `end`. Accepts any bytes: what is no token is an error
/// and left out.
std::vector<Token> tokens(const SourceFile& file, Diagnostics& diagnostics);

}  // namespace tdc
