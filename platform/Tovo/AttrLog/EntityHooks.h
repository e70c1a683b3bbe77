// What the runtime calls on entity types; each type's module supplies one table.
#pragma once

#include <span>

#include "Pelmo/Ptr.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/AttrLog/ValueRun.h"
#include "Tovo/GenericIf.h"

namespace Tovo {

namespace NboAttrLog {

// Of the library above that mirrors entities, and only passed on here.
class FlowOut;
class StreamAdapter;

/// How a hook that writes ended.
enum class FlowResult : int {
  done = 0,
  notFinished = 1,  ///< no room; call again when there is
  notMine = 2,      ///< the attribute id is not one of the type's
};

}  // namespace NboAttrLog

struct EntityHooks {
  AllocTrackTypeInfo* tracker;
  /// Arguments: the name or key, then the parameters; all there.
  Pelmo::Ptr<Entity> (*create)(ConstructorArguments arguments);
  /// Throws StreamException, then nothing exists.
  Pelmo::Ptr<Entity> (*newEntityForAttrLog)(TovoTypeBase type, NboAttrLog::In* in);
  void (*serializeConstructorParams)(NboAttrLog::Out& out, const Entity& entity);
  size_t (*attrLogSizeCtorParams)(const Entity& entity);
  /// The flow of the type; attributes at or above `start` are dirty.
  Pelmo::Ptr<NboAttrLog::FlowOut> (*newFlowOut)(NboAttrLog::StreamAdapter& adapter, Entity& entity,
                                                uint32_t entityId, AttributeId start);
  /// Attribute 0: all that are dirty.
  NboAttrLog::FlowResult (*handleAttrFlowOut)(NboAttrLog::StreamAdapter& adapter,
                                              AttributeId attribute, NboAttrLog::FlowOut& flow);
  /// 1: sent, or taken by a multicast; 0: not an attribute of the type; -1: no room.
  int (*streamAdapterOnAttribute)(NboAttrLog::StreamAdapter& adapter, AttributeId attribute,
                                  NboAttrLog::FlowOut& flow);
  void (*doHandleAttrDeserialization)(NboAttrLog::StreamAdapter& adapter, Entity& entity,
                                      AttributeId attribute, NboAttrLog::In& in);
  /// Of the type's own attributes.
  std::span<const NboAttrLog::ValueRun> runs;
};

}  // namespace Tovo
