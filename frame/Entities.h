// Reflection and creation of any entity type.
#pragma once

#include <utility>

#include "Tovo/Entity.h"
#include "Tovo/GenericIf.h"
#include "frame/LogHooks.h"
#include "frame/ValueRuns.h"

namespace Frame {

/// See Tovo::GenericIfEntry. A set goes through comparison, range check and publication, as the
/// typed setters do; collections answer "not supported".
uint8_t entityAttributeOp(Tovo::TovoTypeBase type, void* result, void* object,
                          const Pelmo::FieldDescriptor* field, uint32_t code, const void* other,
                          const void* argument);
Pelmo::Ptr<Tovo::Entity> newEntityForDir(Tovo::TovoTypeBase type, const Pelmo::String& name,
                                         Tovo::ConstructorArguments arguments);
void constructFromCtorArgs(Tovo::TovoTypeBase type, void* storage,
                           Tovo::ConstructorArguments arguments);

namespace Impl {

template <auto creator>
struct CreatorCall;

template <class T, class... Arguments, Pelmo::Ptr<T> (*creator)(Arguments...)>
struct CreatorCall<creator> {
  static Pelmo::Ptr<Tovo::Entity> create(Tovo::ConstructorArguments arguments) {
    return [&]<size_t... i>(std::index_sequence<i...>)->Pelmo::Ptr<Tovo::Entity> {
      return creator(*static_cast<const std::decay_t<Arguments>*>(arguments[i])...);
    }
    (std::index_sequence_for<Arguments...>());
  }
};

}  // namespace Impl

/// The hooks of an entity type with its static creator.
template <class T, class Flow, auto creator>
constexpr Tovo::EntityHooks entityHooks(std::span<const Tovo::NboAttrLog::ValueRun> runs = {}) {
  return {&T::memAllocationTracker_,    &Impl::CreatorCall<creator>::create,
          &newEntityForAttrLog,         &serializeConstructorParams,
          &attrLogSizeCtorParams,       &newFlowOut<Flow>,
          &handleAttrFlowOut,           &streamAdapterOnAttribute,
          &doHandleAttrDeserialization, runs};
}

/// The entry of an entity type in its module's record.
constexpr Tovo::GenericIfEntry entityEntry(const Tovo::EntityHooks& hooks) {
  return {&newEntityForDir,
          &hooks,
          &Tovo::GenericIfImpl::GenericIfPtrInterfaceMethods<Tovo::Entity>::table,
          &constructFromCtorArgs,
          &entityAttributeOp,
          nullptr};
}

}  // namespace Frame
