#include "stptool/tree/ChangeText.h"

#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/Printable.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/TypedText.h"
#include "stptool/text/Style.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

// A value of one side of an event.
struct Side {
  std::string& text;
  Json& json;
  bool withJson;

  void value(const ValueShape& shape, const void* value) const {
    text = Tovo::valueText(*shape.ops, value);
    if (withJson) json = toJson(shape, value);
  }
  void pointer(const Entity* entity) const {
    text = entity ? Tovo::pathOf(*entity) : "None";
    if (withJson && entity) json = text;
  }
};

const Entity* pointee(const void* pointer) {
  return pointer ? static_cast<const Pelmo::Ptr<Entity>*>(pointer)->get() : nullptr;
}

void addScalar(ChangeEvent& event, const Entity& entity, Attribute attribute, const void* previous,
               bool withJson) {
  const Side before{event.before, event.jsonBefore, withJson};
  if (attribute.kind() == AttributeKind::pointer) {
    before.pointer(pointee(previous));
  } else if (previous) {
    before.value(shapeOf(attribute), previous);
  }
  event.after = Tovo::attributeText(entity, attribute);
  if (withJson) event.jsonAfter = dumpAttribute(entity, attribute);
}

void addEntry(ChangeEvent& event, Attribute collection, const void* previous, const void* item,
              bool withJson) {
  const Side before{event.before, event.jsonBefore, withJson};
  const Side after{event.after, event.jsonAfter, withJson};
  if (collection.kind() == AttributeKind::refCollection) {
    if (previous) before.pointer(pointee(previous));
    if (item) after.pointer(Tovo::elementEntity(item));
  } else {
    if (previous) before.value(shapeOf(collection), previous);
    if (item) after.value(shapeOf(collection), item);
  }
}

}  // namespace

std::optional<ChangeEvent> changeEvent(const Pelmo::Change& change, bool withJson,
                                       const std::string* path) {
  using Kind = ChangeEvent::Kind;
  const Entity& entity = Tovo::entityOf(change.source);
  const Attribute attribute = Tovo::attributeById(entity.tovoType(), change.attribute);
  if (!attribute) return std::nullopt;
  ChangeEvent event{
      Kind::set, path ? *path : Tovo::pathOf(entity), attribute.name(), {}, {}, {}, {}, {}};
  if (!change.key) {
    addScalar(event, entity, attribute, change.previous, withJson);
    return event;
  }
  const void* item = Tovo::collectionFind(entity, attribute, change.key);
  // Another element under the same key is a removal and an insertion.
  const bool owned = attribute.kind() == AttributeKind::ownCollection;
  if (!change.previous) {
    event.kind = Kind::insert;
  } else if (!item || owned) {
    event.kind = Kind::remove;
  }
  event.key = typedText(attribute.keyOps(), change.key);
  if (owned) {
    // The element's own path says it all.
    event.path += "/" + event.attribute;
    Tovo::appendKey(event.path, event.key);
    event.attribute.clear();
    event.key.clear();
  } else {
    addEntry(event, attribute, change.previous, item, withJson);
  }
  return event;
}

std::string wholePath(const ChangeEvent& event) {
  std::string path = event.path;
  if (!event.attribute.empty()) path += "/" + event.attribute;
  if (!event.key.empty()) Tovo::appendKey(path, event.key);
  return path;
}

std::string changeText(const ChangeEvent& event) {
  std::string line;
  if (event.kind == ChangeEvent::Kind::insert) line += styled(Style::added, "+") + " ";
  if (event.kind == ChangeEvent::Kind::remove) line += styled(Style::removed, "-") + " ";
  line += Tovo::printable(event.path);
  if (!event.attribute.empty()) {
    std::string attribute = event.attribute;
    if (!event.key.empty()) attribute += "[" + event.key + "]";
    line += "  " + styled(Style::name, Tovo::printable(attribute));
  }
  if (!event.before.empty() || !event.after.empty()) {
    line += "  " + styled(Style::removed, Tovo::printable(event.before));
    if (!event.before.empty() && !event.after.empty()) line += " -> ";
    line += styled(Style::added, Tovo::printable(event.after));
  }
  return line;
}

void addChange(Json& json, const ChangeEvent& event) {
  static constexpr const char* kinds[] = {"set", "insert", "remove"};
  json["change"] = kinds[static_cast<int>(event.kind)];
  json["path"] = event.path;
  if (!event.attribute.empty()) json["attribute"] = event.attribute;
  if (!event.key.empty()) json["key"] = event.key;
  if (!event.before.empty()) json["old"] = event.jsonBefore;
  if (!event.after.empty()) json["new"] = event.jsonAfter;
}

}  // namespace stptool
