#include "frame/LogHooks.h"

#include "Mirror/log/ConstructorValues.h"

namespace Frame {

using Tovo::AttributeId;
using Tovo::Entity;
using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::FlowResult;
using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::LogAttribute;
using Tovo::NboAttrLog::Out;
using Tovo::NboAttrLog::StreamAdapter;

Pelmo::Ptr<Entity> newEntityForAttrLog(Tovo::TovoTypeBase type, In* in) {
  const Tovo::ConstructorValues values(type, *in);
  return Tovo::entityHooks(type)->create(values.arguments());
}

void serializeConstructorParams(Out& out, const Entity& entity) {
  Tovo::ConstructorValues::write(out, entity);
}

size_t attrLogSizeCtorParams(const Entity& entity) {
  return Tovo::ConstructorValues::attrLogSize(entity);
}

FlowResult handleAttrFlowOut(StreamAdapter& adapter, AttributeId attribute, FlowOut& flow) {
  return adapter.sender().send(flow, attribute);
}

int streamAdapterOnAttribute(StreamAdapter& adapter, AttributeId attribute, FlowOut& flow) {
  const LogAttribute* chosen = flow.table().logged(attribute);
  if (!chosen || chosen->keyOps) return 0;
  return adapter.sender().sendValue(flow, *chosen) ? 1 : -1;
}

void doHandleAttrDeserialization(StreamAdapter& adapter, Entity& entity, AttributeId id, In& in) {
  const auto target = adapter.numbers().of(entity);
  adapter.receiver().apply(target, id, in);
}

}  // namespace Frame
