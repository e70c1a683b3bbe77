// Who answers for the memory that a connection's parts take.
#pragma once

#include <cstddef>

namespace Tovo::NboAttrLog {

/// Asked by a part before it takes more. Outlives the parts.
class Holder {
 public:
  /// Takes what all parts hold now, and so many bytes more, upon itself. Throws EndingException
  /// when there is no room for it; then the part takes nothing.
  virtual void charge(size_t more) = 0;

 protected:
  ~Holder() = default;
};

}  // namespace Tovo::NboAttrLog
