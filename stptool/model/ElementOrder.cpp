#include "stptool/model/ElementOrder.h"

#include <algorithm>

#include "Tovo/Collection.h"
#include "stptool/model/TypedText.h"
#include "stptool/text/NaturalOrder.h"

namespace stptool {

std::vector<Element> sortedElements(const Tovo::Entity& entity, Tovo::Attribute collection) {
  std::vector<Element> elements;
  Tovo::forEachElement(entity, collection, [&](const void* key, const void* item) {
    elements.push_back({typedText(collection.keyOps(), key), key, item});
  });
  std::sort(elements.begin(), elements.end(),
            [](const Element& a, const Element& b) { return naturalLess(a.key, b.key); });
  return elements;
}

}  // namespace stptool
