// Pictures of what owns what, before they are DOT or SVG.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"
#include "stptool/json/Json.h"

namespace stptool {

struct GraphNode {
  std::string title;
  std::string detail;      ///< a second, smaller line, or none
  std::string fill;        ///< a colour, or none
  bool prominent = false;  ///< with a strong border
};

enum class EdgeKind { owns, derives, refers };

struct GraphEdge {
  size_t from;
  size_t to;
  std::string label;
  EdgeKind kind;
};

/// Nodes stand in the order in which they are drawn: a node behind the one that leads to it.
struct Graph {
  std::vector<GraphNode> nodes;
  std::vector<GraphEdge> edges;
};

/// The entity types that a type contains, with their bases and what they refer to; all entity types
/// where `type` is none.
Graph typeGraph(Tovo::TovoTypeBase type);

/// An entity and all below it. An enumeration called state, or ending in State, colours its entity:
/// red for its first literal, green for the last one.
Graph liveGraph(const std::vector<const Tovo::Entity*>& roots);

/// A document for the tools that lay graphs out.
std::string dotText(const Graph& graph);

/// A picture: what a node leads to stands right of it.
std::string svgText(const Graph& graph);

/// A live tree as a picture, in parts: entities that own others are boxes around these, the others
/// are tiles in the colour of their state; what a pointer of its owner leads to, such as a root
/// port, has a strong border. A legend says so.
void writeLiveSvg(const std::vector<const Tovo::Entity*>& roots,
                  const std::function<void(std::string_view part)>& sink);

Json graphJson(const Graph& graph);

}  // namespace stptool
