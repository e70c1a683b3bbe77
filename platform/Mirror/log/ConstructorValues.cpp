#include "Mirror/log/ConstructorValues.h"

namespace Tovo {

using NboAttrLog::ConstructorValue;
using NboAttrLog::LogTable;

namespace {

const void* valueOf(const Entity& entity, const ConstructorValue& value) noexcept {
  if (value.offset == AttributeDescriptor::notStored) return &entity.name();
  return reinterpret_cast<const char*>(&entity) + value.offset;
}

}  // namespace

ConstructorValues::ConstructorValues(TovoTypeBase type, NboAttrLog::In& in)
    : table_(LogTable::of(type)), memory_(first_, sizeof first_), pointers_(&memory_) {
  pointers_.reserve(table_.constructorValues().size());
  try {
    for (const ConstructorValue& value : table_.constructorValues()) {
      void* at = memory_.allocate(value.ops->size, value.ops->align);
      value.ops->read(in, at);
      pointers_.push_back(at);
    }
  } catch (...) {
    destroy();
    throw;
  }
}

ConstructorValues::~ConstructorValues() { destroy(); }

void ConstructorValues::destroy() noexcept {
  for (size_t i = 0; i < pointers_.size(); ++i) {
    table_.constructorValues()[i].ops->destruct(const_cast<void*>(pointers_[i]));
  }
}

bool ConstructorValues::match(const Entity& entity) const {
  for (size_t i = 0; i < pointers_.size(); ++i) {
    const ConstructorValue& value = table_.constructorValues()[i];
    if (!value.ops->equal(pointers_[i], valueOf(entity, value))) return false;
  }
  return true;
}

void ConstructorValues::write(NboAttrLog::Out& out, const Entity& entity) {
  for (const ConstructorValue& value : LogTable::of(entity.tovoType()).constructorValues()) {
    value.ops->write(out, valueOf(entity, value));
  }
}

size_t ConstructorValues::attrLogSize(const Entity& entity) {
  size_t size = 0;
  for (const ConstructorValue& value : LogTable::of(entity.tovoType()).constructorValues()) {
    size += value.ops->attrLogSize(valueOf(entity, value));
  }
  return size;
}

}  // namespace Tovo
