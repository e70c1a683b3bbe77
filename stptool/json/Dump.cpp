#include "stptool/json/Dump.h"

#include "Tovo/Collection.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/ElementOrder.h"
#include "stptool/model/TypedText.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

Json pointerToJson(const Entity* target) {
  if (!target) return nullptr;
  return Tovo::pathOf(*target);
}

// Names in a document come once each: no need to look for them.
void append(Json& object, std::string name, Json value) {
  object.get_ref<Json::object_t&>().emplace_back(std::move(name), std::move(value));
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
    append(object, element.key,
           itemToJson(collection, element.item, levels > 0 ? levels - 1 : levels));
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

Json parameters(const Entity& entity) {
  Json object = Json::object();
  for (const Attribute parameter : Tovo::constructorParameters(entity.tovoType())) {
    object[parameter.name()] = dumpAttribute(entity, parameter);
  }
  return object;
}

// The document of an entity's ancestors around what is dumped of it.
Json wrapped(const Tovo::Directory& directory, const Entity& entity, const Json& content) {
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
  return wrapped(directory, *above, aboveContent);
}

bool isInnermost(const Json& value) {
  if (!value.is_structured()) return true;
  for (const auto& member : value) {
    if (member.is_structured() && !member.empty()) return false;
  }
  return true;
}

void appendCompact(std::string& out, const Json& value) {
  if (!value.is_structured() || value.empty()) {
    out += jsonText(value);
    return;
  }
  out += value.is_object() ? "{" : "[";
  const char* separator = "";
  for (const auto& [name, member] : value.items()) {
    out += separator;
    if (value.is_object()) out += jsonText(name) + ": ";
    appendCompact(out, member);
    separator = ", ";
  }
  out += value.is_object() ? "}" : "]";
}

void appendPretty(std::string& out, const Json& value, const std::string& indent) {
  if (isInnermost(value)) return appendCompact(out, value);
  const std::string deeper = indent + "  ";
  out += value.is_object() ? "{" : "[";
  const char* separator = "\n";
  for (const auto& [name, member] : value.items()) {
    out += separator + deeper;
    if (value.is_object()) out += jsonText(name) + ": ";
    appendPretty(out, member, deeper);
    separator = ",\n";
  }
  out += "\n" + indent + (value.is_object() ? "}" : "]");
}

// Writes what appendPretty would, entity by entity.
class Writer {
 public:
  explicit Writer(const Sink& sink) : sink_(sink) {}

  void directory(const Tovo::Directory& directory, int levels) {
    if (directory.mounts().empty()) return sink_("{\n  \"mounts\": {}\n}\n");
    text_ = "{\n  \"mounts\": {";
    const char* separator = "\n";
    for (const auto& [path, root] : directory.mounts()) {
      text_ += std::string(separator) + "    " + jsonText(path) + ": ";
      entity(*root, levels, "    ", true);
      separator = ",\n";
    }
    text_ += "\n  }\n}\n";
    sink_(text_);
  }

 private:
  static bool hasElements(const Entity& entity, int levels) {
    bool any = false;
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      any = any || (attribute.kind() == AttributeKind::ownCollection && levels != 0 &&
                    !Tovo::collectionMap(entity, attribute).empty());
    });
    return any;
  }

  void entity(const Entity& entity, int levels, const std::string& indent, bool isRoot) {
    if (!hasElements(entity, levels)) {
      if (!isRoot) return appendPretty(text_, dumpEntity(entity, levels), indent);
      Json whole = header(entity);
      whole.update(dumpEntity(entity, levels));
      return appendPretty(text_, whole, indent);
    }
    const std::string deeper = indent + "  ";
    const char* separator = "{\n";
    const auto member = [&](const std::string& name) {
      text_ += separator + deeper + jsonText(name) + ": ";
      separator = ",\n";
    };
    if (isRoot) {
      const Json first = header(entity);
      for (const auto& [name, value] : first.items()) {
        member(name);
        appendPretty(text_, value, deeper);
      }
    }
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (!isState(entity, attribute)) return;
      member(attribute.name());
      if (attribute.kind() == AttributeKind::ownCollection) {
        elements(entity, attribute, levels, deeper);
      } else {
        appendPretty(text_, dumpAttribute(entity, attribute, levels), deeper);
      }
    });
    text_ += "\n" + indent + "}";
  }

  void elements(const Entity& owner, Attribute collection, int levels, const std::string& indent) {
    const std::vector<Element> sorted = sortedElements(owner, collection);
    bool hasState = false;
    Tovo::forEachAttribute(collection.type(), [&](Attribute attribute) {
      hasState = hasState ||
                 (!sorted.empty() && isState(*Tovo::elementEntity(sorted.front().item), attribute));
    });
    if (!hasState) {
      appendPretty(text_, collectionToJson(owner, collection, levels), indent);
      return;
    }
    const std::string deeper = indent + "  ";
    const char* separator = "{\n";
    for (const Element& element : sorted) {
      text_ += separator + deeper + jsonText(element.key) + ": ";
      entity(*Tovo::elementEntity(element.item), levels > 0 ? levels - 1 : levels, deeper, false);
      separator = ",\n";
      constexpr size_t enough = 64 * 1024;
      if (text_.size() < enough) continue;
      sink_(text_);
      text_.clear();
    }
    text_ += "\n" + indent + "}";
  }

  const Sink& sink_;
  std::string text_;
};

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
      append(object, attribute.name(), dumpAttribute(entity, attribute, levels));
    }
  });
  return object;
}

void dumpDirectory(const Tovo::Directory& directory, int levels, const Sink& sink) {
  Writer writer(sink);
  writer.directory(directory, levels);
}

Json dumpPath(const Tovo::Directory& directory, std::string_view path, int levels) {
  const Tovo::PathTarget target = Tovo::resolvePath(directory, path);
  if (!target.attribute) {
    return wrapped(directory, *target.entity, dumpEntity(*target.entity, levels));
  }
  const Attribute attribute = target.attribute;
  Json content = Json::object();
  if (!isState(*target.entity, attribute)) {
    throw Failure(std::string(path) + ": is no state that could be loaded; 'stptool get' shows it");
  }
  if (!target.hasKey) {
    content[attribute.name()] = dumpAttribute(*target.entity, attribute, levels);
  } else {
    const auto key = keyFromJson(keyShapeOf(attribute), target.keyText, JsonPlace(),
                                 [](const JsonError&) {});  // the log may have brought it
    const void* item = Tovo::collectionFind(*target.entity, attribute, key->get());
    if (!item) throw Failure(std::string(path) + ": there is no such entry");
    content[attribute.name()][keyToJson(keyShapeOf(attribute), key->get())] =
        itemToJson(attribute, item, levels);
  }
  return wrapped(directory, *target.entity, content);
}

std::string dumpText(const Json& document) {
  std::string text;
  appendPretty(text, document, "");
  return text + "\n";
}

}  // namespace stptool
