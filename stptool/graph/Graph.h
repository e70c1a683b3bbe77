// Pictures of what owns what, before they are DOT or SVG.
#pragma once

#include <string>
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

Json graphJson(const Graph& graph);

}  // namespace stptool
