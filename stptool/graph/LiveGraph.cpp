// A live tree as a graph.
#include <unordered_map>

#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/graph/Graph.h"
#include "stptool/text/AttributeCell.h"
#include "stptool/text/ElementOrder.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

bool looksLikeState(Attribute attribute) {
  const std::string_view name = attribute.name();
  const Tovo::TovoTypeBase type = attribute.type();
  return attribute.kind() == AttributeKind::attribute && type &&
         Tovo::typeDescriptor(type).kind == Tovo::TypeKind::enumeration &&
         (name == "state" || name.ends_with("State"));
}

// From red to green in the order of the literals.
std::string colourOf(Attribute state, const std::string& literal) {
  static const char* const colours[] = {"#f4b6b0", "#fbe3a1", "#b9e3b4"};
  const Tovo::TypeDescriptor& type = Tovo::typeDescriptor(state.type());
  for (uint32_t i = 0; i < type.literalCount; ++i) {
    if (type.literals[i].name != literal) continue;
    return colours[i == 0 ? 0 : i + 1 == type.literalCount ? 2 : 1];
  }
  return {};
}

class LiveGraphBuilder {
 public:
  Graph graph;

  void addRoot(const Entity& root) {
    add(root, Tovo::pathOf(root), Tovo::typeName(root.tovoType()));
  }

  // When every entity has its place; what lies elsewhere is left out.
  void addReferences() {
    for (const Entity* entity : order_) {
      Tovo::forEachAttribute(entity->tovoType(), [&](Attribute attribute) {
        if (attribute.kind() == AttributeKind::pointer) {
          refer(*entity, attribute.name(),
                *static_cast<const Entity* const*>(Tovo::storage(*entity, attribute)), true);
        } else if (attribute.kind() == AttributeKind::refCollection) {
          for (const Element& element : sortedElements(*entity, attribute)) {
            refer(*entity, std::string(attribute.name()) + "[" + element.key + "]",
                  Tovo::elementEntity(element.item), false);
          }
        }
      });
    }
  }

 private:
  size_t add(const Entity& entity, const std::string& title, std::string detail) {
    const size_t node = graph.nodes.size();
    places_.emplace(&entity, node);
    order_.push_back(&entity);
    GraphNode description{title, std::move(detail), {}, false};
    bool owns = false;
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      owns |= attribute.kind() == AttributeKind::ownCollection;
      if (!description.fill.empty() || !looksLikeState(attribute)) return;
      const std::string literal = Tovo::attributeText(entity, attribute);
      description.detail = literal;
      description.fill = colourOf(attribute, literal);
    });
    graph.nodes.push_back(std::move(description));
    if (!owns) return node;
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (attribute.kind() != AttributeKind::ownCollection) return;
      for (const Element& element : sortedElements(entity, attribute)) {
        const size_t child = add(*Tovo::elementEntity(element.item), element.key, {});
        graph.edges.push_back({node, child, attribute.name(), EdgeKind::owns});
      }
    });
    return node;
  }

  void refer(const Entity& from, std::string label, const Entity* to, bool marks) {
    const auto target = places_.find(to);
    if (target == places_.end()) return;
    GraphNode& node = graph.nodes[target->second];
    if (marks) {
      node.prominent = true;
      node.detail += (node.detail.empty() ? "" : ", ") + label;
    }
    graph.edges.push_back({places_.at(&from), target->second, std::move(label), EdgeKind::refers});
  }

  std::unordered_map<const Entity*, size_t> places_;
  std::vector<const Entity*> order_;
};

}  // namespace

Graph liveGraph(const std::vector<const Entity*>& roots) {
  LiveGraphBuilder builder;
  for (const Entity* root : roots) builder.addRoot(*root);
  builder.addReferences();
  return std::move(builder.graph);
}

}  // namespace stptool
