// A live tree as a graph.
#include <unordered_map>

#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/graph/Graph.h"
#include "stptool/graph/StateLook.h"
#include "stptool/model/AttributeCell.h"
#include "stptool/model/ElementOrder.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

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
    });
    if (const Attribute state = stateAttribute(entity.tovoType())) {
      description.detail = Tovo::attributeText(entity, state);
      description.fill = stateColour(stateRank(state, description.detail));
    }
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
