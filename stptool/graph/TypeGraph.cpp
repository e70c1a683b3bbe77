// What types contain each other.
#include <algorithm>
#include <map>

#include "stptool/graph/Graph.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::TovoTypeBase;

class TypeGraphBuilder {
 public:
  Graph graph;

  // The node of a type; what hangs on a new one follows when `whole`.
  size_t place(TovoTypeBase type, bool whole) {
    const std::string name = Tovo::typeName(type);
    auto found = places_.find(name);
    if (found == places_.end()) {
      found = places_.emplace(name, graph.nodes.size()).first;
      graph.nodes.push_back({name, detailOf(type), {}, false});
    }
    const size_t node = found->second;
    if (!whole || std::find(expanded_.begin(), expanded_.end(), node) != expanded_.end()) {
      return node;
    }
    expanded_.push_back(node);
    if (const TovoTypeBase base = Tovo::baseType(type)) {
      connect(node, place(base, true), "is a", EdgeKind::derives);
    }
    forEachOwn(type, AttributeKind::ownCollection, [&](Attribute collection) {
      connect(node, place(collection.type(), true), labelOf(collection), EdgeKind::owns);
    });
    types_.emplace_back(type, node);
    return node;
  }

  // When everything that is contained has its place.
  void addReferences() {
    const auto types = types_;
    for (const auto& [type, node] : types) {
      for (const AttributeKind kind : {AttributeKind::pointer, AttributeKind::refCollection}) {
        const size_t from = node;
        forEachOwn(type, kind, [&](Attribute reference) {
          connect(from, place(reference.type(), false), labelOf(reference), EdgeKind::refers);
        });
      }
    }
  }

 private:
  template <class Visit>
  static void forEachOwn(TovoTypeBase type, AttributeKind kind, const Visit& visit) {
    for (const Tovo::AttributeDescriptor& own : Tovo::ownAttributes(type)) {
      if (own.kind == kind) visit(Attribute(*type.module, own));
    }
  }

  static std::string labelOf(Attribute attribute) {
    std::string label = attribute.name();
    if (attribute.isCollection()) label += "[" + std::string(attribute.keyTypeName()) + "]";
    return label;
  }

  static std::string detailOf(TovoTypeBase type) {
    size_t count = 0;
    for (const Tovo::AttributeDescriptor& own : Tovo::ownAttributes(type)) {
      count += own.kind == AttributeKind::attribute || own.kind == AttributeKind::parameter ||
               own.kind == AttributeKind::valueCollection ||
               own.kind == AttributeKind::selfKeyedCollection;
    }
    return count == 0 ? std::string() : words::counted(count, "attribute", "attributes");
  }

  void connect(size_t from, size_t to, std::string label, EdgeKind kind) {
    graph.edges.push_back({from, to, std::move(label), kind});
  }

  std::map<std::string, size_t> places_;
  std::vector<size_t> expanded_;
  std::vector<std::pair<TovoTypeBase, size_t>> types_;
};

std::vector<TovoTypeBase> allEntityTypes() {
  std::vector<TovoTypeBase> types;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      if (module->types[i].kind == Tovo::TypeKind::entity) types.push_back({module, i});
    }
  }
  return types;
}

// Those that nothing contains and nothing is derived from: where a reader starts.
std::vector<TovoTypeBase> topTypes(const std::vector<TovoTypeBase>& types) {
  const auto isBelow = [&](TovoTypeBase type) {
    return std::any_of(types.begin(), types.end(), [&](TovoTypeBase other) {
      const TovoTypeBase base = Tovo::baseType(other);
      if (base && base == type) return true;
      const auto own = Tovo::ownAttributes(other);
      return std::any_of(own.begin(), own.end(), [&](const Tovo::AttributeDescriptor& attribute) {
        return attribute.kind == AttributeKind::ownCollection &&
               Attribute(*other.module, attribute).type() == type;
      });
    });
  };
  std::vector<TovoTypeBase> top;
  for (const TovoTypeBase type : types) {
    if (!isBelow(type)) top.push_back(type);
  }
  return top;
}

}  // namespace

Graph typeGraph(TovoTypeBase type) {
  TypeGraphBuilder builder;
  if (type) {
    builder.place(type, true);
  } else {
    const std::vector<TovoTypeBase> types = allEntityTypes();
    for (const TovoTypeBase top : topTypes(types)) builder.place(top, true);
    for (const TovoTypeBase rest : types) builder.place(rest, true);  // rings have no top
  }
  builder.addReferences();
  return std::move(builder.graph);
}

}  // namespace stptool
