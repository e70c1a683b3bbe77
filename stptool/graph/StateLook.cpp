#include "stptool/graph/StateLook.h"

namespace stptool {

using Tovo::Attribute;

Attribute stateAttribute(Tovo::TovoTypeBase type) {
  Attribute found;
  Tovo::forEachAttribute(type, [&](Attribute attribute) {
    const std::string_view name = attribute.name();
    const Tovo::TovoTypeBase valueType = attribute.type();
    if (!found && attribute.kind() == Tovo::AttributeKind::attribute && valueType &&
        Tovo::typeDescriptor(valueType).kind == Tovo::TypeKind::enumeration &&
        (name == "state" || name.ends_with("State"))) {
      found = attribute;
    }
  });
  return found;
}

int stateRank(Attribute state, const std::string& literal) {
  const Tovo::TypeDescriptor& type = Tovo::typeDescriptor(state.type());
  for (uint32_t i = 0; i < type.literalCount; ++i) {
    if (type.literals[i].name == literal) return i == 0 ? 0 : i + 1 == type.literalCount ? 2 : 1;
  }
  return -1;
}

const char* stateColour(int rank) noexcept {
  static constexpr const char* colours[] = {"#f4b6b0", "#fbe3a1", "#b9e3b4"};
  return rank < 0 ? "#e8ebef" : colours[rank];
}

}  // namespace stptool
