// The values that an entity of some type is constructed from.
#pragma once

#include <memory>
#include <vector>

#include "Tovo/AttrLog/In.h"
#include "Tovo/Entity.h"
#include "Tovo/GenericIf.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

/// The name or key, then the parameters in order of declaration.
class ConstructorValues {
 public:
  explicit ConstructorValues(TovoTypeBase type);

  /// Throws StreamException.
  void read(NboAttrLog::In& in);
  ConstructorArguments arguments() const noexcept { return pointers_; }
  /// The name or key.
  const void* key() const noexcept { return pointers_.front(); }
  /// Whether the entity was constructed from the same values.
  bool match(const Entity& entity) const;

  static void write(NboAttrLog::Out& out, const Entity& entity);
  static size_t attrLogSize(const Entity& entity);

 private:
  TovoTypeBase type_;
  std::vector<std::unique_ptr<ValueBuffer>> values_;
  std::vector<const void*> pointers_;
};

}  // namespace Tovo
