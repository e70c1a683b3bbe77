// Values that are not the default, the same in every run: made through reflection, so that a new
// type needs nothing here.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Pelmo/Ptr.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"

namespace Golden {

using Buffer = std::unique_ptr<Tovo::ValueBuffer>;

/// Numbers follow from the name, whatever the standard library.
class Filling {
 public:
  explicit Filling(std::string_view name);

  Buffer value(Tovo::TovoTypeBase type);
  /// A new entity, its parameters filled.
  Pelmo::Ptr<Tovo::Entity> entity(Tovo::TovoTypeBase type, std::string_view name);
  /// Sets the attributes that may be set, and gives each collection one entry. Pointers lead to
  /// `target` where the type fits.
  void fill(Tovo::Entity& entity, Tovo::Entity& target);

 private:
  uint64_t number(uint64_t low, uint64_t high);
  Buffer member(Tovo::Attribute attribute);
  Buffer primitive(const Tovo::ValueOps& ops, Tovo::TypeCode code);
  Buffer key(Tovo::Attribute collection);

  uint64_t state_ = 0;
};

}  // namespace Golden
