// Attributes of live entities in the words of an operator.
#pragma once

#include <string>

#include "Tovo/Entity.h"
#include "Tovo/Module.h"
#include "stptool/model/ShortText.h"

namespace stptool {

/// True for a value that nobody has set: the declared default, a null pointer, an empty collection.
bool isAtDefault(const Tovo::Entity& entity, Tovo::Attribute attribute);

bool isBool(Tovo::Attribute attribute);

/// The value of anything but an owning collection. A pointer to an element of the entity itself is
/// that element's name, another one a path.
std::string attributeCell(const Tovo::Entity& entity, Tovo::Attribute attribute, ValueStyle style);

/// A collection of values or references on one line: "1,10-19,30=false", "Ethernet2=Ethernet1".
std::string entriesCell(const Tovo::Entity& entity, Tovo::Attribute collection, ValueStyle style);

}  // namespace stptool
