// The values that an entity of some type is constructed from.
#pragma once

#include <memory_resource>
#include <vector>

#include "Mirror/log/LogTable.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/Entity.h"
#include "Tovo/GenericIf.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

/// The name or key, then the parameters in order of declaration.
class ConstructorValues {
 public:
  /// Reads them. Throws StreamException.
  ConstructorValues(TovoTypeBase type, NboAttrLog::In& in);
  ~ConstructorValues();
  ConstructorValues(const ConstructorValues&) = delete;
  ConstructorValues& operator=(const ConstructorValues&) = delete;

  ConstructorArguments arguments() const noexcept { return pointers_; }
  /// The name or key.
  const void* key() const noexcept { return pointers_.front(); }
  /// Whether the entity, of this type, was constructed from the same values.
  bool match(const Entity& entity) const;

  static void write(NboAttrLog::Out& out, const Entity& entity);
  static size_t attrLogSize(const Entity& entity);

 private:
  void destroy() noexcept;

  const NboAttrLog::LogTable& table_;
  alignas(16) unsigned char first_[256];
  std::pmr::monotonic_buffer_resource memory_;
  std::pmr::vector<const void*> pointers_;
};

}  // namespace Tovo
