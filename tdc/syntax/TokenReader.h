// Where a parser is in a file: the next token, the comments before it, and the way out of an error.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Lexer.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Ends the item being parsed; the error is already reported.
struct Abandoned {};

/// Reads the tokens of a file one by one. The file and the diagnostics must outlive it.
class TokenReader {
 protected:
  TokenReader(const SourceFile& file, Diagnostics& diagnostics);

  /// The next token, or one behind it; at the end of the file, that end.
  Token& peek(size_t ahead = 0);
  bool is(std::string_view punctuation);
  bool isWord(std::string_view word);
  /// Passes the next token and keeps its comments for the item being parsed.
  Token& advance();
  /// Passes the next token, whatever it is, and forgets its comments.
  void skip();
  bool accept(std::string_view punctuation);
  void expect(std::string_view punctuation);
  void expectWord(const std::string& word);
  /// Passes a token and gives it as written.
  syntax::Word take();

  /// Report an error and give the item up.
  [[noreturn]] void fail(Span where, std::string text);
  [[noreturn]] void expected(const std::string& what);
  /// The next token as a message shows it.
  std::string found();

  /// Stand around an item: its comments become those above it and beside it.
  void begin(syntax::Item& item, bool documented);
  void end(syntax::Item& item);
  /// What stands before a closing brace or the end of the file.
  std::vector<Comment> lastComments();

  /// Runs `parse`; where it gives up, goes on behind what it was parsing and returns false.
  template <class Function>
  bool attempt(const Function& parse) {
    const size_t start = here_;
    try {
      parse();
      return true;
    } catch (const Abandoned&) {
      recover(start);
      strays_.clear();
      return false;
    }
  }

  Diagnostics& diagnostics_;
  /// Whether members or external types are being parsed, which end at a brace.
  bool inBlock_ = false;
  /// Comments from within the item being parsed.
  std::vector<Comment> strays_;

 private:
  void refuseDocumentation(const Comment& comment);
  /// Skips behind the next `;`, or in front of a `}` or of a line that begins a member or a type.
  void recover(size_t start);
  bool startsDeclaration();

  std::vector<Token> tokens_;
  size_t here_ = 0;
};

}  // namespace tdc
