#include "stptool/json/Dump.h"

#include "Tovo/Collection.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/json/ValueJson.h"
#include "stptool/text/ElementOrder.h"
#include "stptool/text/Printable.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

Json pointerToJson(const Entity* target) {
  if (!target) return nullptr;
  return Tovo::pathOf(*target);
}

Json itemToJson(Attribute collection, const void* item, int levels) {
  switch (collection.kind()) {
    case AttributeKind::ownCollection:
      return dumpEntity(*Tovo::elementEntity(item), levels);
    case AttributeKind::refCollection:
      return pointerToJson(Tovo::elementEntity(item));
    default:
      return toJson(shapeOf(collection), item);
  }
}

Json collectionToJson(const Entity& entity, Attribute collection, int levels) {
  Json object = Json::object();
  const bool owning = collection.kind() == AttributeKind::ownCollection;
  if (owning && levels == 0) return object;
  for (const Element& element : sortedElements(entity, collection)) {
    object[element.key] = itemToJson(collection, element.item, levels > 0 ? levels - 1 : levels);
  }
  return object;
}

// What belongs to an entity's own state: the key and the name stand in its place in the tree.
bool isState(const Entity& entity, Attribute attribute) {
  switch (attribute.kind()) {
    case AttributeKind::parameter: {
      const Attribute key = Tovo::keyParameter(entity.tovoType());
      return !key || key.id() != attribute.id();
    }
    case AttributeKind::attribute:
    case AttributeKind::pointer:
      return true;
    default:
      return attribute.isCollection();
  }
}

Json header(const Entity& root) {
  Json object = Json::object();
  object["type"] = Tovo::typeName(root.tovoType());
  const Pelmo::String name = root.nameString();
  object["name"] = typedText(Tovo::primitiveOps(Tovo::PrimitiveCode::string), &name);
  return object;
}

Json rootToJson(const Entity& root, int levels) {
  Json object = header(root);
  object.update(dumpEntity(root, levels));
  return object;
}

Json parameters(const Entity& entity) {
  Json object = Json::object();
  for (const Attribute parameter : Tovo::constructorParameters(entity.tovoType())) {
    object[parameter.name()] = dumpAttribute(entity, parameter);
  }
  return object;
}

// The document of an entity's ancestors around what is dumped of it.
Json wrapped(const Tovo::Directory& directory, const Entity& entity, Json content) {
  const Entity* above = entity.parent();
  if (!above) {
    const std::string* path = directory.mountPath(entity);
    Json root = header(entity);
    root.update(parameters(entity));
    root.update(content);
    Json document = Json::object();
    document["mounts"][path ? *path : Tovo::pathOf(entity)] = std::move(root);
    return document;
  }
  Json whole = parameters(entity);
  whole.update(content);
  Json aboveContent = Json::object();
  Tovo::forEachAttribute(above->tovoType(), [&](Attribute collection) {
    if (collection.kind() != AttributeKind::ownCollection) return;
    Tovo::forEachElement(*above, collection, [&](const void* key, const void* item) {
      if (Tovo::elementEntity(item) != &entity) return;
      aboveContent[collection.name()][keyToJson(keyShapeOf(collection), key)] = whole;
    });
  });
  return wrapped(directory, *above, std::move(aboveContent));
}

bool isInnermost(const Json& value) {
  if (!value.is_structured()) return true;
  for (const auto& member : value) {
    if (member.is_structured() && !member.empty()) return false;
  }
  return true;
}

// A path that is no UTF-8 must not end the dump.
std::string scalar(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string compact(const Json& value) {
  if (!value.is_structured() || value.empty()) return scalar(value);
  std::string text = value.is_object() ? "{" : "[";
  const char* separator = "";
  for (const auto& [name, member] : value.items()) {
    text += separator;
    if (value.is_object()) text += scalar(name) + ": ";
    text += compact(member);
    separator = ", ";
  }
  return text + (value.is_object() ? "}" : "]");
}

void appendPretty(std::string& out, const Json& value, const std::string& indent) {
  if (isInnermost(value)) {
    out += compact(value);
    return;
  }
  const std::string deeper = indent + "  ";
  out += value.is_object() ? "{" : "[";
  const char* separator = "\n";
  for (const auto& [name, member] : value.items()) {
    out += separator + deeper;
    if (value.is_object()) out += scalar(name) + ": ";
    appendPretty(out, member, deeper);
    separator = ",\n";
  }
  out += "\n" + indent + (value.is_object() ? "}" : "]");
}

}  // namespace

Json dumpAttribute(const Entity& entity, Attribute attribute, int levels) {
  if (attribute.isCollection()) return collectionToJson(entity, attribute, levels);
  switch (attribute.kind()) {
    case AttributeKind::name:
      return typedText(attribute.ops(), &entity.name());
    case AttributeKind::nameString: {
      const Pelmo::String text = entity.nameString();
      return typedText(attribute.ops(), &text);
    }
    case AttributeKind::constant:
      return toJson(shapeOf(attribute), attribute.detail().value);
    case AttributeKind::pointer:
      return pointerToJson(*static_cast<const Entity* const*>(Tovo::storage(entity, attribute)));
    default: {
      Tovo::ValueBuffer value(attribute.ops());
      value.constructDefault();
      const Pelmo::FieldDescriptor field = attribute.field();
      Tovo::genericIf(entity.tovoType())
          .genericIfAttributeOp(entity.tovoType(), value.get(), const_cast<Entity*>(&entity),
                                &field, Tovo::OperationCode::get, nullptr, nullptr);
      return toJson(shapeOf(attribute), value.get());
    }
  }
}

Json dumpEntity(const Entity& entity, int levels) {
  Json object = Json::object();
  Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (isState(entity, attribute)) {
      object[attribute.name()] = dumpAttribute(entity, attribute, levels);
    }
  });
  return object;
}

Json dumpDirectory(const Tovo::Directory& directory, int levels) {
  Json document = Json::object();
  document["mounts"] = Json::object();
  for (const auto& [path, root] : directory.mounts()) {
    document["mounts"][path] = rootToJson(*root, levels);
  }
  return document;
}

Json dumpPath(const Tovo::Directory& directory, std::string_view path, int levels) {
  const Tovo::PathTarget target = Tovo::resolvePath(directory, path);
  if (!target.attribute)
    return wrapped(directory, *target.entity, dumpEntity(*target.entity, levels));
  const Attribute attribute = target.attribute;
  Json content = Json::object();
  if (!isState(*target.entity, attribute)) {
    throw Failure(std::string(path) + ": is no state that could be loaded; 'stptool get' shows it");
  }
  if (!target.hasKey) {
    content[attribute.name()] = dumpAttribute(*target.entity, attribute, levels);
  } else {
    const auto key = keyFromJson(keyShapeOf(attribute), target.keyText, JsonPlace());
    const void* item = Tovo::collectionFind(*target.entity, attribute, key->get());
    if (!item) throw Failure(std::string(path) + ": there is no such entry");
    content[attribute.name()][keyToJson(keyShapeOf(attribute), key->get())] =
        itemToJson(attribute, item, levels);
  }
  return wrapped(directory, *target.entity, std::move(content));
}

std::string dumpText(const Json& document) {
  std::string text;
  appendPretty(text, document, "");
  return text + "\n";
}

}  // namespace stptool
