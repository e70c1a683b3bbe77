// What a guest has changed itself, and the host has not seen.
#pragma once

#include <cstdint>
#include <string>

#include "Mirror/log/Numbers.h"
#include "Mirror/log/UnderWay.h"

namespace Tovo::NboAttrLog {

/// Of one adapter. Writes of both sides meet at the host, which applies them in the order in which
/// it sees them. A guest ignores what the host says of something that is pending here: then both
/// hold the same once the host has seen it.
class Pending {
 public:
  /// An attribute of a carried entity; of a collection, the whole of it.
  bool has(const Numbers::Carried& carried, AttributeId attribute) const noexcept;
  /// The entry of a collection under an encoded key.
  bool has(const Numbers::Carried& carried, AttributeId collection, const std::string& key) const;

  /// The message of that number, counted from 1, told the host of it; no key: of the attribute, or
  /// that a whole transfer has ended. Throws std::bad_alloc.
  void sent(FlowOut& flow, AttributeId attribute, const std::string& key, uint64_t message);
  /// The host has seen all messages up to one. Calls visit(place) for what they told, the oldest
  /// first: it is not pending any more.
  template <class Visit>
  void takenIs(uint64_t message, const Visit& visit) {
    underWay_.seen(message, visit);
  }
  /// Of one entity.
  void forget(Entity& entity) noexcept { underWay_.removeAll(entity); }
  void clear() noexcept { underWay_.clear(); }

 private:
  UnderWay underWay_;
};

}  // namespace Tovo::NboAttrLog
