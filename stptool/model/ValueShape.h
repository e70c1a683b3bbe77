// What reflection says of a value, and access to its parts.
#pragma once

#include <vector>

#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"

namespace stptool {

/// What reflection says of a value's type.
struct ValueShape {
  const Tovo::ValueOps* ops;
  Tovo::TovoTypeBase type;   ///< none for a primitive
  Tovo::TypeCode primitive;  ///< where there is no type
};

/// The values of an attribute, or the elements of a collection of values.
ValueShape shapeOf(Tovo::Attribute attribute);
ValueShape keyShapeOf(Tovo::Attribute collection);
/// A registered value type or enumeration.
ValueShape shapeOf(Tovo::TovoTypeBase type);

/// A type's attributes of one kind: its fields, its alternatives.
std::vector<Tovo::Attribute> membersOf(Tovo::TovoTypeBase type, Tovo::AttributeKind kind);

/// The field of a value type that has just one, whose text and JSON are those of that field; else
/// none.
Tovo::Attribute onlyField(Tovo::TovoTypeBase type);

/// Puts a member of a value into `result`. False when it is not there: an alternative that is not
/// held.
bool getMember(Tovo::TovoTypeBase type, const void* value, Tovo::Attribute member,
               Tovo::ValueBuffer& result);
/// Stores a field as the attribute log does: whatever its range.
void keepField(void* value, Tovo::Attribute field, const void* argument);
/// False when the member cannot be set. Throws Tovo::RangeException.
bool setMember(Tovo::TovoTypeBase type, void* value, Tovo::Attribute member, const void* argument);

}  // namespace stptool
