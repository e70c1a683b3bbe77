// The elements of a collection in the order in which tools show them.
#pragma once

#include <string>
#include <vector>

#include "Tovo/Entity.h"
#include "Tovo/Module.h"

namespace stptool {

struct Element {
  std::string key;  ///< as a person types it
  const void* keyValue;
  const void* item;  ///< an entity, or a value
};

/// In natural order of the keys. Valid until the collection changes.
std::vector<Element> sortedElements(const Tovo::Entity& entity, Tovo::Attribute collection);

}  // namespace stptool
