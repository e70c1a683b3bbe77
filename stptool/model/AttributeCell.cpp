#include "stptool/model/AttributeCell.h"

#include "Tovo/Collection.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "stptool/model/ElementOrder.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

const Entity* pointerTarget(const Entity& entity, Attribute pointer) {
  return *static_cast<const Entity* const*>(Tovo::storage(entity, pointer));
}

void getValue(const Entity& entity, Attribute attribute, Tovo::ValueBuffer& value) {
  value.constructDefault();
  const Pelmo::FieldDescriptor field = attribute.field();
  Tovo::genericIf(entity.tovoType())
      .genericIfAttributeOp(entity.tovoType(), value.get(), const_cast<Entity*>(&entity), &field,
                            Tovo::OperationCode::get, nullptr, nullptr);
}

std::string nameOf(const Entity& entity) { return std::string(entity.nameString().view()); }

// What stands beside a key; empty where the key says it all.
std::string besideKey(Attribute collection, const Element& element, ValueStyle style) {
  if (collection.kind() == AttributeKind::refCollection) {
    const std::string target = nameOf(*Tovo::elementEntity(element.item));
    return target == element.key ? std::string() : target;
  }
  if (isBool(collection) && *static_cast<const bool*>(element.item)) return {};
  return valueText(shapeOf(collection), element.item, style);
}

}  // namespace

bool isBool(Attribute attribute) {
  return attribute.descriptor().type == Tovo::PrimitiveCode::boolean &&
         !attribute.has(Tovo::AttributeDescriptor::optional) &&
         !attribute.has(Tovo::AttributeDescriptor::list);
}

bool isAtDefault(const Entity& entity, Attribute attribute) {
  if (attribute.isCollection()) return Tovo::collectionMap(entity, attribute).empty();
  if (attribute.kind() == AttributeKind::pointer) return !pointerTarget(entity, attribute);
  Tovo::ValueBuffer value(attribute.ops());
  getValue(entity, attribute, value);
  Tovo::ValueBuffer initial(attribute.ops());
  initial.constructFrom(attribute.detail().value);
  return attribute.ops().equal(value.get(), initial.get());
}

std::string attributeCell(const Entity& entity, Attribute attribute, ValueStyle style) {
  if (attribute.isCollection()) return entriesCell(entity, attribute, style);
  if (attribute.kind() == AttributeKind::pointer) {
    const Entity* target = pointerTarget(entity, attribute);
    return target && target->parent() == &entity && style == ValueStyle::brief
               ? nameOf(*target)
               : Tovo::attributeText(entity, attribute);
  }
  Tovo::ValueBuffer value(attribute.ops());
  getValue(entity, attribute, value);
  return valueText(shapeOf(attribute), value.get(), style);
}

std::string entriesCell(const Entity& entity, Attribute collection, ValueStyle style) {
  const auto number = collection.keyOps().number;
  std::string text;
  uint64_t last = 0;    // of a run of numbers that say it all by themselves
  uint64_t runEnd = 0;  // what the text does not say yet
  bool inRun = false;
  const auto finishRun = [&] {
    if (inRun && runEnd != last) text += "-" + std::to_string(runEnd);
    inRun = false;
  };
  for (const Element& element : sortedElements(entity, collection)) {
    const std::string beside = besideKey(collection, element, style);
    const bool joins =
        number && beside.empty() && element.key == std::to_string(number(element.keyValue));
    if (joins && inRun && number(element.keyValue) == runEnd + 1) {
      ++runEnd;
      continue;
    }
    finishRun();
    if (!text.empty()) text += ',';
    text += element.key;
    if (!beside.empty()) text += "=" + beside;
    if (joins) {
      inRun = true;
      last = runEnd = number(element.keyValue);
    }
  }
  finishRun();
  return text;
}

}  // namespace stptool
