// Module records: what a library says of its types, and the registry that finds them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Pelmo/FieldDescriptor.h"
#include "Tovo/Types.h"

namespace Tovo {

class AllocTrackTypeInfo;
struct CollectionOps;
struct EntityHooks;
struct GenericIfMethods;
struct ValueOps;

enum class TypeKind : uint8_t { value, unionValue, entity, enumeration };

enum class AttributeKind : uint8_t {
  name,        ///< an entity's name
  nameString,  ///< the text of an entity's name or key
  field,       ///< of a value
  constant,
  bits,                 ///< a view on a field's bits
  indexed,              ///< addressed by a number
  query,                ///< computed
  alternative,          ///< of a union
  parameter,            ///< fixed at construction
  attribute,            ///< of an entity
  pointer,              ///< to an entity
  ownCollection,        ///< owns its elements
  refCollection,        ///< refers to entities that live elsewhere
  valueCollection,      ///< holds values by key
  selfKeyedCollection,  ///< holds values by one of their own fields
};

struct EnumLiteral {
  int64_t value;
  const char* name;
  const char* doc;
};

/// Which type a field, key or element has: 0 none, a primitive, or primitiveCodes plus the place in
/// the module's table of referenced types.
using TypeCode = uint16_t;
namespace PrimitiveCode {
constexpr TypeCode none = 0;
constexpr TypeCode u8 = 1;
constexpr TypeCode u16 = 2;
constexpr TypeCode u32 = 3;
constexpr TypeCode boolean = 4;
constexpr TypeCode string = 5;
constexpr TypeCode seconds = 6;
constexpr TypeCode u64 = 7;
constexpr TypeCode end = 8;     ///< behind those that there are
constexpr TypeCode count = 16;  ///< with those that there may be one day
}  // namespace PrimitiveCode

/// What the values of a primitive are, which decides how they are written and what they allow.
enum class PrimitiveForm : uint8_t {
  none,
  integer,  ///< unsigned
  boolean,
  text,
  seconds,
};

/// A type that no module declares. Each is one row of the table in Module.cpp.
struct PrimitiveType {
  TypeCode code;
  const char* name;  ///< "u32", as a description has it
  PrimitiveForm form;
  const ValueOps* ops;  ///< null for none
  uint64_t highest;     ///< of an integer, else 0
};
/// `code` is below PrimitiveCode::end.
const PrimitiveType& primitiveType(TypeCode code) noexcept;

/// One type of a module.
struct TypeDescriptor {
  const char* name = nullptr;  ///< qualified
  const char* doc = nullptr;
  const EnumLiteral* literals = nullptr;  ///< of an enumeration, in order of declaration
  uint32_t literalCount = 0;
  /// Place in the module's attribute table; own ones only, ascending ids.
  uint32_t firstAttribute = 0;
  uint32_t attributeCount = 0;
  uint32_t encodedSize = 0;  ///< bytes in the log; variableSize where it depends on the value
  TypeCode base = PrimitiveCode::none;  ///< of a derived entity
  TypeKind kind = TypeKind::value;
  uint8_t flags = 0;
  uint32_t inheritedAttributes = 0;  ///< how many attributes its bases declare

  static constexpr uint32_t variableSize = 0xffffffff;
  static constexpr uint8_t hashable = 1;
  static constexpr uint8_t ordered = 2;
  static constexpr uint8_t exportedFactory = 4;
  static constexpr uint8_t keyedByParameter = 8;  ///< an entity without a name
  static constexpr uint8_t noArguments = 16;      ///< not built from constructor arguments
  /// Its text is that of its fields, as TovoPelmo::appendValue and parseValue have it.
  static constexpr uint8_t textByFields = 32;
  /// An entity that owns, or refers to, other ones; also by what its bases declare.
  static constexpr uint8_t holdsEntities = 64;
};

/// One attribute. The id comes first, so that a FieldDescriptor can point at it.
///
///   offset 0   id                 6   type code of the key     12   offset in the object
///          2   kind               8   place of the name        16   place in the detail table
///          3   flags                  in the name list
///          4   type code
struct AttributeDescriptor {
  AttributeId id;
  AttributeKind kind;
  uint8_t flags;
  TypeCode type;
  TypeCode key;
  uint32_t name;
  uint32_t offset;
  uint32_t detail;

  static constexpr uint32_t notStored = 0xffffffff;
  static constexpr uint8_t readOnly = 1;  ///< refuses a set by reflection
  static constexpr uint8_t optional = 2;
  static constexpr uint8_t list = 4;
  static constexpr uint8_t counter = 8;
  static constexpr uint8_t toConst = 16;  ///< a pointer to a constant entity
  static constexpr uint8_t ranged = 32;
  static constexpr uint8_t noCompare = 64;  ///< a collection that never compares parameters
  static constexpr uint8_t fixed = 128;     ///< a value's field that only its constructor sets
};
static_assert(sizeof(AttributeDescriptor) == 20);

/// Reads, sets or deletes what is not simply stored; answers as genericIfAttributeOp does.
using AccessFunction = uint8_t (*)(void* result, void* object, uint32_t code, const void* other,
                                   const void* argument);

/// What only tools and checks want to know of an attribute.
struct AttributeDetail {
  /// How the member is stored, where its type alone does not say it.
  const ValueOps* ops = nullptr;
  /// The default, or a constant's value; null: the type's own default.
  const void* value = nullptr;
  const char* valueName = nullptr;  ///< the constant or attribute that the default names, or null
  uint64_t low = 0;                 ///< inclusive bounds, where the descriptor says ranged
  uint64_t high = 0;
  const char* lowName = nullptr;  ///< the constant that is the bound, or null
  const char* highName = nullptr;
  const char* rangeMessage = nullptr;
  const char* unit = nullptr;
  const char* doc = nullptr;
  const CollectionOps* collection = nullptr;
  AccessFunction access = nullptr;
};

struct GenericIfEntry;

/// A module as it is registered: constant data.
struct TovoModule {
  const TypeDescriptor* types;
  const AttributeDescriptor* attributes;
  const AttributeDetail* details;
  const char* typeNames;  ///< zero-terminated names in ascending order, an empty one at the end
  const char* attributeNames;           ///< zero-terminated names, an empty one at the end
  const TovoTypeBase* referencedTypes;  ///< null when nothing is referred to
  const GenericIfEntry* genericInterface;
  uint32_t typeCount;
  const char* name;  ///< "_StpTypes_7e58f2dcd85a6064_tovoModule"
};

/// Makes a module known, once; it must live as long as the process. Cost: its number of types.
void tovoModuleIs(const TovoModule* module);

/// The registered modules, in the order of registration.
std::span<const TovoModule* const> tovoModules() noexcept;

/// The type of a qualified name; none when no module has it. Constant time, no allocation.
TovoTypeBase typeByName(std::string_view name) noexcept;

/// "StpTypes" and "7e58f2dcd85a6064" of a record's name.
std::string_view moduleName(const TovoModule& module) noexcept;
std::string_view moduleHash(const TovoModule& module) noexcept;

const TypeDescriptor& typeDescriptor(TovoTypeBase type) noexcept;
const char* typeName(TovoTypeBase type) noexcept;
/// The type that a derived entity adds to; none for others.
TovoTypeBase baseType(TovoTypeBase type) noexcept;
/// True for the type itself and for those that derive from it.
bool isDerived(TovoTypeBase type, TovoTypeBase from) noexcept;

/// An attribute together with the module whose tables describe it.
class Attribute {
 public:
  constexpr Attribute() noexcept = default;
  constexpr Attribute(const TovoModule& module, const AttributeDescriptor& descriptor) noexcept
      : module_(&module), descriptor_(&descriptor) {}

  explicit operator bool() const noexcept { return descriptor_ != nullptr; }
  AttributeId id() const noexcept { return descriptor_->id; }
  AttributeKind kind() const noexcept { return descriptor_->kind; }
  const char* name() const noexcept { return module_->attributeNames + descriptor_->name; }
  bool has(uint8_t flag) const noexcept { return (descriptor_->flags & flag) != 0; }
  const AttributeDescriptor& descriptor() const noexcept { return *descriptor_; }
  const AttributeDetail& detail() const noexcept { return module_->details[descriptor_->detail]; }
  Pelmo::FieldDescriptor field() const noexcept { return Pelmo::FieldDescriptor(&descriptor_->id); }
  const TovoModule& module() const noexcept { return *module_; }

  /// The module type of the attribute, element or pointer target; none for a primitive.
  TovoTypeBase type() const noexcept { return resolve(descriptor_->type); }
  TovoTypeBase keyType() const noexcept { return resolve(descriptor_->key); }
  /// As a person names it: "u32", "Stp::PathCost"; the flags tell an optional and a list.
  const char* typeName() const noexcept { return nameOf(descriptor_->type); }
  const char* keyTypeName() const noexcept { return nameOf(descriptor_->key); }
  /// How values of the attribute, or elements of a value collection, are handled. Not for pointers
  /// and collections of entities.
  const ValueOps& ops() const noexcept;
  const ValueOps& keyOps() const noexcept;

  bool isCollection() const noexcept { return kind() >= AttributeKind::ownCollection; }
  /// Travels in the attribute log as a change of its own.
  bool isLogged() const noexcept {
    return kind() == AttributeKind::attribute || kind() == AttributeKind::pointer || isCollection();
  }

 private:
  TovoTypeBase resolve(TypeCode code) const noexcept;
  const char* nameOf(TypeCode code) const noexcept;

  const TovoModule* module_ = nullptr;
  const AttributeDescriptor* descriptor_ = nullptr;
};

/// The type's own attributes, without those of its base, in ascending ids.
std::span<const AttributeDescriptor> ownAttributes(TovoTypeBase type) noexcept;

/// An attribute of the type or its bases by id; none when there is none. Constant time.
Attribute attributeById(TovoTypeBase type, AttributeId id) noexcept;
/// By name. Cost: the number of attributes.
Attribute attributeByName(TovoTypeBase type, std::string_view name) noexcept;

/// Calls visit(Attribute) for all attributes, those of the base first, in ascending ids.
template <class Visit>
void forEachAttribute(TovoTypeBase type, const Visit& visit) {
  if (const TovoTypeBase base = baseType(type)) forEachAttribute(base, visit);
  for (const AttributeDescriptor& own : ownAttributes(type)) visit(Attribute(*type.module, own));
}

/// The place of an attribute among all that type and its bases declare, from 0; for bit sets.
/// Constant time, as the inverse.
uint32_t attributeOrdinal(TovoTypeBase type, AttributeId id) noexcept;
uint32_t attributeTotal(TovoTypeBase type) noexcept;
Attribute attributeAt(TovoTypeBase type, uint32_t ordinal) noexcept;

/// How values of a module's type are handled; null for an entity type.
const ValueOps* valueOps(TovoTypeBase type) noexcept;
const ValueOps& primitiveOps(TypeCode code) noexcept;
/// What the runtime can do with entities of a type; null for a value type.
const EntityHooks* entityHooks(TovoTypeBase type) noexcept;

}  // namespace Tovo
