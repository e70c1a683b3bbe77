// A module as resolved: every name is a pointer, every default a value.
//
// A `Program` owns modules, a module owns its types, a type its members and literals. Nothing
// changes after loading, and all pointers are valid as long as the program is.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tdc/syntax/Scalars.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

struct Literal;
struct Member;
struct Module;
struct Type;

enum class TypeKind {
  scalar,
  enumeration,
  value,
  unionType,
  entity,
  scope,
  externalValue,
  externalEnumeration,
};

enum class Order { none, reflected, declared };

/// The type of something stored, or none.
struct TypeUse {
  const Type* type = nullptr;
  bool optional = false;

  explicit operator bool() const { return type != nullptr; }
  bool operator==(const TypeUse&) const = default;
};

/// What a member starts from; for a constant, its value.
struct Default {
  enum class Kind {
    implicit,  ///< nothing is written: zero, empty, false, absent, or the type's own default
    number,    ///< integers, their wrappers, external types, and whole numbers of reals
    real,
    text,        ///< texts, their wrappers and external values
    boolean,     ///< bool and its wrappers
    absent,      ///< an optional's `none`
    enumerator,  ///< `literal`
  };

  Kind kind = Kind::implicit;
  uint64_t number = 0;
  bool negative = false;  ///< of a number; only reals have such ones
  double real = 0;
  std::string text;
  bool boolean = false;
  const Literal* literal = nullptr;
  /// The constant or attribute that is named; the value is already copied from it.
  const Member* origin = nullptr;
  /// The number, text or name as written here.
  std::string spelling;

  /// A number with its sign.
  std::string numberText() const { return (negative ? "-" : "") + std::to_string(number); }
};

/// An inclusive bound.
struct Bound {
  uint64_t value = 0;
  /// The constant that is named, or null.
  const Member* constant = nullptr;
  /// The number or name as written.
  std::string spelling;
};

struct Range {
  Bound low;
  Bound high;
};

struct Literal {
  std::string name;
  int64_t number = 0;
  std::string doc;
};

struct Member {
  MemberKind kind = MemberKind::field;
  unsigned id = 0;
  std::string name;
  std::string doc;
  const Type* owner = nullptr;

  /// What is stored, returned, viewed or held. Of `ptr`, `own`, `ref`: the entity; of `set`: the
  /// value; of `map`: the mapped type.
  TypeUse type;
  Default initial;
  std::optional<Range> range;
  /// Empty where none is written.
  std::string unit;
  bool fixed = false;
  bool readonly = false;
  bool wire32 = false;

  // bits
  const Member* field = nullptr;
  unsigned lowBit = 0;
  unsigned highBit = 0;

  // ptr
  bool constTarget = false;

  // own, ref, map, set
  /// The key's type: String, u16 or a hashable value.
  const Type* key = nullptr;
  /// The element's own member that is the key, or null where that is the entity's name, and in
  /// `ref` and `map`.
  const Member* keyMember = nullptr;
  /// `own`: what follows the key in the element's constructor, owned by the element's type.
  std::vector<const Member*> parameters;
  bool nocompare = false;

  Span span;  ///< the name
  Span idSpan;

  bool isConstant() const { return kind == MemberKind::constant; }
  bool isCollection() const {
    return kind == MemberKind::own || kind == MemberKind::reference || kind == MemberKind::map ||
           kind == MemberKind::set;
  }
  /// Whether an instance holds it, as opposed to constants, bit views, indexed members and queries.
  bool isStored() const;
};

struct Type {
  TypeKind kind = TypeKind::value;
  /// Of a built-in type, else null.
  const Scalar* scalar = nullptr;
  /// `PortRole`
  std::string name;
  /// `Stp::Input`, without enclosing types; empty for the built-in types.
  std::string nameSpace;
  /// `Stp::RstpBpduFlags::PortRole`; of a built-in type its word in the language.
  std::string qualifiedName;
  std::string doc;
  /// Null for the built-in types.
  const Module* module = nullptr;
  /// The index within the module; -1 for scopes and built-in types.
  int index = -1;
  /// The value, entity or scope around a nested enumeration.
  const Type* enclosing = nullptr;
  /// Enumerations declared within, in order.
  std::vector<const Type*> nested;

  // Enumerations
  /// 1 (u8) or 4 (i32) bytes.
  unsigned width = 0;
  std::vector<Literal> literals;

  // Values, unions and entities
  std::vector<Member> members;

  // Values, unions and external types
  bool hashable = false;
  bool identityHash = false;
  Order order = Order::none;
  bool noArguments = false;
  bool handParse = false;
  bool handOrder = false;
  /// The header that declares an external type.
  std::string header;

  // Entities
  const Type* base = nullptr;
  /// How many bases there are.
  unsigned depth = 0;
  bool factory = false;
  bool revalidates = false;

  /// Encoded bytes, where every instance has the same number. None for entities and scopes.
  std::optional<uint64_t> encodedSize;

  Span span;  ///< the name

  bool isBuiltIn() const { return scalar; }
  bool is(ScalarForm form) const { return scalar && scalar->form == form; }
  bool isInteger() const { return is(ScalarForm::integer); }
  bool isEnumeration() const {
    return kind == TypeKind::enumeration || kind == TypeKind::externalEnumeration;
  }
  bool isExternal() const {
    return kind == TypeKind::externalValue || kind == TypeKind::externalEnumeration;
  }
  bool isEntity() const { return kind == TypeKind::entity; }
  bool isUnion() const { return kind == TypeKind::unionType; }

  /// The one field of a value that has exactly one, no list; else null.
  const Member* wrapped() const;
  /// The one field of a value that is itself a number, no other value and no optional; else null.
  const Member* number() const;
  /// The type itself, or what it wraps, or what that wraps.
  const Type* underlying() const;
  /// The largest number of an integer type, or of an enumeration's width.
  uint64_t maxNumber() const;
  /// Whether it may be the key of a collection.
  bool isKey() const;

  /// A member of this type or, for an entity, of a base. Null if there is none.
  const Member* find(std::string_view wanted) const;
  const Literal* findLiteral(std::string_view wanted) const;
  const Literal* findLiteral(int64_t number) const;

  /// Own members that an instance holds, in order of declaration.
  std::vector<const Member*> stored() const;
  /// An entity's key member, its base's included; null where it has a name instead.
  const Member* keyMember() const;
  /// An entity's constructor parameters behind the name or key, those of the base first.
  std::vector<const Member*> parameters() const;
};

struct Module {
  std::string name;
  /// 16 hexadecimal digits, lower case.
  std::string record;
  unsigned order = 0;
  std::string doc;
  std::string path;
  /// Described in braces: there is no file and `order` is 0.
  bool external = false;
  /// What the file imports itself, in order.
  std::vector<const Module*> imports;
  /// Every module reachable through imports, each once, imported ones before importing ones.
  std::vector<const Module*> reachable;

  /// All types but scopes, nested enumerations included; the position is the index.
  std::vector<const Type*> types;
  /// Scopes, and types that are not nested, in the order of the file.
  std::vector<const Type*> declarations;
  /// The same in the order C++ wants them: a base, and a type held by value, before its user.
  /// Types used otherwise (elements, pointers, constants) come before as well where no cycle
  /// forbids it.
  std::vector<const Type*> definitions;

  /// Owns the types.
  std::vector<std::unique_ptr<Type>> owned;
  Span span;

  /// A type of this module by its qualified name, or null.
  const Type* find(std::string_view qualifiedName) const;
};

/// The types that every module has, see Scalars.h. Null for other words.
const Type* builtIn(std::string_view word);

}  // namespace tdc
