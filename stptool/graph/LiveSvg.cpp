// A live tree as a picture: entities that own others are boxes around these; the others are tiles
// in their state's colour.
#include <algorithm>
#include <functional>
#include <map>
#include <unordered_map>

#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/graph/Graph.h"
#include "stptool/graph/StateLook.h"
#include "stptool/graph/SvgText.h"
#include "stptool/model/AttributeCell.h"
#include "stptool/model/ElementOrder.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

// Pixels. Widths are those of a monospaced font, so that the picture depends on no font file.
constexpr int pageWidth = 1240;
constexpr int pageMargin = 20;
constexpr int padding = 12;
constexpr int gap = 8;
constexpr int titleSize = 13;
constexpr int titleHeight = 22;
constexpr int factHeight = 15;
constexpr int labelHeight = 20;
constexpr int tileHeight = 36;
constexpr int leastTile = 70;
constexpr int radius = 4;

constexpr const char* styles =
    "<style>"
    "text{font-family:monospace;fill:#1c2430}"
    ".t{font-size:13px;font-weight:bold}.y{font-size:11px;fill:#5b6778}"
    ".f{font-size:11px}.k{font-size:11px;font-weight:bold}.d{font-size:9px;fill:#3c4757}"
    ".b{fill:#fff;stroke:#8d99a8}.i{fill:#f5f7fa;stroke:#b3bdc9}"
    ".p{stroke:#6b7785}.m{stroke:#1c2430;stroke-width:3}"
    "</style>\n";

struct Box {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// A tile, or a box with what is in it.
struct Item {
  const Entity* entity = nullptr;
  std::string title;
  std::string type;                // of a box
  std::vector<std::string> facts;  // lines of a box; one for a tile
  int rank = -1;                   // of a tile's state
  bool isTile = false;
  bool isMarked = false;
  struct Group {
    std::string label;
    int y = 0;
    std::vector<Item> items;
  };
  std::vector<Group> groups;
  Box box;
};

bool ownsAnything(Tovo::TovoTypeBase type) {
  bool owns = false;
  Tovo::forEachAttribute(type, [&](Attribute attribute) {
    owns = owns || attribute.kind() == AttributeKind::ownCollection;
  });
  return owns;
}

bool isEnumeration(Attribute attribute) {
  const Tovo::TovoTypeBase type = attribute.type();
  return attribute.kind() == AttributeKind::attribute && type &&
         Tovo::typeDescriptor(type).kind == Tovo::TypeKind::enumeration;
}

class LivePicture {
 public:
  explicit LivePicture(const std::vector<const Entity*>& roots) {
    for (const Entity* root : roots) findMarks(*root);
    for (const Entity* root : roots) items_.push_back(itemOf(*root, Tovo::pathOf(*root), false));
  }

  void write(const std::function<void(std::string_view)>& sink) {
    int y = pageMargin;
    int right = 0;
    for (Item& item : items_) {
      measure(item, pageWidth);
      place(item, pageMargin, y);
      y += item.box.height + 2 * gap;
      right = std::max(right, pageMargin + item.box.width);
    }
    const std::string legend = legendText(y, right);
    const int width = right + pageMargin;
    const int height = y + (legend.empty() ? 0 : 2 * gap + tileHeight) + pageMargin - 2 * gap;
    std::string text = svgStart(width, height) + styles;
    for (const Item& item : items_) draw(item, text, true, sink);
    sink(text + legend + "</svg>\n");
  }

 private:
  // --- what there is ---------------------------------------------------------------------------

  // What a pointer of its owner leads to: the root port of an instance.
  void findMarks(const Entity& entity) {
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::pointer) {
        const auto* target = *static_cast<const Entity* const*>(Tovo::storage(entity, attribute));
        if (target && target->parent() == &entity) marks_[target].push_back(attribute.name());
      } else if (attribute.kind() == AttributeKind::ownCollection) {
        Tovo::forEachElement(entity, attribute, [&](const void*, const void* item) {
          findMarks(*Tovo::elementEntity(item));
        });
      }
    });
  }

  Item itemOf(const Entity& entity, const std::string& title, bool isTile) {
    Item item;
    item.entity = &entity;
    item.title = title;
    item.isTile = isTile;
    const Attribute state = stateAttribute(entity.tovoType());
    if (isTile) {
      describeTile(item, state);
      return item;
    }
    item.type = Tovo::typeName(entity.tovoType());
    addFacts(item);
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::ownCollection) addGroup(item, attribute);
    });
    return item;
  }

  // "designated forwarding": what it is, then the state.
  void describeTile(Item& item, Attribute state) {
    std::string line;
    Tovo::forEachAttribute(item.entity->tovoType(), [&](Attribute attribute) {
      if (!isEnumeration(attribute) || isAtDefault(*item.entity, attribute)) return;
      if (state && attribute.id() == state.id()) return;
      const std::string_view name = attribute.name();
      if (name != "role" && !name.ends_with("Role")) return;
      line += Tovo::attributeText(*item.entity, attribute) + " ";
    });
    if (state) {
      const std::string literal = Tovo::attributeText(*item.entity, state);
      item.rank = stateRank(state, literal);
      line += literal;
      states_[Tovo::typeName(state.type())] = state;
    }
    const auto mark = marks_.find(item.entity);
    if (mark != marks_.end()) {
      item.isMarked = true;
      for (const std::string& name : mark->second) marksSeen_[name] = true;
    }
    item.facts.push_back(line);
  }

  // What of a box is worth a line: what it was made with, what kind it is, what it points to.
  static void addFacts(Item& item) {
    const Entity& entity = *item.entity;
    const Attribute key = Tovo::keyParameter(entity.tovoType());
    std::string line;
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      const bool told = attribute.kind() == AttributeKind::parameter ||
                        attribute.kind() == AttributeKind::pointer || isEnumeration(attribute);
      if (!told || (key && key.id() == attribute.id())) return;
      if (attribute.kind() != AttributeKind::parameter && isAtDefault(entity, attribute)) return;
      line += (line.empty() ? "" : "   ") + std::string(attribute.name()) + " " +
              attributeCell(entity, attribute, ValueStyle::brief);
    });
    if (!line.empty()) item.facts.push_back(line);
  }

  void addGroup(Item& owner, Attribute collection) {
    const std::vector<Element> elements = sortedElements(*owner.entity, collection);
    if (elements.empty()) return;
    const bool tiles = !ownsAnything(collection.type());
    Item::Group group;
    group.label = std::string(collection.name()) + "  " + std::to_string(elements.size());
    group.items.reserve(elements.size());
    for (const Element& element : elements) {
      group.items.push_back(itemOf(*Tovo::elementEntity(element.item), element.key, tiles));
    }
    owner.groups.push_back(std::move(group));
  }

  // --- where it is -----------------------------------------------------------------------------

  static void measureTiles(std::vector<Item>& tiles) {
    int width = leastTile;
    bool hasFacts = false;
    for (const Item& tile : tiles) {
      width = std::max(
          {width, svgWidth(tile.title, 11) + 2 * gap, svgWidth(tile.facts.front(), 9) + 2 * gap});
      hasFacts = hasFacts || !tile.facts.front().empty();
    }
    for (Item& tile : tiles) tile.box = {0, 0, width, hasFacts ? tileHeight : tileHeight - 12};
  }

  // Places within the item are relative to it until place() is called.
  void measure(Item& item, int available) {
    const int inner = available - 2 * padding;
    int width = svgWidth(item.title, titleSize) + 2 * gap + svgWidth(item.type, 11);
    for (const std::string& fact : item.facts) width = std::max(width, svgWidth(fact, 11));
    int y = padding + titleHeight + static_cast<int>(item.facts.size()) * factHeight;
    for (Item::Group& group : item.groups) {
      group.y = y;
      y += labelHeight;
      width = std::max(width, svgWidth(group.label, 11));
      if (group.items.front().isTile) {
        measureTiles(group.items);
      } else {
        for (Item& child : group.items) measure(child, inner);
      }
      y = flow(group.items, inner, y, width) + gap;
    }
    item.box.width = width + 2 * padding;
    item.box.height = y + padding - (item.groups.empty() ? 0 : gap);
  }

  // In rows of the given width; returns where the next row would begin.
  static int flow(std::vector<Item>& items, int available, int y, int& width) {
    int x = 0;
    int rowHeight = 0;
    for (Item& item : items) {
      if (x > 0 && x + item.box.width > available) {
        x = 0;
        y += rowHeight + gap;
        rowHeight = 0;
      }
      item.box.x = padding + x;
      item.box.y = y;
      width = std::max(width, x + item.box.width);
      rowHeight = std::max(rowHeight, item.box.height);
      x += item.box.width + gap;
    }
    return y + rowHeight;
  }

  static void place(Item& item, int x, int y) {
    item.box.x = x;
    item.box.y = y;
    for (Item::Group& group : item.groups) {
      group.y += y;
      for (Item& child : group.items) place(child, x + child.box.x, y + child.box.y);
    }
  }

  // --- how it looks ----------------------------------------------------------------------------

  static void draw(const Item& item, std::string& text, bool isRoot,
                   const std::function<void(std::string_view)>& sink) {
    const Box& box = item.box;
    if (item.isTile) {
      drawTile(item, text);
      return;
    }
    text += svgRect(box.x, box.y, box.width, box.height, radius,
                    isRoot ? "class=\"b\"" : "class=\"i\"");
    int y = box.y + padding + titleSize;
    text += svgLabel(box.x + padding, y, "t", item.title);
    text += svgLabel(box.x + padding + svgWidth(item.title, titleSize) + gap, y, "y", item.type);
    for (const std::string& fact : item.facts) {
      y += factHeight;
      text += svgLabel(box.x + padding, y + 3, "f", fact);
    }
    for (const Item::Group& group : item.groups) {
      text += svgLabel(box.x + padding, group.y + 13, "y", group.label);
      for (const Item& child : group.items) draw(child, text, false, sink);
    }
    constexpr size_t enough = 64 * 1024;
    if (text.size() < enough) return;
    sink(text);
    text.clear();
  }

  static void drawTile(const Item& tile, std::string& text) {
    const Box& box = tile.box;
    std::string look = tile.isMarked ? "class=\"m\" fill=\"" : "class=\"p\" fill=\"";
    look.append(stateColour(tile.rank)) += '"';
    text += svgRect(box.x, box.y, box.width, box.height, radius, look);
    text += svgLabel(box.x + gap, box.y + 15, "k", tile.title);
    if (!tile.facts.front().empty()) {
      text += svgLabel(box.x + gap, box.y + 29, "d", tile.facts.front());
    }
  }

  // States in their colours, and what the strong border is.
  std::string legendText(int y, int& right) const {
    std::string text;
    int x = pageMargin;
    const auto tile = [&](const std::string& words, const char* colour, const char* border) {
      const int width = svgWidth(words, 11) + 2 * gap;
      text += svgRect(x, y, width, tileHeight - 12, radius,
                      std::string("class=\"") + border + "\" fill=\"" + colour + "\"");
      text += svgLabel(x + gap, y + 16, "f", words);
      x += width + gap;
    };
    for (const auto& [name, state] : states_) {
      text += svgLabel(x, y + 16, "y", name);
      x += svgWidth(name, 11) + gap;
      const Tovo::TypeDescriptor& type = Tovo::typeDescriptor(state.type());
      for (uint32_t i = 0; i < type.literalCount; ++i) {
        const char* literal = type.literals[i].name;
        tile(literal, stateColour(stateRank(state, literal)), "p");
      }
      x += 2 * gap;
    }
    for (const auto& [name, seen] : marksSeen_) tile(name, "#fff", "m");
    if (!text.empty()) right = std::max(right, x - gap);
    return text;
  }

  std::vector<Item> items_;
  std::unordered_map<const Entity*, std::vector<std::string>> marks_;
  std::map<std::string, Attribute> states_;
  std::map<std::string, bool> marksSeen_;
};

}  // namespace

void writeLiveSvg(const std::vector<const Entity*>& roots,
                  const std::function<void(std::string_view)>& sink) {
  LivePicture(roots).write(sink);
}

}  // namespace stptool
