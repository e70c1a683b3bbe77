// How a field or attribute is named to the generic interface.
#pragma once

#include <cstdint>

namespace Pelmo {

/// Points at one record of a module's attribute table, which begins with the id.
class FieldDescriptor {
 public:
  explicit constexpr FieldDescriptor(const uint16_t* record) noexcept : record_(record) {}
  uint16_t fieldId() const noexcept { return *record_; }

 private:
  const uint16_t* record_;
};

}  // namespace Pelmo
