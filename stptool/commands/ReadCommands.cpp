// stptool tree, get: looking at a live tree.
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/Printable.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/ElementOrder.h"
#include "stptool/model/Explain.h"
#include "stptool/model/TypedText.h"
#include "stptool/output/Output.h"
#include "stptool/text/Table.h"
#include "stptool/tree/TreeText.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;
using Tovo::PathTarget;

// A value on a line of its own, for scripts: a string without quotes where that can be shown.
std::string bareText(const Entity& entity, Attribute attribute) {
  switch (attribute.kind()) {
    case AttributeKind::parameter:
    case AttributeKind::attribute:
      return typedText(attribute.ops(), Tovo::storage(entity, attribute));
    case AttributeKind::name:
    case AttributeKind::nameString: {
      const Pelmo::String name = entity.nameString();
      return typedText(Tovo::primitiveOps(Tovo::PrimitiveCode::string), &name);
    }
    default:
      return Tovo::printable(Tovo::attributeText(entity, attribute));
  }
}

const void* needItem(const PathTarget& target, const std::string& path) {
  const void* item = Tovo::findElement(*target.entity, target.attribute, target.keyText);
  if (item) return item;
  throw Failure(path + ": " + target.attribute.name() + " has no entry '" + target.keyText + "'");
}

Json targetJson(const PathTarget& target, const std::string& path) {
  if (!target.attribute) return dumpEntity(*target.entity);
  if (!target.hasKey) return dumpAttribute(*target.entity, target.attribute);
  const void* item = needItem(target, path);
  if (target.attribute.kind() == AttributeKind::refCollection) {
    return Tovo::pathOf(*Tovo::elementEntity(item));
  }
  return toJson(shapeOf(target.attribute), item);
}

std::string entriesText(const Entity& entity, Attribute collection) {
  Table table;
  const bool owning = collection.kind() == AttributeKind::ownCollection;
  for (const Element& element : sortedElements(entity, collection)) {
    table.row({element.key, owning ? std::string() : itemText(collection, element.item)});
  }
  return table.text();
}

std::string entityText(const Entity& entity) {
  Table table({Style::name});
  Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (attribute.kind() == AttributeKind::constant) return;
    // The name as text says the same as the name, where there is one.
    if (attribute.kind() == AttributeKind::nameString && !Tovo::keyParameter(entity.tovoType())) {
      return;
    }
    table.row({attribute.name(), attributeLine(entity, attribute)});
  });
  return table.text();
}

std::string targetText(const PathTarget& target, const std::string& path) {
  if (!target.attribute) return entityText(*target.entity);
  if (target.hasKey) {
    return Tovo::printable(itemText(target.attribute, needItem(target, path))) + "\n";
  }
  if (target.attribute.isCollection()) return entriesText(*target.entity, target.attribute);
  return bareText(*target.entity, target.attribute) + "\n";
}

Attribute needAttribute(const Entity& entity, const std::string& name) {
  const Attribute attribute = Tovo::attributeByName(entity.tovoType(), name);
  if (attribute) return attribute;
  throw unknownAttribute(Tovo::pathOf(entity), entity.tovoType(), name);
}

std::string namedText(const PathTarget& target, const std::vector<std::string>& names) {
  if (names.size() == 1) {
    return targetText({target.entity, needAttribute(*target.entity, names[0]), {}, false}, {});
  }
  Table table({Style::name});
  for (const std::string& name : names) {
    table.row({name, attributeLine(*target.entity, needAttribute(*target.entity, name))});
  }
  return table.text();
}

Json namedJson(const PathTarget& target, const std::vector<std::string>& names) {
  Json json = Json::object();
  for (const std::string& name : names) {
    json[name] = dumpAttribute(*target.entity, needAttribute(*target.entity, name));
  }
  return json;
}

void showTree(const Tovo::Directory& directory, const std::string& path, const TreeStyle& style,
              const Sink& sink) {
  if (isEverything(path)) {
    for (const auto& [mounted, root] : directory.mounts()) writeTree(*root, mounted, style, sink);
    return;
  }
  const PathTarget target = Tovo::resolvePath(directory, path);
  if (target.attribute) {
    sink(targetText(target, path));
  } else {
    writeTree(*target.entity, Tovo::pathOf(*target.entity), style, sink);
  }
}

}  // namespace

void runTree(const TreeOptions& options) {
  ClientSession session(options.session);
  session.mirrorOrAll(options.path, Access::read);
  const Tovo::Directory& directory = session.directory();
  Output out;
  const Sink sink = [&](std::string_view part) { out.add(part); };
  if (options.json && isEverything(options.path)) {
    dumpDirectory(directory, options.depth, sink);
  } else if (options.json) {
    out.add(dumpText(dumpPath(directory, options.path, options.depth)));
  } else {
    const TreeStyle style{options.depth, options.all,
                          options.full ? ValueStyle::full : ValueStyle::brief, outputWidth()};
    showTree(directory, options.path, style, sink);
  }
  out.flush();
}

void runGet(const GetOptions& options) {
  ClientSession session(options.session);
  session.mirror(options.path, Access::read);
  const PathTarget target = Tovo::resolvePath(session.directory(), options.path);
  if (!options.attributes.empty() && target.attribute) {
    throw Failure(options.path + ": names an attribute already; it has no '" +
                  options.attributes[0] + "'");
  }
  if (options.json) {
    writeOut(dumpText(options.attributes.empty() ? targetJson(target, options.path)
                                                 : namedJson(target, options.attributes)));
  } else {
    writeOut(options.attributes.empty() ? targetText(target, options.path)
                                        : namedText(target, options.attributes));
  }
}

}  // namespace stptool
