// The attribute log of any entity type: what a type's table of hooks points to. The work is done by
// the library that mirrors entities, from the type's descriptors.
#pragma once

#include "Mirror/log/FlowOut.h"
#include "Mirror/log/StreamAdapter.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Module.h"

namespace Frame {

/// Hooks of every entity type; see Tovo::EntityHooks.
Pelmo::Ptr<Tovo::Entity> newEntityForAttrLog(Tovo::TovoTypeBase type, Tovo::NboAttrLog::In* in);
void serializeConstructorParams(Tovo::NboAttrLog::Out& out, const Tovo::Entity& entity);
size_t attrLogSizeCtorParams(const Tovo::Entity& entity);
Tovo::NboAttrLog::FlowResult handleAttrFlowOut(Tovo::NboAttrLog::StreamAdapter& adapter,
                                               Tovo::AttributeId attribute,
                                               Tovo::NboAttrLog::FlowOut& flow);
int streamAdapterOnAttribute(Tovo::NboAttrLog::StreamAdapter& adapter, Tovo::AttributeId attribute,
                             Tovo::NboAttrLog::FlowOut& flow);
void doHandleAttrDeserialization(Tovo::NboAttrLog::StreamAdapter& adapter, Tovo::Entity& entity,
                                 Tovo::AttributeId id, Tovo::NboAttrLog::In& in);

template <class Flow>
Pelmo::Ptr<Tovo::NboAttrLog::FlowOut> newFlowOut(Tovo::NboAttrLog::StreamAdapter& adapter,
                                                 Tovo::Entity& entity, uint32_t entityId,
                                                 Tovo::AttributeId start) {
  auto flow = Pelmo::Ptr<Tovo::NboAttrLog::FlowOut>::adopt(
      new Flow(adapter.carrier().queue(), entity, entityId, start));
  flow->dirtyFrom(start);
  return flow;
}

}  // namespace Frame
