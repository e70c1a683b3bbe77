// The counted base of everything that is held through Pelmo::Ptr.
#pragma once

#include <cstdint>

#include "Pelmo/RefCount.h"

namespace Pelmo {

class Publisher;

/// A node starts with one reference, which belongs to whoever made it (Ptr::adopt takes it over).
/// Neither copied nor moved: its address is its identity.
///
///   offset 0   virtual table
///          8   reference count
///         12   whether its observers are being told of a change
///         14   flags, of their word the upper half
class Node {
 public:
  /// Set while the node may be used; its destructor clears it before anything else.
  static constexpr uint32_t flagLive = 0x20000000;

  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  virtual ~Node();

  /// Called when the last reference is dropped, or where that happens while the node's observers
  /// are told of a change, behind the last of them; destroys the node, unless it takes it back by
  /// livesOn(). References taken and dropped while it runs have no effect, so a dying node cannot
  /// die twice; one that is kept would outlive the node.
  virtual void lastUserGone() noexcept;

  void retain() const noexcept { references_.add(); }
  void release() const noexcept {
    if (references_.drop()) const_cast<Node*>(this)->die();
  }
  uint32_t references() const noexcept { return references_.value(); }

  void nodeFlagSet(uint32_t flag, bool on) noexcept {
    const auto upper = static_cast<uint16_t>(flag >> 16);
    flags_ = static_cast<uint16_t>(on ? flags_ | upper : flags_ & ~upper);
  }
  bool nodeFlag(uint32_t flag) const noexcept { return (flags_ & flag >> 16) != 0; }

 protected:
  Node() noexcept = default;

  /// For lastUserGone, while the node is whole: true when somebody has taken a reference since and
  /// keeps it. Then the node is live, belongs to those who hold it, and may be gone already.
  bool livesOn() noexcept;

 private:
  friend class Publisher;
  void die() noexcept;

  mutable RefCount references_{1};
  bool publishing_ = false;
  uint16_t flags_ = flagLive >> 16;
};

}  // namespace Pelmo
