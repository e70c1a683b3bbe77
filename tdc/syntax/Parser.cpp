#include "tdc/syntax/Parser.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tdc/syntax/MemberParser.h"

namespace tdc {

namespace {

class Parser : public MemberParser {
 public:
  Parser(const SourceFile& file, Diagnostics& diagnostics) : MemberParser(file, diagnostics) {}

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
    const auto first = std::begin(syntax::typeKeywords);
    const auto last = std::end(syntax::typeKeywords);
    const auto word = std::find(first, last, peek().spelling);
    if (peek().kind != Token::Kind::word || word == last) {
      std::vector<std::string> allowed = {"namespace"};
      allowed.insert(allowed.end(), first, last);
      fail(peek().span, "expected " + alternatives(allowed) + ", found " + found() +
                            didYouMean(peek().spelling, allowed));
    }
    type.kind = static_cast<syntax::TypeKind>(word - first);
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
    for (; !is("}"); skip()) {
      peek().comments.clear();
      if (is(",") || is(";")) {
        skip();
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
};

}  // namespace

syntax::File parse(const SourceFile& file, Diagnostics& diagnostics) {
  return Parser(file, diagnostics).run();
}

}  // namespace tdc
