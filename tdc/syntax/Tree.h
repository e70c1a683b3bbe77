// What a file says, as written: places, comments and spellings are kept; no name is resolved.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tdc/syntax/Lexer.h"
#include "tdc/syntax/SourceFile.h"

namespace tdc {

enum class MemberKind {
  field,
  counter,
  list,
  constant,
  bits,
  indexed,
  query,
  alternative,
  parameter,
  key,
  attribute,
  pointer,
  own,
  reference,
  map,
  set,
};

/// The keyword of a kind.
const char* keyword(MemberKind kind);

namespace syntax {

/// A name, a qualified name, a unit or another piece of text, as written.
struct Word {
  std::string text;
  Span span;
};

struct Number {
  uint64_t value = 0;
  std::string spelling;
  Span span;
};

/// Anything that may carry comments.
struct Item {
  std::vector<Comment> above;
  std::optional<Comment> beside;
  bool blankLineAbove = false;
};

/// The documentation above an item, its lines joined with line breaks.
std::string documentation(const Item& item);

struct TypeUse {
  bool optional = false;
  Word name;
  Span span;
};

struct Default {
  enum class Kind { number, real, text, word };
  Kind kind = Kind::number;
  bool negative = false;
  Number number;
  double real = 0;
  std::string text;  ///< what a text says
  Word word;         ///< as written, whatever the kind
  Span span;
};

struct Bound {
  std::optional<Number> number;
  Word word;  ///< as written; a constant's name where there is no number
};

struct Range {
  Bound low;
  Bound high;
  Span span;
};

struct Member : Item {
  Number id;
  MemberKind kind = MemberKind::field;
  Word name;
  TypeUse type;
  std::optional<Default> initial;
  std::optional<Range> range;
  std::optional<Word> unit;  ///< as written, quotes included
  std::string unitText;
  std::optional<Word> fixed;
  std::optional<Word> readonly;
  std::optional<Word> wire32;
  std::optional<Word> nocompare;
  // Bits: the field and its bits.
  Word field;
  Number lowBit;
  std::optional<Number> highBit;
  // Pointers: whether to a constant.
  bool constTarget = false;
  // Collections: the element's parameters, and the key as a name or as a type.
  bool hasParameters = false;
  std::vector<Word> parameters;
  Word keyName;
  TypeUse keyType;
};

struct Literal : Item {
  Word name;
  bool negative = false;
  Number number;
};

struct Enumeration : Item {
  Word name;
  Word width;
  std::vector<Literal> literals;
  std::vector<Comment> atEnd;
};

enum class TypeKind { enumeration, value, unionType, entity, scope };
/// Their keywords, in that order.
inline constexpr std::string_view typeKeywords[] = {"enum", "value", "union", "entity", "scope"};

using Entry = std::variant<Enumeration, Member>;

struct Type : Item {
  TypeKind kind = TypeKind::value;
  Enumeration enumeration;  ///< of an enumeration, all there is to it but the comments
  Word name;
  std::optional<Word> base;
  std::optional<Word> hash;
  std::optional<Word> identity;
  std::optional<Word> order;  ///< `reflected` or `declared`
  std::optional<Word> noArguments;
  std::optional<Word> handParse;
  std::optional<Word> handOrder;
  std::optional<Word> factory;
  std::optional<Word> revalidates;
  std::vector<Entry> entries;
  std::vector<Comment> atEnd;
};

struct External : Item {
  bool enumeration = false;
  Word name;
  Number bytes;
  bool hash = false;
  bool order = false;
  Word header;  ///< as written
  std::string headerText;
};

struct Import : Item {
  Word name;
  Word record;
  bool described = false;
  std::vector<External> externals;
  std::vector<Comment> atEnd;
};

struct Namespace : Item {
  Word name;
};

struct Module : Item {
  Word name;
  Word record;
  Number order;
};

struct File {
  Module module;
  std::vector<Import> imports;
  std::vector<std::variant<Namespace, Type>> declarations;
  std::vector<Comment> atEnd;
};

}  // namespace syntax
}  // namespace tdc
