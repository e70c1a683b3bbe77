// What the owner of an adapter decides about single messages.
#pragma once

#include "Tovo/AttrLog/In.h"
#include "Tovo/Types.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

class FlowOut;

/// Each function has the usual answer. None may destroy the adapter or let go of what it carries.
/// Outlives the adapter that it is given to.
class Policy {
 public:
  virtual ~Policy() = default;

  /// Offered before a value is sent, where the flags of the sender say so; true: somebody sends it
  /// for all.
  virtual bool doMessageMulticast(FlowOut&, AttributeId) { return false; }
  /// Whether a collection may be sent at all, and anything now. It stays dirty where it may not.
  virtual bool handleSerializationOfCollCheck(FlowOut&, AttributeId) { return true; }
  virtual bool isOkToSerialize() const { return true; }
  /// Asked for each write that arrives at a read-only mount; false: it ends the connection.
  virtual bool allowWriteFromReadOnlyRemote(const Entity&, AttributeId) { return false; }
};

/// Takes messages before the runtime does. True: it took this one. It may do anything, also destroy
/// the adapter.
class StreamDemuxer {
 public:
  virtual ~StreamDemuxer() = default;
  virtual bool handleMessage(Entity& entity, AttributeId attribute, In& in) = 0;
};

}  // namespace Tovo::NboAttrLog
