// Which value type an input is for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Tovo/Assert.h"
#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"

namespace fuzz {

/// The value types and enumerations of all registered modules, in order; failed assertions throw
/// from here on.
inline const std::vector<Tovo::TovoTypeBase>& valueTypes() {
  static const std::vector<Tovo::TovoTypeBase> types = [] {
    Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
    std::vector<Tovo::TovoTypeBase> found;
    for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
      for (uint32_t index = 0; index < module->typeCount; ++index) {
        const Tovo::TovoTypeBase type{module, index};
        if (Tovo::valueOps(type)) found.push_back(type);
      }
    }
    return found;
  }();
  return types;
}

/// The first byte chooses.
inline const Tovo::ValueOps& chosenOps(const uint8_t*& data, size_t& size) {
  const auto& types = valueTypes();
  const Tovo::TovoTypeBase type = types[size == 0 ? 0 : *data % types.size()];
  if (size > 0) {
    ++data;
    --size;
  }
  return *Tovo::valueOps(type);
}

}  // namespace fuzz
