// Entities as text: what tools read and write without knowing a type.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Tovo/CharRange.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"

namespace Tovo {

class ValueBuffer;

/// An attribute that cannot be written, or not in this way; nothing has changed.
class NotWritableException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The text of a value; strings in quotes.
std::string valueText(const ValueOps& ops, const void* value);
/// Keys and strings as a person types them: no quotes around a whole string.
std::string plainText(const ValueOps& ops, const void* value);
/// Reads what either of them says. A string that is not in quotes from its first byte to its last
/// is itself, also when it begins with one. Throws RangeException.
void readTyped(std::string_view text, ValueBuffer& value, Ranges ranges = Ranges::checked);

/// Any attribute but a collection: a scalar's value, a constant, a parameter, a computed value; a
/// pointer as the path of its target, or "None".
std::string attributeText(const Entity& entity, Attribute attribute);
/// The declared default as text; empty when the attribute has none.
std::string defaultText(Attribute attribute);
/// "6 to 40", with the unit; empty without a range.
std::string rangeText(Attribute attribute);

/// Sets a scalar from its text, through the range check and with publication; a String may stand
/// with or without quotes. Throws RangeException (ParseException) or NotWritableException.
void attributeFromText(Entity& entity, Attribute attribute, std::string_view text);
/// Stores a scalar as the attribute log does: whatever its range, also what only its owner sets.
/// Publishes unless it is the same value. Throws NotWritableException for what is no stored scalar.
void attributeKept(Entity& entity, Attribute attribute, const void* value);
/// Sets an entity pointer; null clears it. Throws TypeException or NotWritableException.
void pointerIs(Entity& entity, Attribute attribute, Entity* target);

/// Makes, or finds, an element of an owning collection. Parameters as texts, in order. Throws
/// RangeException, NewEntityArgsException, MutatorReinstantiatingException or NotWritableException.
Pelmo::Ptr<Entity> newElement(Entity& owner, Attribute collection, std::string_view key,
                              const std::vector<std::string>& parameters = {});
/// Stores a value in a collection of values. Throws RangeException or NotWritableException.
void putElement(Entity& owner, Attribute collection, std::string_view key, std::string_view value);
/// Stores a pointer in a collection of references. Throws TypeException, RangeException or
/// NotWritableException.
void putReference(Entity& owner, Attribute collection, std::string_view key, Entity& target);
/// The same under a key of the collection's key type.
void putReferenceAt(Entity& owner, Attribute collection, const void* key, Entity& target);
/// False when the key is not there. Throws RangeException for a text that is no key; one outside
/// its range is one, as the log may have brought it.
bool deleteElement(Entity& owner, Attribute collection, std::string_view key);
/// The element or value under a key's text, or null. Throws as deleteElement.
const void* findElement(const Entity& owner, Attribute collection, std::string_view key);

/// The constructor parameters of an entity type, in order, without the name or key.
std::vector<Attribute> constructorParameters(TovoTypeBase type);
/// The parameter that is an entity's key; none for named ones.
Attribute keyParameter(TovoTypeBase type);

/// True when two trees have the same types, attributes and elements, whatever the order of the
/// elements; pointers are equal when both are null or lead to elements of the same path below the
/// two roots. Otherwise `difference` says where they differ first.
bool sameTree(const Entity& a, const Entity& b, std::string& difference);

}  // namespace Tovo
