#include "stptool/text/TreeText.h"

#include <vector>

#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/text/ElementOrder.h"
#include "stptool/text/Printable.h"
#include "stptool/text/Style.h"
#include "stptool/text/Table.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

// Attributes beside each other on one line; more of them stand below each other.
constexpr size_t attributesPerLine = 4;

struct Members {
  std::vector<Attribute> scalars;
  std::vector<Attribute> collections;
};

Members membersOf(Tovo::TovoTypeBase type) {
  Members members;
  const Attribute key = Tovo::keyParameter(type);
  Tovo::forEachAttribute(type, [&](Attribute attribute) {
    if (key && key.id() == attribute.id()) return;
    switch (attribute.kind()) {
      case AttributeKind::parameter:
      case AttributeKind::attribute:
      case AttributeKind::pointer:
      case AttributeKind::query:
        members.scalars.push_back(attribute);
        break;
      default:
        if (attribute.isCollection()) members.collections.push_back(attribute);
        break;
    }
  });
  return members;
}

std::string collectionLine(const Entity& entity, Attribute collection) {
  const size_t count = Tovo::collectionMap(entity, collection).size();
  return styled(Style::name, collection.name()) + "  " +
         styled(Style::type, std::to_string(count) + " " + collection.typeName());
}

class TreeWriter {
 public:
  std::string text;

  void entity(const Entity& entity, const std::string& indent, int levels) {
    const Members members = membersOf(entity.tovoType());
    Table scalars({Style::name});
    for (const Attribute attribute : members.scalars) {
      scalars.row({attribute.name(), Tovo::attributeText(entity, attribute)});
    }
    text += scalars.text(indent);
    for (const Attribute collection : members.collections) {
      text += indent + collectionLine(entity, collection) + "\n";
      elements(entity, collection, indent + "  ", levels);
    }
  }

 private:
  void elements(const Entity& entity, Attribute collection, const std::string& indent, int levels) {
    const bool owning = collection.kind() == AttributeKind::ownCollection;
    if (owning && levels == 0) return;
    const std::vector<Element> sorted = sortedElements(entity, collection);
    if (!owning) {
      Table entries({Style::name});
      for (const Element& element : sorted) {
        entries.row({element.key, itemText(collection, element.item)});
      }
      text += entries.text(indent);
      return;
    }
    const Members members = membersOf(collection.type());
    if (members.collections.empty() && members.scalars.size() <= attributesPerLine) {
      leaves(sorted, members, indent);
      return;
    }
    for (const Element& element : sorted) {
      text += indent + styled(Style::name, printable(element.key)) + "\n";
      this->entity(*Tovo::elementEntity(element.item), indent + "  ",
                   levels > 0 ? levels - 1 : levels);
    }
  }

  void leaves(const std::vector<Element>& sorted, const Members& members,
              const std::string& indent) {
    Table table({Style::name});
    for (const Element& element : sorted) {
      std::vector<std::string> row{element.key};
      for (const Attribute attribute : members.scalars) {
        row.push_back(std::string(attribute.name()) + "=" +
                      Tovo::attributeText(*Tovo::elementEntity(element.item), attribute));
      }
      table.row(std::move(row));
    }
    text += table.text(indent);
  }
};

}  // namespace

std::string treeText(const Entity& entity, const std::string& path, int levels) {
  TreeWriter writer;
  writer.text = styled(Style::name, printable(path)) + "  " +
                styled(Style::type, Tovo::typeName(entity.tovoType())) + "\n";
  writer.entity(entity, "  ", levels);
  return writer.text;
}

std::string attributeLine(const Entity& entity, Attribute attribute) {
  if (!attribute.isCollection()) return Tovo::attributeText(entity, attribute);
  const size_t count = Tovo::collectionMap(entity, attribute).size();
  return std::to_string(count) + (count == 1 ? " element" : " elements");
}

std::string itemText(Attribute collection, const void* item) {
  switch (collection.kind()) {
    case AttributeKind::ownCollection:
    case AttributeKind::refCollection:
      return Tovo::pathOf(*Tovo::elementEntity(item));
    default:
      return Tovo::valueText(collection.ops(), item);
  }
}

}  // namespace stptool
