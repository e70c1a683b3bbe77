#include "Tovo/Inspect.h"

#include <memory>

#include "Tovo/Collection.h"
#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

namespace {

[[noreturn]] void refuse(const Entity& entity, Attribute attribute, const std::string& why) {
  throw NotWritableException(pathOf(entity, attribute.name()) + " " + why);
}

const char* whyReadOnly(Attribute attribute) {
  switch (attribute.kind()) {
    case AttributeKind::constant:
      return "is a constant";
    case AttributeKind::parameter:
    case AttributeKind::name:
    case AttributeKind::nameString:
      return "is fixed when the entity is made";
    case AttributeKind::query:
      return "is computed";
    default:
      return "can be set by its owner only";
  }
}

std::unique_ptr<ValueBuffer> parsed(Attribute attribute, const ValueOps& ops, std::string_view text,
                                    Ranges ranges = Ranges::checked) {
  auto value = std::make_unique<ValueBuffer>(ops);
  try {
    readTyped(text, *value, ranges);
  } catch (const RangeException& error) {
    rethrowFromDeserializeAttr(error, attribute.name());
  }
  return value;
}

// In quotes, or else as it is.
Pelmo::String typedString(std::string_view text) {
  if (text.starts_with('\'')) {
    try {
      CharRange range(text);
      Pelmo::String quoted = deserializeAttr<Pelmo::String>(range, {});
      if (range.empty()) return quoted;
    } catch (const ParseException&) {
      return Pelmo::String(text);
    }
  }
  return Pelmo::String(text);
}

void demandCollection(const Entity& owner, Attribute collection, bool owning) {
  if (!collection.isCollection()) refuse(owner, collection, "is not a collection");
  if ((collection.kind() == AttributeKind::ownCollection) != owning) {
    refuse(owner, collection,
           owning ? "does not make its elements; it is given values"
                  : "makes its elements itself; they are not given");
  }
}

const Entity* pointerTarget(const Entity& entity, Attribute attribute) noexcept {
  return *static_cast<const Entity* const*>(storage(entity, attribute));
}

}  // namespace

std::string valueText(const ValueOps& ops, const void* value) {
  std::string text;
  ops.print(text, value);
  return text;
}

std::string plainText(const ValueOps& ops, const void* value) {
  if (&ops == &primitiveOps(PrimitiveCode::string)) {
    return std::string(static_cast<const Pelmo::String*>(value)->view());
  }
  return valueText(ops, value);
}

void readTyped(std::string_view text, ValueBuffer& value, Ranges ranges) {
  if (&value.ops() == &primitiveOps(PrimitiveCode::string)) {
    const Pelmo::String string = typedString(text);
    return value.constructFrom(&string);
  }
  CharRange range(text, ranges);
  const CharRangeCheckAllDataConsumed check(range);
  value.parse(range);
}

std::string attributeText(const Entity& entity, Attribute attribute) {
  switch (attribute.kind()) {
    case AttributeKind::name:
      return valueText(attribute.ops(), &entity.name());
    case AttributeKind::nameString: {
      const Pelmo::String text = entity.nameString();
      return valueText(attribute.ops(), &text);
    }
    case AttributeKind::constant:
      return valueText(attribute.ops(), attribute.detail().value);
    case AttributeKind::pointer: {
      const Entity* target = pointerTarget(entity, attribute);
      return target ? pathOf(*target) : "None";
    }
    case AttributeKind::query: {
      ValueBuffer value(attribute.ops());
      value.constructDefault();
      const Pelmo::FieldDescriptor field = attribute.field();
      genericIf(entity.tovoType())
          .genericIfAttributeOp(entity.tovoType(), value.get(), const_cast<Entity*>(&entity),
                                &field, OperationCode::get, nullptr, nullptr);
      return valueText(attribute.ops(), value.get());
    }
    default:
      return valueText(attribute.ops(), storage(entity, attribute));
  }
}

std::string defaultText(Attribute attribute) {
  switch (attribute.kind()) {
    case AttributeKind::pointer:
      return "None";
    case AttributeKind::field:
    case AttributeKind::attribute:
    case AttributeKind::alternative:
    case AttributeKind::constant:
      break;
    default:
      return {};
  }
  ValueBuffer value(attribute.ops());
  value.constructFrom(attribute.detail().value);
  return valueText(attribute.ops(), value.get());
}

std::string rangeText(Attribute attribute) {
  if (!attribute.has(AttributeDescriptor::ranged)) return {};
  const AttributeDetail& detail = attribute.detail();
  std::string text = std::to_string(detail.low) + " to " + std::to_string(detail.high);
  if (detail.unit) text.append(" ").append(detail.unit);
  return text;
}

void attributeFromText(Entity& entity, Attribute attribute, std::string_view text) {
  if (attribute.kind() == AttributeKind::pointer) {
    if (text == "None") return pointerIs(entity, attribute, nullptr);
    refuse(entity, attribute, "is a pointer; it is set to None or to an entity");
  }
  if (attribute.isCollection()) {
    refuse(entity, attribute, "is a collection; its elements are set one by one");
  }
  if (attribute.kind() != AttributeKind::attribute ||
      attribute.has(AttributeDescriptor::readOnly)) {
    refuse(entity, attribute, whyReadOnly(attribute));
  }
  const auto value = parsed(attribute, attribute.ops(), text);
  const Pelmo::FieldDescriptor field = attribute.field();
  genericIf(entity.tovoType())
      .genericIfAttributeOp(entity.tovoType(), nullptr, &entity, &field, OperationCode::set,
                            nullptr, value->get());
}

void attributeKept(Entity& entity, Attribute attribute, const void* value) {
  if (attribute.kind() != AttributeKind::attribute) {
    refuse(entity, attribute, whyReadOnly(attribute));
  }
  const ValueOps& ops = attribute.ops();
  void* const stored = storage(entity, attribute);
  if (ops.equal(stored, value)) return;
  ValueBuffer previous(ops);
  previous.constructFrom(stored);
  ops.assign(stored, value);
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, previous.get(), nullptr);
}

void pointerIs(Entity& entity, Attribute attribute, Entity* target) {
  if (attribute.kind() != AttributeKind::pointer) refuse(entity, attribute, "is not a pointer");
  if (target && !isDerived(target->tovoType(), attribute.type())) {
    GenericIfImpl::throwTypeException(target->tovoType(), attribute.type());
  }
  const Pelmo::Ptr<Entity> pointer(target);
  const Pelmo::FieldDescriptor field = attribute.field();
  genericIf(entity.tovoType())
      .genericIfAttributeOp(entity.tovoType(), nullptr, &entity, &field, OperationCode::set,
                            nullptr, &pointer);
}

Pelmo::Ptr<Entity> newElement(Entity& owner, Attribute collection, std::string_view key,
                              const std::vector<std::string>& parameters) {
  demandCollection(owner, collection, true);
  const auto keyValue = parsed(collection, collection.keyOps(), key);
  std::vector<std::unique_ptr<ValueBuffer>> values;
  std::vector<const void*> pointers;
  for (const Attribute parameter : constructorParameters(collection.type())) {
    if (values.size() >= parameters.size()) {
      throwNewEntityArgsException(*collection.type().module, values.size());
    }
    values.push_back(parsed(parameter, parameter.ops(), parameters[values.size()]));
    pointers.push_back(values.back()->get());
  }
  if (values.size() < parameters.size()) {
    throwNewEntityArgsException(*collection.type().module, values.size());
  }
  return collectionOps(collection).create(owner, keyValue->get(), pointers);
}

void putElement(Entity& owner, Attribute collection, std::string_view key, std::string_view value) {
  demandCollection(owner, collection, false);
  if (collection.kind() == AttributeKind::refCollection) {
    refuse(owner, collection, "holds references; it is given entities");
  }
  const auto keyValue = parsed(collection, collection.keyOps(), key);
  const auto item = parsed(collection, collection.ops(), value);
  collectionOps(collection).put(owner, keyValue->get(), item->get());
}

void putReference(Entity& owner, Attribute collection, std::string_view key, Entity& target) {
  const auto keyValue = parsed(collection, collection.keyOps(), key);
  putReferenceAt(owner, collection, keyValue->get(), target);
}

void putReferenceAt(Entity& owner, Attribute collection, const void* key, Entity& target) {
  if (collection.kind() != AttributeKind::refCollection) {
    refuse(owner, collection, "holds no references");
  }
  if (!isDerived(target.tovoType(), collection.type())) {
    GenericIfImpl::throwTypeException(target.tovoType(), collection.type());
  }
  const Pelmo::Ptr<Entity> pointer(&target);
  collectionOps(collection).put(owner, key, &pointer);
}

bool deleteElement(Entity& owner, Attribute collection, std::string_view key) {
  if (!collection.isCollection()) refuse(owner, collection, "is not a collection");
  const auto keyValue = parsed(collection, collection.keyOps(), key, Ranges::kept);
  return collectionOps(collection).erase(owner, keyValue->get());
}

const void* findElement(const Entity& owner, Attribute collection, std::string_view key) {
  const auto keyValue = parsed(collection, collection.keyOps(), key, Ranges::kept);
  return collectionFind(owner, collection, keyValue->get());
}

std::vector<Attribute> constructorParameters(TovoTypeBase type) {
  std::vector<Attribute> parameters;
  const Attribute key = keyParameter(type);
  forEachAttribute(type, [&](Attribute attribute) {
    if (attribute.kind() != AttributeKind::parameter) return;
    if (key && attribute.id() == key.id()) return;
    parameters.push_back(attribute);
  });
  return parameters;
}

Attribute keyParameter(TovoTypeBase type) {
  if ((typeDescriptor(type).flags & TypeDescriptor::keyedByParameter) == 0) return {};
  return attributeById(type, firstAttributeId);
}

namespace {

class TreeComparison {
 public:
  TreeComparison(const Entity& a, const Entity& b, std::string& difference)
      : rootA_(a), rootB_(b), difference_(difference) {}

  bool sameEntity(const Entity& a, const Entity& b) {
    if (a.tovoType() != b.tovoType()) return differ(a, "type");
    if (a.nameString() != b.nameString()) return differ(a, "name");
    bool same = true;
    forEachAttribute(a.tovoType(), [&](Attribute attribute) {
      if (same) same = sameAttribute(a, b, attribute);
    });
    return same;
  }

 private:
  bool sameAttribute(const Entity& a, const Entity& b, Attribute attribute) {
    if (attribute.isCollection()) return sameCollection(a, b, attribute);
    switch (attribute.kind()) {
      case AttributeKind::parameter:
      case AttributeKind::attribute:
        return attribute.ops().equal(storage(a, attribute), storage(b, attribute)) ||
               differ(a, attribute.name());
      case AttributeKind::pointer:
        return samePointer(pointerTarget(a, attribute), pointerTarget(b, attribute)) ||
               differ(a, attribute.name());
      default:
        return true;
    }
  }

  bool sameCollection(const Entity& a, const Entity& b, Attribute collection) {
    if (collectionMap(a, collection).size() != collectionMap(b, collection).size()) {
      return differ(a, collection.name());
    }
    bool same = true;
    forEachElement(a, collection, [&](const void* key, const void* item) {
      if (same) same = sameItem(collection, item, collectionFind(b, collection, key));
    });
    return same || differ(a, collection.name());
  }

  bool sameItem(Attribute collection, const void* a, const void* b) {
    if (!b) return false;
    switch (collection.kind()) {
      case AttributeKind::ownCollection:
        return sameEntity(*elementEntity(a), *elementEntity(b));
      case AttributeKind::refCollection:
        return samePointer(elementEntity(a), elementEntity(b));
      default:
        return collection.ops().equal(a, b);
    }
  }

  bool samePointer(const Entity* a, const Entity* b) const {
    if (!a || !b) return a == b;
    return below(*a, rootA_) == below(*b, rootB_);
  }

  static std::string below(const Entity& entity, const Entity& root) {
    const std::string path = pathOf(entity);
    const std::string above = pathOf(root);
    return path.starts_with(above) ? path.substr(above.size()) : path;
  }

  bool differ(const Entity& a, std::string_view what) {
    if (difference_.empty()) difference_ = pathOf(a, what);
    return false;
  }

  const Entity& rootA_;
  const Entity& rootB_;
  std::string& difference_;
};

}  // namespace

bool sameTree(const Entity& a, const Entity& b, std::string& difference) {
  difference.clear();
  return TreeComparison(a, b, difference).sameEntity(a, b);
}

}  // namespace Tovo
