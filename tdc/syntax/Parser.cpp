#include "tdc/syntax/Parser.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "tdc/syntax/CppWords.h"

namespace tdc {

namespace {

struct KindWord {
  const char* word;
  MemberKind kind;
};

constexpr KindWord kindWords[] = {
    {"field", MemberKind::field},     {"counter", MemberKind::counter},
    {"list", MemberKind::list},       {"const", MemberKind::constant},
    {"bits", MemberKind::bits},       {"indexed", MemberKind::indexed},
    {"query", MemberKind::query},     {"alt", MemberKind::alternative},
    {"param", MemberKind::parameter}, {"key", MemberKind::key},
    {"attr", MemberKind::attribute},  {"ptr", MemberKind::pointer},
    {"own", MemberKind::own},         {"ref", MemberKind::reference},
    {"map", MemberKind::map},         {"set", MemberKind::set},
};

const std::vector<MemberKind>& kindsOf(syntax::TypeKind type) {
  using K = MemberKind;
  static const std::vector<K> value = {K::field, K::counter, K::list, K::constant,
                                       K::bits,  K::indexed, K::query};
  static const std::vector<K> unionType = {K::alternative, K::query};
  static const std::vector<K> entity = {K::parameter, K::key,   K::attribute, K::counter,
                                        K::constant,  K::query, K::pointer,   K::own,
                                        K::reference, K::map,   K::set};
  static const std::vector<K> none;
  switch (type) {
    case syntax::TypeKind::value:
      return value;
    case syntax::TypeKind::unionType:
      return unionType;
    case syntax::TypeKind::entity:
      return entity;
    default:
      return none;
  }
}

const char* article(syntax::TypeKind type) {
  switch (type) {
    case syntax::TypeKind::enumeration:
      return "an enum";
    case syntax::TypeKind::value:
      return "a value";
    case syntax::TypeKind::unionType:
      return "a union";
    case syntax::TypeKind::entity:
      return "an entity";
    case syntax::TypeKind::scope:
      return "a scope";
  }
  return "";
}

bool isHex(std::string_view word) {
  return std::all_of(word.begin(), word.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  });
}

const std::vector<std::string> typeWords = {"enum", "value", "union", "entity", "scope"};

/// Ends the item being parsed; the error is already reported.
struct Abandoned {};

class Parser {
 public:
  Parser(const SourceFile& file, Diagnostics& diagnostics)
      : tokens_(tokens(file, diagnostics)), diagnostics_(diagnostics) {}

  syntax::File run() {
    syntax::File file;
    attempt([&] { module(file.module); });
    while (isWord("import")) {
      syntax::Import import;
      attempt([&] { this->import(import); }) && (file.imports.push_back(std::move(import)), true);
    }
    while (peek().kind != Token::Kind::end) attempt([&] { declaration(file); });
    file.atEnd = lastComments();
    return file;
  }

 private:
  // Tokens.

  Token& peek(size_t ahead = 0) { return tokens_[std::min(here_ + ahead, tokens_.size() - 1)]; }
  bool is(std::string_view punctuation) {
    return peek().kind == Token::Kind::punctuation && peek().spelling == punctuation;
  }
  bool isWord(std::string_view word) {
    return peek().kind == Token::Kind::word && peek().spelling == word;
  }

  Token& advance() {
    Token& token = peek();
    for (Comment& comment : token.comments) {
      refuseDocumentation(comment);
      strays_.push_back(std::move(comment));
    }
    token.comments.clear();
    if (here_ + 1 < tokens_.size()) ++here_;
    return token;
  }

  bool accept(std::string_view punctuation) {
    if (!is(punctuation)) return false;
    advance();
    return true;
  }

  [[noreturn]] void fail(Span where, std::string text) {
    diagnostics_.error(where, std::move(text));
    throw Abandoned();
  }

  std::string found() {
    if (peek().kind == Token::Kind::end) return "the end of the file";
    std::string_view spelling = peek().spelling;
    bool quoted = peek().kind == Token::Kind::text;
    std::string shown(spelling.substr(0, 40));
    shown += spelling.size() > 40 ? "..." : "";
    return quoted ? shown : "'" + shown + "'";
  }

  [[noreturn]] void expected(const std::string& what) {
    // What is missing at the end of a line is shown there, not at the start of the next.
    bool missing = here_ > 0 && (peek().firstOnLine || peek().kind == Token::Kind::end);
    const Span& last = tokens_[here_ == 0 ? 0 : here_ - 1].span;
    Span where = missing ? Span{last.file, last.end, last.end} : peek().span;
    fail(where, "expected " + what + ", found " + found());
  }

  void expect(std::string_view punctuation) {
    if (!accept(punctuation)) expected("'" + std::string(punctuation) + "'");
  }

  void expectWord(const std::string& word) {
    if (!isWord(word)) expected("'" + word + "'");
    advance();
  }

  syntax::Word take() {
    Token& token = advance();
    return {std::string(token.spelling), token.span};
  }

  // Comments.

  void refuseDocumentation(const Comment& comment) {
    if (comment.documentation) {
      diagnostics_.error(comment.span,
                         "documentation belongs on lines of its own, directly above a type, a "
                         "literal or a member; use '//' here");
    }
  }

  std::vector<Comment> lastComments() {
    std::vector<Comment> comments = std::move(peek().comments);
    peek().comments.clear();
    for (const Comment& comment : comments) refuseDocumentation(comment);
    return comments;
  }

  template <class ItemType>
  void begin(ItemType& item, bool documented) {
    item.blankLineAbove = peek().blankLineAbove;
    item.above = std::move(peek().comments);
    peek().comments.clear();
    for (const Comment& comment : item.above) {
      if (!documented || (comment.documentation && !comment.ownLine)) refuseDocumentation(comment);
      if (comment.documentation && !comment.text.empty() && comment.text.back() == '\\') {
        diagnostics_.error(comment.span,
                           "documentation must not end a line with '\\', which would join it to "
                           "the next line of the C++ code");
      }
    }
  }

  template <class ItemType>
  void end(ItemType& item) {
    std::vector<Comment>& following = peek().comments;
    if (!following.empty() && !following.front().ownLine && !following.front().documentation) {
      item.beside = std::move(following.front());
      following.erase(following.begin());
    }
    if (item.above.empty() && !strays_.empty()) {
      std::swap(item.blankLineAbove, strays_.front().blankLineAbove);
      item.blankLineAbove = false;
    }
    std::move(strays_.begin(), strays_.end(), std::back_inserter(item.above));
    strays_.clear();
  }

  // Recovery.

  template <class Function>
  bool attempt(Function parse) {
    size_t start = here_;
    try {
      parse();
      return true;
    } catch (const Abandoned&) {
      recover(start);
      strays_.clear();
      return false;
    }
  }

  /// Skips behind the next `;`, or in front of a `}` or of a line that begins a member or a type.
  void recover(size_t start) {
    size_t depth = 0;
    for (; peek().kind != Token::Kind::end; ++here_) {
      peek().comments.clear();
      bool opensLine = here_ > start && peek().firstOnLine;
      if (depth == 0 && opensLine &&
          (peek().kind == Token::Kind::number ||
           (inBlock_ ? isWord("enum") : startsDeclaration()))) {
        return;
      }
      if (is("{")) {
        ++depth;
      } else if (is("}")) {
        if (depth == 0 && inBlock_) return;
        if (depth <= 1) {
          ++here_;
          return;
        }
        --depth;
      } else if (is(";") && depth == 0) {
        ++here_;
        return;
      }
    }
  }

  bool startsDeclaration() {
    std::string_view word = peek().spelling;
    return peek().kind == Token::Kind::word &&
           (word == "namespace" || word == "import" ||
            std::find(typeWords.begin(), typeWords.end(), word) != typeWords.end());
  }

  // Pieces.

  /// A name that stands for something declared elsewhere.
  syntax::Word use(const std::string& what) {
    if (peek().kind != Token::Kind::word) expected(what);
    return take();
  }

  /// A name that is declared here.
  syntax::Word name(const std::string& what) {
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

  syntax::Word qualifiedUse(const std::string& what) {
    syntax::Word word = use(what);
    while (accept("::")) {
      syntax::Word part = use("a name after '::'");
      word.text += "::" + part.text;
      word.span = word.span + part.span;
    }
    return word;
  }

  syntax::Word qualifiedName(const std::string& what) {
    syntax::Word word = name(what);
    while (accept("::")) {
      syntax::Word part = name("a name after '::'");
      word.text += "::" + part.text;
      word.span = word.span + part.span;
    }
    return word;
  }

  syntax::Number number(const std::string& what) {
    if (peek().kind != Token::Kind::number) expected(what);
    return toNumber(take());
  }

  syntax::Number toNumber(const syntax::Word& word) {
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

  syntax::Word record() {
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

  syntax::TypeUse type() {
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

  syntax::Default initial() {
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
    if (result.negative && (result.kind == syntax::Default::Kind::text ||
                            result.kind == syntax::Default::Kind::word)) {
      fail(result.word.span, "'-' stands before a number only");
    }
    result.span = result.span + result.word.span;
    return result;
  }

  syntax::Bound bound() {
    syntax::Bound result;
    if (peek().kind == Token::Kind::number) {
      result.number = number("a number");
      result.word = {result.number->spelling, result.number->span};
    } else {
      result.word = use("a bound: a number or a constant of the type");
    }
    return result;
  }

  // Declarations.

  void module(syntax::Module& module) {
    begin(module, true);
    expectWord("module");
    module.name = name("the module's name");
    module.record = record();
    expectWord("order");
    module.order = number("the module's place in the order of registration");
    expect(";");
    end(module);
  }

  void import(syntax::Import& import) {
    begin(import, false);
    advance();
    import.name = name("the module's name");
    import.record = record();
    if (accept("{")) {
      import.described = true;
      inBlock_ = true;
      while (!is("}") && peek().kind != Token::Kind::end) {
        syntax::External external;
        if (attempt([&] { this->external(external); })) {
          import.externals.push_back(std::move(external));
        }
      }
      import.atEnd = lastComments();
      closeBlock();
    } else {
      expect(";");
    }
    end(import);
  }

  void closeBlock() {
    inBlock_ = false;
    expect("}");
    accept(";");
  }

  void external(syntax::External& external) {
    begin(external, true);
    if (!isWord("value") && !isWord("enum")) expected("'value' or 'enum'");
    external.enumeration = take().text == "enum";
    external.name = qualifiedName("the type's name");
    expectWord("bytes");
    external.bytes = number("the encoded size in bytes");
    if (isWord("hash")) {
      advance();
      external.hash = true;
    }
    if (isWord("order")) {
      advance();
      external.order = true;
    }
    if (!isWord("in")) {
      expected(external.order  ? "'in' and the header"
               : external.hash ? "'order', or 'in' and the header"
                               : "'hash', 'order', or 'in' and the header");
    }
    advance();
    if (peek().kind != Token::Kind::text) expected("the header in double quotes");
    external.headerText = peek().text;
    external.header = take();
    expect(";");
    end(external);
  }

  void declaration(syntax::File& file) {
    if (isWord("namespace")) {
      syntax::Namespace item;
      begin(item, false);
      advance();
      item.name = qualifiedName("the namespace's name");
      expect(";");
      end(item);
      file.declarations.emplace_back(std::move(item));
      return;
    }
    syntax::Type type;
    this->type(type);
    file.declarations.emplace_back(std::move(type));
  }

  void type(syntax::Type& type) {
    begin(type, true);
    if (isWord("import")) {
      fail(peek().span, "imports stand before the first namespace and type; move it up");
    }
    if (isWord("module")) {
      fail(peek().span, "a file describes one module, and 'module' is its first line");
    }
    auto word = std::find(typeWords.begin(), typeWords.end(), peek().spelling);
    if (peek().kind != Token::Kind::word || word == typeWords.end()) {
      std::vector<std::string> allowed = typeWords;
      allowed.insert(allowed.begin(), "namespace");
      fail(peek().span, "expected " + alternatives(allowed) + ", found " + found() +
                            didYouMean(peek().spelling, allowed));
    }
    type.kind = static_cast<syntax::TypeKind>(word - typeWords.begin());
    if (type.kind == syntax::TypeKind::enumeration) {
      type.enumeration.above = std::move(type.above);
      enumeration(type.enumeration);
      type.name = type.enumeration.name;
      type.above = std::move(type.enumeration.above);
      type.enumeration.above.clear();
      type.beside = std::move(type.enumeration.beside);
      type.enumeration.beside.reset();
      return;
    }
    advance();
    type.name = name("the type's name");
    if (type.kind == syntax::TypeKind::entity && accept(":")) {
      type.base = qualifiedUse("the base's name");
    }
    flags(type);
    expect("{");
    std::vector<Comment> strays = std::move(strays_);
    strays_.clear();
    while (!is("}") && peek().kind != Token::Kind::end) {
      inBlock_ = true;
      attempt([&] { entry(type); });
    }
    inBlock_ = false;
    type.atEnd = lastComments();
    closeBlock();
    strays_.insert(strays_.begin(), strays.begin(), strays.end());
    end(type);
  }

  void flag(std::optional<syntax::Word>& flag, syntax::Word word) {
    if (flag) fail(word.span, "'" + word.text + "' stands twice; remove one");
    flag = std::move(word);
  }

  void flags(syntax::Type& type) {
    bool value = type.kind == syntax::TypeKind::value || type.kind == syntax::TypeKind::unionType;
    std::vector<std::string> allowed;
    if (value) {
      allowed = {"hash", "order", "noargs", "hand"};
    } else if (type.kind == syntax::TypeKind::entity) {
      allowed = {"factory", "revalidates"};
    }
    while (!is("{")) {
      std::string word(peek().spelling);
      if (peek().kind != Token::Kind::word ||
          std::find(allowed.begin(), allowed.end(), word) == allowed.end()) {
        std::string near = peek().kind == Token::Kind::word ? didYouMean(word, allowed) : "";
        allowed.push_back("{");
        fail(peek().span, "expected " + alternatives(allowed) + ", found " + found() + near);
      }
      if (word == "hash") {
        flag(type.hash, take());
        if (isWord("identity")) type.identity = take();
      } else if (word == "order") {
        advance();
        if (!isWord("reflected") && !isWord("declared")) {
          expected("'reflected' or 'declared' after 'order'");
        }
        flag(type.order, take());
      } else if (word == "noargs") {
        flag(type.noArguments, take());
      } else if (word == "hand") {
        advance();
        if (!isWord("parse") && !isWord("order")) expected("'parse' or 'order' after 'hand'");
        std::optional<syntax::Word>& hand = isWord("parse") ? type.handParse : type.handOrder;
        flag(hand, take());
      } else {
        flag(word == "factory" ? type.factory : type.revalidates, take());
      }
    }
  }

  void enumeration(syntax::Enumeration& enumeration) {
    advance();
    enumeration.name = name("the enumeration's name");
    expect(":");
    if (!isWord("u8") && !isWord("i32")) expected("'u8' or 'i32', the enumeration's width");
    enumeration.width = take();
    expect("{");
    std::vector<Comment> strays = std::move(strays_);
    strays_.clear();
    while (!is("}")) {
      try {
        syntax::Literal literal;
        this->literal(literal);
        enumeration.literals.push_back(std::move(literal));
      } catch (const Abandoned&) {
        skipLiteral();
      }
    }
    enumeration.atEnd = lastComments();
    expect("}");
    accept(";");
    strays_.insert(strays_.begin(), strays.begin(), strays.end());
    end(enumeration);
  }

  void literal(syntax::Literal& literal) {
    begin(literal, true);
    literal.name = name("a literal");
    expect("=");
    literal.negative = accept("-");
    literal.number = number("the literal's number");
    if (!accept(",") && !is("}")) expected("',' or '}' after the literal");
    end(literal);
  }

  /// Goes behind the next comma or semicolon, or in front of the brace; gives the enumeration up at
  /// anything that stands in none.
  void skipLiteral() {
    for (; !is("}"); ++here_) {
      peek().comments.clear();
      if (is(",") || is(";")) {
        ++here_;
        return;
      }
      if (is("{") || peek().kind == Token::Kind::end) throw Abandoned();
    }
  }

  void entry(syntax::Type& type) {
    if (isWord("enum") && type.kind != syntax::TypeKind::unionType) {
      syntax::Enumeration enumeration;
      begin(enumeration, true);
      this->enumeration(enumeration);
      type.entries.emplace_back(std::move(enumeration));
      return;
    }
    if (type.kind == syntax::TypeKind::scope) {
      expected("'enum', which is all that a scope holds, or '}'");
    }
    syntax::Member member;
    begin(member, true);
    this->member(type.kind, member);
    end(member);
    type.entries.emplace_back(std::move(member));
  }

  void member(syntax::TypeKind type, syntax::Member& member) {
    if (peek().kind != Token::Kind::number) {
      expected(type == syntax::TypeKind::unionType ? "the member's id or '}'"
                                                   : "the member's id, 'enum' or '}'");
    }
    member.id = number("the member's id");
    memberKind(type, member);
    member.name = name("the member's name");
    shape(member);
    clauses(member);
    expect(";");
  }

  void memberKind(syntax::TypeKind type, syntax::Member& member) {
    std::vector<std::string> allowed;
    for (MemberKind kind : kindsOf(type)) {
      allowed.emplace_back(keyword(kind));
      if (isWord(allowed.back())) {
        advance();
        member.kind = kind;
        return;
      }
    }
    std::string near = peek().kind == Token::Kind::word ? didYouMean(peek().spelling, allowed) : "";
    fail(peek().span, std::string("expected a kind of member of ") + article(type) + " (" +
                          alternatives(allowed) + "), found " + found() + near);
  }

  /// What stands between the name and the clauses.
  void shape(syntax::Member& member) {
    switch (member.kind) {
      case MemberKind::bits:
        expect(":");
        member.field = use("the field whose bits these are");
        expect("[");
        member.lowBit = number("the lowest bit's number");
        if (accept("..")) member.highBit = number("the highest bit's number");
        expect("]");
        expectWord("as");
        member.type = type();
        return;
      case MemberKind::indexed:
        expect("[");
        expectWord("u8");
        expect("]");
        expect(":");
        member.type = type();
        return;
      case MemberKind::pointer:
        expect(":");
        if (isWord("const") && peek(1).kind == Token::Kind::word) {
          advance();
          member.constTarget = true;
        }
        entityName(member);
        return;
      case MemberKind::own:
        expect(":");
        entityName(member);
        ownParameters(member);
        expectWord("key");
        member.keyName = use("'name' or the element's key member");
        return;
      case MemberKind::set:
        expect(":");
        entityName(member);
        expectWord("key");
        member.keyName = use("the element's field that is its key");
        return;
      case MemberKind::reference:
        expect(":");
        entityName(member);
        expectWord("key");
        member.keyType = type();
        return;
      case MemberKind::map:
        expect(":");
        member.type = type();
        expectWord("key");
        member.keyType = type();
        return;
      case MemberKind::counter:
        expect(":");
        if (!isWord("u16") && !isWord("u32")) expected("'u16' or 'u32', the width of a counter");
        member.type = type();
        break;
      default:
        expect(":");
        member.type = type();
        break;
    }
    bool mayHaveDefault = member.kind == MemberKind::field || member.kind == MemberKind::counter ||
                          member.kind == MemberKind::constant ||
                          member.kind == MemberKind::alternative ||
                          member.kind == MemberKind::attribute;
    if (!mayHaveDefault) return;
    if (accept("=")) {
      member.initial = initial();
    } else if (member.kind == MemberKind::constant) {
      expected("'=' and the constant's value");
    }
  }

  void entityName(syntax::Member& member) {
    member.type.name = qualifiedUse("the element's type");
    member.type.span = member.type.name.span;
  }

  void ownParameters(syntax::Member& member) {
    if (!accept("(")) {
      return;
    }
    member.hasParameters = true;
    do {
      member.parameters.push_back(use("a parameter of the element"));
    } while (accept(","));
    expect(")");
  }

  void clauses(syntax::Member& member) {
    std::vector<std::string> allowed;
    switch (member.kind) {
      case MemberKind::field:
        allowed = {"range", "unit", "fixed", "readonly", "wire"};
        break;
      case MemberKind::attribute:
        allowed = {"range", "unit", "readonly"};
        break;
      case MemberKind::counter:
      case MemberKind::constant:
      case MemberKind::parameter:
        allowed = {"unit"};
        break;
      case MemberKind::own:
        allowed = {"nocompare"};
        break;
      default:
        break;
    }
    while (peek().kind == Token::Kind::word && !peekStartsNextMember()) {
      std::string word(peek().spelling);
      if (std::find(allowed.begin(), allowed.end(), word) == allowed.end()) {
        std::string near = didYouMean(word, allowed);
        allowed.push_back(";");
        fail(peek().span, "expected " + alternatives(allowed) + ", found " + found() + near);
      }
      clause(word, member);
    }
  }

  bool peekStartsNextMember() { return peek().firstOnLine && isWord("enum"); }

  void clause(const std::string& word, syntax::Member& member) {
    if (word == "range") {
      syntax::Word start = take();
      if (member.range) fail(start.span, "'range' stands twice; remove one");
      syntax::Range range;
      range.low = bound();
      expect("..");
      range.high = bound();
      range.span = range.low.word.span + range.high.word.span;
      member.range = std::move(range);
    } else if (word == "unit") {
      syntax::Word start = take();
      if (member.unit) fail(start.span, "'unit' stands twice; remove one");
      if (peek().kind != Token::Kind::word && peek().kind != Token::Kind::text) {
        expected("a unit: a name, or a text in double quotes");
      }
      member.unitText = peek().kind == Token::Kind::text ? peek().text : peek().spelling;
      member.unit = take();
    } else if (word == "wire") {
      flag(member.wire32, take());
      expectWord("u32");
    } else {
      flag(word == "fixed"      ? member.fixed
           : word == "readonly" ? member.readonly
                                : member.nocompare,
           take());
    }
  }

  std::vector<Token> tokens_;
  Diagnostics& diagnostics_;
  size_t here_ = 0;
  bool inBlock_ = false;
  /// Comments from within the item being parsed.
  std::vector<Comment> strays_;
};

}  // namespace

const char* keyword(MemberKind kind) {
  for (const KindWord& word : kindWords) {
    if (word.kind == kind) return word.word;
  }
  return "";
}

std::string syntax::documentation(const Item& item) {
  std::string text;
  bool first = true;
  for (const Comment& comment : item.above) {
    if (comment.documentation) {
      bool indented = !comment.text.empty() && comment.text.front() == ' ';
      text += (first ? "" : "\n") + comment.text.substr(indented ? 1 : 0);
      first = false;
    }
  }
  return text;
}

syntax::File parse(const SourceFile& file, Diagnostics& diagnostics) {
  return Parser(file, diagnostics).run();
}

}  // namespace tdc
