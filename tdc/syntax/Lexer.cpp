#include "tdc/syntax/Lexer.h"

namespace tdc {

namespace {

// The locale must not decide what a letter is.
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isWordStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWord(char c) { return isWordStart(c) || isDigit(c); }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

int hexDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string hexByte(char c) {
  const char* digits = "0123456789abcdef";
  auto byte = static_cast<unsigned char>(c);
  return std::string("0x") + digits[byte >> 4] + digits[byte & 15];
}

class Lexer {
 public:
  Lexer(const SourceFile& file, Diagnostics& diagnostics)
      : file_(file), source_(file.text()), diagnostics_(diagnostics) {}

  std::vector<Token> run() {
    std::vector<Token> result;
    do {
      result.push_back(next());
    } while (result.back().kind != Token::Kind::end);
    return result;
  }

 private:
  char at(size_t offset) const { return offset < source_.size() ? source_[offset] : '\0'; }
  Span span(size_t begin, size_t end) const {
    return {&file_, static_cast<uint32_t>(begin), static_cast<uint32_t>(end)};
  }

  Token next() {
    Token token;
    for (;;) {
      skipBlanks();
      if (at(here_) == '/' && at(here_ + 1) == '/') {
        token.comments.push_back(comment());
      } else if (here_ == source_.size() || scan(token)) {
        break;
      }
    }
    if (token.kind == Token::Kind::end) token.span = span(here_, here_);
    token.spelling = source_.substr(token.span.begin, token.span.end - token.span.begin);
    token.firstOnLine = lineBreaks_ > 0;
    token.blankLineAbove = lineBreaks_ > 1;
    lineBreaks_ = 0;
    return token;
  }

  void skipBlanks() {
    for (; here_ < source_.size() && isBlank(source_[here_]); ++here_) {
      lineBreaks_ += source_[here_] == '\n' ? 1 : 0;
    }
  }

  Comment comment() {
    Comment result;
    result.ownLine = lineBreaks_ > 0 || here_ == 0;
    result.blankLineAbove = lineBreaks_ > 1;
    lineBreaks_ = 0;
    size_t begin = here_;
    size_t end = std::min(source_.find('\n', here_), source_.size());
    here_ = end;
    while (end > begin && isBlank(source_[end - 1])) --end;
    size_t text = begin + 2;
    if (at(text) == '/' && at(text + 1) != '/') {
      result.documentation = true;
      ++text;
    }
    result.span = span(begin, end);
    result.text = source_.substr(text, end > text ? end - text : 0);
    for (size_t i = begin; i < end; ++i) {
      if (isControl(source_[i]) && source_[i] != '\t') {
        diagnostics_.error(span(i, i + 1),
                           "byte " + hexByte(source_[i]) + " in a comment; remove it");
        break;
      }
    }
    return result;
  }

  /// False where there was no token; what stood there is skipped.
  bool scan(Token& token) {
    size_t begin = here_;
    char c = source_[here_];
    if (isWordStart(c)) {
      token.kind = Token::Kind::word;
      skipWord();
    } else if (isDigit(c)) {
      token.kind = Token::Kind::number;
      skipWord();
      if (at(here_) == '.' && isDigit(at(here_ + 1))) {
        token.kind = Token::Kind::real;
        ++here_;
        skipWord();
      }
    } else if (c == '"') {
      token.kind = Token::Kind::text;
      text(token);
    } else if ((c == '.' || c == ':') && at(here_ + 1) == c) {
      token.kind = Token::Kind::punctuation;
      here_ += 2;
    } else if (c != '\0' && std::string_view("{}()[];:,=-").find(c) != std::string_view::npos) {
      token.kind = Token::Kind::punctuation;
      ++here_;
    } else {
      skipStrange();
      return false;
    }
    token.span = span(begin, here_);
    return true;
  }

  void skipWord() {
    while (isWord(at(here_))) ++here_;
  }

  void text(Token& token) {
    size_t begin = here_++;
    for (;; ++here_) {
      char c = at(here_);
      if (here_ == source_.size() || c == '\n') {
        // What closes the statement was not meant as part of the text.
        size_t last = source_.find_last_not_of(" \t\r", here_ - 1);
        here_ = last > begin && source_[last] == ';' ? last : here_;
        diagnostics_.error(span(begin, here_),
                           "text is not closed; write '\"' before the line ends");
        return;
      }
      if (c == '"') {
        ++here_;
        return;
      }
      if (c == '\\') {
        escape(token);
      } else if (isControl(c) && !(c == '\r' && at(here_ + 1) == '\n')) {
        std::string code = hexByte(c);
        diagnostics_.error(span(here_, here_ + 1),
                           "byte " + code + " in a text; write it as '\\x" + code.substr(2) + "'");
      } else {
        token.text += c;
      }
    }
  }

  /// Leaves `here_` on the last character of the escape.
  void escape(Token& token) {
    char c = at(here_ + 1);
    if (c == '"' || c == '\\') {
      token.text += c;
      ++here_;
    } else if (c == 'x' && hexDigit(at(here_ + 2)) >= 0 && hexDigit(at(here_ + 3)) >= 0) {
      token.text += static_cast<char>(hexDigit(at(here_ + 2)) * 16 + hexDigit(at(here_ + 3)));
      here_ += 3;
    } else {
      diagnostics_.error(span(here_, here_ + 1),
                         "unknown escape; allowed are '\\\"', '\\\\' and '\\xHH'");
    }
  }

  void skipStrange() {
    size_t begin = here_;
    while (here_ < source_.size() && !isWord(source_[here_]) && !isBlank(source_[here_]) &&
           (here_ == begin || isControl(source_[here_]) || (source_[here_] & 0x80) != 0)) {
      ++here_;
    }
    std::string what = isControl(source_[begin]) || (source_[begin] & 0x80) != 0
                           ? "byte " + hexByte(source_[begin])
                           : std::string("'") + source_[begin] + "'";
    diagnostics_.error(span(begin, here_), what + " has no meaning here; remove it");
  }

  const SourceFile& file_;
  std::string_view source_;
  Diagnostics& diagnostics_;
  size_t here_ = 0;
  unsigned lineBreaks_ = 0;
};

}  // namespace

std::vector<Token> tokens(const SourceFile& file, Diagnostics& diagnostics) {
  return Lexer(file, diagnostics).run();
}

}  // namespace tdc
