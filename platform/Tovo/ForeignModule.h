// Module records of types that are written by hand instead of being described.
#pragma once

#include <initializer_list>
#include <span>

#include "Tovo/ValueReflection.h"

namespace Tovo {

constexpr TypeDescriptor foreignValue(const char* name, const char* doc, uint32_t encodedSize,
                                      uint8_t flags) {
  return {name,
          doc,
          nullptr,
          0,
          0,
          0,
          encodedSize,
          PrimitiveCode::none,
          TypeKind::value,
          static_cast<uint8_t>(flags | TypeDescriptor::noArguments)};
}

constexpr TypeDescriptor foreignEnum(const char* name, const char* doc,
                                     std::span<const EnumLiteral> literals, uint32_t encodedSize) {
  return {name,
          doc,
          literals.data(),
          static_cast<uint32_t>(literals.size()),
          0,
          0,
          encodedSize,
          PrimitiveCode::none,
          TypeKind::enumeration,
          TypeDescriptor::noArguments};
}

constexpr TovoModule foreignModule(const char* record, std::span<const TypeDescriptor> types,
                                   const GenericIfEntry* entries, const char* typeNames) {
  return {types.data(), nullptr, nullptr, typeNames,
          "",           nullptr, entries, static_cast<uint32_t>(types.size()),
          record};
}

/// Registers modules when a library is loaded.
struct ModuleRegistration {
  ModuleRegistration(std::initializer_list<const TovoModule*> modules) {
    for (const TovoModule* module : modules) tovoModuleIs(module);
  }
};

}  // namespace Tovo
