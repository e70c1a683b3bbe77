// Who is told what becomes of the mirrors of a connection.
#pragma once

#include <string>

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// May do anything, also close or destroy the connection.
class GuestObserver {
 public:
  virtual ~GuestObserver() = default;
  /// A path that was asked for is mirrored in the directory from now on; its attributes and
  /// elements follow.
  virtual void mountBegan(const std::string&, Entity&) {}
  /// The peer has refused the path, or does not have it any more.
  virtual void mountEnded(const std::string&, const std::string& /*reason*/) {}
  /// The peer, whose roots are followed, has mounted something at the path, or has not any more.
  virtual void remoteMountChanged(const std::string&, bool /*mounted*/) {}
};

}  // namespace Tovo::NboAttrLog
