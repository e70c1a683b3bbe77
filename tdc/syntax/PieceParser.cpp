#include "tdc/syntax/PieceParser.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "tdc/syntax/CppWords.h"

namespace tdc {

namespace {

bool isHex(std::string_view word) {
  return std::all_of(word.begin(), word.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  });
}

}  // namespace

syntax::Word PieceParser::use(const std::string& what) {
  if (peek().kind != Token::Kind::word) expected(what);
  return take();
}

syntax::Word PieceParser::name(const std::string& what) {
  syntax::Word word = use(what);
  if (isCppKeyword(word.text)) {
    diagnostics_.error(word.span, "'" + word.text +
                                      "' is a keyword of C++ and cannot be a name; choose "
                                      "another");
  } else if (word.text.find("__") != std::string::npos ||
             (word.text.size() > 1 && word.text[0] == '_' && word.text[1] >= 'A' &&
              word.text[1] <= 'Z')) {
    diagnostics_.error(word.span, "'" + word.text +
                                      "' is reserved in C++ (two underscores, or one before a "
                                      "capital); choose another name");
  } else if (isCppMacro(word.text)) {
    diagnostics_.error(word.span, "'" + word.text +
                                      "' is a macro of the headers that C++ code includes, which "
                                      "would replace it; choose another name");
  }
  return word;
}

syntax::Word PieceParser::qualifiedUse(const std::string& what) {
  syntax::Word word = use(what);
  while (accept("::")) {
    syntax::Word part = use("a name after '::'");
    word.text += "::" + part.text;
    word.span = word.span + part.span;
  }
  return word;
}

syntax::Word PieceParser::qualifiedName(const std::string& what) {
  syntax::Word word = name(what);
  while (accept("::")) {
    syntax::Word part = name("a name after '::'");
    word.text += "::" + part.text;
    word.span = word.span + part.span;
  }
  return word;
}

syntax::Number PieceParser::number(const std::string& what) {
  if (peek().kind != Token::Kind::number) expected(what);
  return toNumber(take());
}

syntax::Number PieceParser::toNumber(const syntax::Word& word) {
  syntax::Number number{0, word.text, word.span};
  bool hex = word.text.compare(0, 2, "0x") == 0;
  std::string digits = hex ? word.text.substr(2) : word.text;
  bool valid = !digits.empty() && isHex(digits) &&
               (hex || digits.find_first_not_of("0123456789") == std::string::npos);
  if (!valid) {
    fail(word.span, "'" + word.text.substr(0, 40) +
                        "' is no number; write decimal digits, or '0x' and hexadecimal ones");
  }
  if (!hex && digits.size() > 1 && digits[0] == '0') {
    fail(word.span, "a decimal number must not start with 0, which is octal in C++");
  }
  errno = 0;
  number.value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
  if (errno == ERANGE) fail(word.span, "number is too large; no type holds more than 64 bits");
  return number;
}

syntax::Word PieceParser::record() {
  expectWord("record");
  if (peek().kind != Token::Kind::word && peek().kind != Token::Kind::number) {
    expected("16 hexadecimal digits");
  }
  syntax::Word word = take();
  if (!isHex(word.text)) {
    fail(word.span,
         "a record is 16 hexadecimal digits; '" + word.text.substr(0, 40) + "' has others");
  }
  if (word.text.size() != 16) {
    fail(word.span,
         "a record has 16 hexadecimal digits; this one has " + std::to_string(word.text.size()));
  }
  for (char& c : word.text) c = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
  return word;
}

syntax::TypeUse PieceParser::type() {
  syntax::TypeUse use;
  use.span = peek().span;
  while (isWord("optional") && peek(1).kind == Token::Kind::word) {
    syntax::Word word = take();
    if (use.optional) diagnostics_.error(word.span, "'optional' stands twice; remove one");
    use.optional = true;
  }
  use.name = qualifiedUse("a type");
  use.span = use.span + use.name.span;
  return use;
}

syntax::Default PieceParser::initial() {
  syntax::Default result;
  result.span = peek().span;
  if (is("-")) {
    advance();
    result.negative = true;
  }
  switch (peek().kind) {
    case Token::Kind::number:
      result.kind = syntax::Default::Kind::number;
      result.number = number("a number");
      result.word = {result.number.spelling, result.number.span};
      break;
    case Token::Kind::real:
      result.kind = syntax::Default::Kind::real;
      result.word = take();
      if (result.word.text.find_first_not_of("0123456789.") != std::string::npos) {
        fail(result.word.span, "a real is digits, a point and digits");
      }
      result.real = std::strtod(result.word.text.c_str(), nullptr);
      break;
    case Token::Kind::text:
      result.kind = syntax::Default::Kind::text;
      result.text = peek().text;
      result.word = take();
      break;
    case Token::Kind::word:
      result.kind = syntax::Default::Kind::word;
      result.word = take();
      break;
    default:
      expected(
          "a default: a number, a text, 'true', 'false', 'none', a literal, a constant or "
          "an attribute");
  }
  if (result.negative &&
      (result.kind == syntax::Default::Kind::text || result.kind == syntax::Default::Kind::word)) {
    fail(result.word.span, "'-' stands before a number only");
  }
  result.span = result.span + result.word.span;
  return result;
}

syntax::Bound PieceParser::bound() {
  syntax::Bound result;
  if (peek().kind == Token::Kind::number) {
    result.number = number("a number");
    result.word = {result.number->spelling, result.number->span};
  } else {
    result.word = use("a bound: a number or a constant of the type");
  }
  return result;
}

}  // namespace tdc
