#include "stptool/tree/TreeText.h"

#include <algorithm>
#include <vector>

#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/Printable.h"
#include "stptool/model/AttributeCell.h"
#include "stptool/model/ElementOrder.h"
#include "stptool/text/Table.h"
#include "stptool/text/Wrap.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::Entity;

struct Members {
  std::vector<Attribute> plain;   // everything on which nothing hangs
  std::vector<Attribute> owning;  // collections
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
        members.plain.push_back(attribute);
        break;
      case AttributeKind::ownCollection:
        members.owning.push_back(attribute);
        break;
      default:
        if (attribute.isCollection()) members.plain.push_back(attribute);
        break;
    }
  });
  return members;
}

// What an operator looks for first: how things are, then with what values, then how often, then
// the flags.
int columnRank(Attribute attribute) {
  const Tovo::TovoTypeBase type = attribute.type();
  if (attribute.kind() == AttributeKind::attribute && type &&
      Tovo::typeDescriptor(type).kind == Tovo::TypeKind::enumeration) {
    return 0;
  }
  if (attribute.has(AttributeDescriptor::counter)) return 2;
  return isBool(attribute) && !attribute.isCollection() ? 3 : 1;
}

bool hasLines(Attribute attribute) {
  return (attribute.kind() == AttributeKind::valueCollection ||
          attribute.kind() == AttributeKind::selfKeyedCollection) &&
         !isBool(attribute);
}

// In parentheses where a reader could not see where the value ends.
std::string pairText(const std::string& name, const std::string& value) {
  const bool hasEnds = value.starts_with('\'') || value.starts_with("Value(");
  const bool isOpen = value.empty() || value.find_first_of(" =") != std::string::npos;
  return name + "=" + (isOpen && !hasEnds ? "(" + value + ")" : value);
}

struct Column {
  Attribute attribute;
  std::vector<std::string> cells;   // one an element
  std::vector<std::string> header;  // lines
  size_t width;                     // of the cells
  bool inTable;

  size_t fullWidth() const {
    size_t full = width;
    for (const std::string& line : header) full = std::max(full, textWidth(line));
    return full;
  }
};

class TreeWriter {
 public:
  TreeWriter(const TreeStyle& style, const std::function<void(std::string_view part)>& sink)
      : style_(style), sink_(sink) {}
  std::string text;

  void flush() {
    sink_(text);
    text.clear();
  }

  void entity(const Entity& entity, const std::string& indent, int levels) {
    const Members members = membersOf(entity.tovoType());
    plainAttributes(entity, members.plain, indent);
    for (const Attribute collection : members.owning) {
      const size_t count = Tovo::collectionMap(entity, collection).size();
      if (count == 0 && !style_.all) continue;
      text += indent + styled(Style::name, collection.name()) + "  " +
              styled(Style::type, std::to_string(count) + " " + collection.typeName()) + "\n";
      if (levels != 0) elements(entity, collection, indent + "  ", levels);
    }
  }

 private:
  bool isShown(const Entity& entity, Attribute attribute) const {
    return style_.all || attribute.kind() == AttributeKind::parameter ||
           !isAtDefault(entity, attribute);
  }

  size_t room(const std::string& indent) const {
    constexpr size_t least = 20;  // an indent deeper than the terminal must not stop everything
    return std::max(style_.width, indent.size() + least) - indent.size();
  }

  void plainAttributes(const Entity& entity, const std::vector<Attribute>& attributes,
                       const std::string& indent) {
    std::vector<Attribute> shown;
    size_t nameWidth = 0;
    for (const Attribute attribute : attributes) {
      if (!isShown(entity, attribute)) continue;
      shown.push_back(attribute);
      nameWidth = std::max(nameWidth, textWidth(attribute.name()));
    }
    for (const Attribute attribute : shown) {
      if (hasLines(attribute)) {
        entries(entity, attribute, indent);
        continue;
      }
      const std::string value = Tovo::printable(attributeCell(entity, attribute, style_.values));
      const std::string hanging = indent + std::string(nameWidth + 2, ' ');
      text += indent + styled(Style::name, attribute.name());
      std::string before(nameWidth + 2 - textWidth(attribute.name()), ' ');
      for (const std::string& line : wrapped(value, room(hanging))) {
        text += line.empty() ? "\n" : before + line + "\n";
        before = hanging;
      }
    }
  }

  void entries(const Entity& entity, Attribute collection, const std::string& indent) {
    text += indent + styled(Style::name, collection.name()) + "\n";
    Table table({Style::name});
    for (const Element& element : sortedElements(entity, collection)) {
      table.row({element.key, valueText(shapeOf(collection), element.item, style_.values)});
    }
    text += table.text(indent + "  ");
  }

  void elements(const Entity& owner, Attribute collection, const std::string& indent, int levels) {
    const std::vector<Element> sorted = sortedElements(owner, collection);
    if (sorted.empty()) return;
    const Members members = membersOf(collection.type());
    if (members.owning.empty()) return rows(sorted, members.plain, indent);
    for (const Element& element : sorted) {
      text += indent + styled(Style::name, Tovo::printable(element.key)) + "\n";
      entity(*Tovo::elementEntity(element.item), indent + "  ", levels > 0 ? levels - 1 : levels);
      constexpr size_t enough = 64 * 1024;
      if (text.size() > enough) flush();
    }
  }

  // --- elements as rows --------------------------------------------------------------------------

  std::vector<Column> columnsOf(const std::vector<Element>& sorted,
                                const std::vector<Attribute>& attributes) const {
    std::vector<Column> columns;
    for (const Attribute attribute : attributes) {
      const bool isOfInterest =
          style_.all || std::any_of(sorted.begin(), sorted.end(), [&](const Element& element) {
            return !isAtDefault(*Tovo::elementEntity(element.item), attribute);
          });
      if (!isOfInterest) continue;
      Column column{attribute, {}, {attribute.name()}, 1, true};
      const bool isFlag = isBool(attribute) && !attribute.isCollection();
      for (const Element& element : sorted) {
        std::string cell =
            attributeCell(*Tovo::elementEntity(element.item), attribute, style_.values);
        if (isFlag) cell = cell == "true" ? "yes" : "-";
        column.width = std::max(column.width, textWidth(Tovo::printable(cell)));
        column.cells.push_back(std::move(cell));
      }
      columns.push_back(std::move(column));
    }
    std::stable_sort(columns.begin(), columns.end(), [](const Column& a, const Column& b) {
      return columnRank(a.attribute) < columnRank(b.attribute);
    });
    return columns;
  }

  static size_t tableWidth(const std::vector<Column>& columns, size_t keyWidth) {
    size_t width = keyWidth;
    for (const Column& column : columns) width += column.inTable ? 2 + column.fullWidth() : 0;
    return width;
  }

  // Breaks the names of columns; when that is not enough, takes the widest ones out of the table,
  // those of the first rank last.
  static void fit(std::vector<Column>& columns, size_t keyWidth, size_t width) {
    if (tableWidth(columns, keyWidth) <= width) return;
    for (Column& column : columns) {
      column.header = brokenName(column.attribute.name(), 0);  // for the width of its words
      column.header = brokenName(column.attribute.name(), column.fullWidth());
    }
    const auto goesBefore = [](const Column& a, const Column& b) {
      const bool firstA = columnRank(a.attribute) == 0;
      const bool firstB = columnRank(b.attribute) == 0;
      return firstA != firstB ? firstB : a.fullWidth() >= b.fullWidth();
    };
    while (tableWidth(columns, keyWidth) > width) {
      Column* widest = nullptr;
      for (Column& column : columns) {
        if (column.inTable && (!widest || goesBefore(column, *widest))) widest = &column;
      }
      if (!widest) return;
      widest->inTable = false;
    }
  }

  // The lines of the header; the last lines of all names stand beside each other.
  static size_t addHeader(const std::vector<Column>& columns, Table& table) {
    size_t height = 0;
    for (const Column& column : columns) {
      if (column.inTable) height = std::max(height, column.header.size());
    }
    for (size_t line = 0; line < height; ++line) {
      std::vector<std::string> cells{""};
      for (const Column& column : columns) {
        if (!column.inTable) continue;
        const size_t above = height - column.header.size();
        cells.push_back(line < above ? std::string() : column.header[line - above]);
      }
      table.header(std::move(cells));
    }
    return height;
  }

  void rows(const std::vector<Element>& sorted, const std::vector<Attribute>& attributes,
            const std::string& indent) {
    std::vector<Column> columns = columnsOf(sorted, attributes);
    if (columns.empty()) return keysAlone(sorted, indent);
    size_t keyWidth = 0;
    for (const Element& element : sorted) {
      keyWidth = std::max(keyWidth, textWidth(Tovo::printable(element.key)));
    }
    fit(columns, keyWidth, room(indent));

    Table table({Style::name});
    const size_t headerLines = addHeader(columns, table);
    for (size_t i = 0; i < sorted.size(); ++i) {
      std::vector<std::string> row{sorted[i].key};
      for (const Column& column : columns) {
        if (column.inTable) row.push_back(column.cells[i]);
      }
      table.row(std::move(row));
    }
    const std::vector<std::string> lines = linesOf(table.text(indent));
    size_t line = 0;
    while (line < headerLines) text += lines[line++] + "\n";
    for (size_t i = 0; i < sorted.size(); ++i) {
      text += lines[line++] + "\n";
      pairs(*Tovo::elementEntity(sorted[i].item), columns, indent + "    ");
    }
  }

  void pairs(const Entity& element, const std::vector<Column>& columns, const std::string& indent) {
    std::vector<std::string> words;
    for (const Column& column : columns) {
      if (column.inTable || !isShown(element, column.attribute)) continue;
      words.push_back(Tovo::printable(pairText(
          column.attribute.name(), attributeCell(element, column.attribute, style_.values))));
    }
    for (const std::string& line : wrapped(words, room(indent))) text += indent + line + "\n";
  }

  void keysAlone(const std::vector<Element>& sorted, const std::string& indent) {
    std::vector<std::string> words;
    words.reserve(sorted.size());
    for (const Element& element : sorted) words.push_back(Tovo::printable(element.key));
    for (const std::string& line : wrapped(words, room(indent))) {
      text += indent + styled(Style::name, line) + "\n";
    }
  }

  const TreeStyle& style_;
  const std::function<void(std::string_view part)>& sink_;
};

}  // namespace

void writeTree(const Entity& entity, const std::string& path, const TreeStyle& style,
               const std::function<void(std::string_view part)>& sink) {
  TreeWriter writer(style, sink);
  writer.text = styled(Style::name, Tovo::printable(path)) + "  " +
                styled(Style::type, Tovo::typeName(entity.tovoType())) + "\n";
  writer.entity(entity, "  ", style.levels);
  writer.flush();
}

std::string attributeLine(const Entity& entity, Attribute attribute) {
  if (!attribute.isCollection()) return Tovo::attributeText(entity, attribute);
  return words::counted(Tovo::collectionMap(entity, attribute).size(), "element", "elements");
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
