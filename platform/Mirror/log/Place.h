// What a message is about: a value or a pointer of an entity, or one entry of a collection.
#pragma once

#include <compare>
#include <string>

#include "Tovo/Types.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// Places of one entity lie side by side, and of these the ones of one attribute.
struct Place {
  Entity* holder;
  AttributeId attribute;
  std::string key;  ///< encoded, which is never empty; empty: all of the attribute

  auto operator<=>(const Place&) const = default;
};

}  // namespace Tovo::NboAttrLog
