#include "tdc/syntax/MemberParser.h"

#include <algorithm>
#include <utility>

#include "tdc/syntax/Scalars.h"

namespace tdc {

namespace {

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

}  // namespace

void MemberParser::flag(std::optional<syntax::Word>& flag, syntax::Word word) {
  if (flag) fail(word.span, "'" + word.text + "' stands twice; remove one");
  flag = std::move(word);
}

void MemberParser::member(syntax::TypeKind type, syntax::Member& member) {
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

void MemberParser::memberKind(syntax::TypeKind type, syntax::Member& member) {
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

void MemberParser::shape(syntax::Member& member) {
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
      expectCounterType();
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

void MemberParser::expectCounterType() {
  const auto words = scalarWords([](const Scalar& scalar) { return scalar.counter; });
  const bool counts = std::any_of(words.begin(), words.end(),
                                  [this](const std::string& word) { return isWord(word); });
  if (!counts) expected(alternatives(words) + ", the width of a counter");
}

void MemberParser::entityName(syntax::Member& member) {
  member.type.name = qualifiedUse("the element's type");
  member.type.span = member.type.name.span;
}

void MemberParser::ownParameters(syntax::Member& member) {
  if (!accept("(")) {
    return;
  }
  member.hasParameters = true;
  do {
    member.parameters.push_back(use("a parameter of the element"));
  } while (accept(","));
  expect(")");
}

void MemberParser::clauses(syntax::Member& member) {
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

bool MemberParser::peekStartsNextMember() { return peek().firstOnLine && isWord("enum"); }

void MemberParser::clause(const std::string& word, syntax::Member& member) {
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

}  // namespace tdc
