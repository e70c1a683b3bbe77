// The generic methods of entities, whose values are counted pointers.
#include <new>
#include <string>

#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/HashMap2018.h"
#include "Tovo/Path.h"
#include "Tovo/ValueReflection.h"

namespace Tovo {

namespace {

using EntityPtr = Pelmo::Ptr<Entity>;

void entityConstruct(TovoTypeBase, void* storage, const void* source) {
  new (storage) EntityPtr(source ? *static_cast<const EntityPtr*>(source) : EntityPtr());
}
void entityDestruct(TovoTypeBase, void* storage) { static_cast<EntityPtr*>(storage)->~EntityPtr(); }
uint32_t entityHash(const void* value, TovoTypeBase) {
  return hashOfNumber(reinterpret_cast<uintptr_t>(static_cast<const EntityPtr*>(value)->get()));
}
Pelmo::String entityStrRep(TovoTypeBase, const void* value) {
  const Entity* entity = static_cast<const EntityPtr*>(value)->get();
  return entity ? Pelmo::String(pathOf(*entity)) : Pelmo::String("None");
}
void entityFromStrep(TovoTypeBase type, std::string_view, void*) {
  throw TypeException(std::string(typeName(type)) +
                      " is an entity type; its objects are not made from text");
}
void* entityPointerIs(void* pointer, TovoTypeBase from, TovoTypeBase to) {
  if (!isDerived(from, to)) GenericIfImpl::throwTypeException(from, to);
  return pointer;
}

}  // namespace

namespace GenericIfImpl {

template <>
const GenericIfMethods GenericIfPtrInterfaceMethods<Entity>::table = {
    &entityConstruct, &entityDestruct,  &entityHash, &entityStrRep,
    &entityFromStrep, &entityPointerIs, &noPbMessage};

}  // namespace GenericIfImpl

}  // namespace Tovo
