// Graphs as documents.
#include "Tovo/Printable.h"
#include "stptool/graph/Graph.h"

namespace stptool {

namespace {

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : Tovo::printable(text)) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

const char* nameOf(EdgeKind kind) {
  switch (kind) {
    case EdgeKind::owns:
      return "owns";
    case EdgeKind::derives:
      return "derives";
    case EdgeKind::refers:
      return "refers";
  }
  return "?";
}

const char* styleOf(EdgeKind kind) {
  switch (kind) {
    case EdgeKind::owns:
      return "";
    case EdgeKind::derives:
      return ", arrowhead=empty";
    case EdgeKind::refers:
      return ", style=dashed, constraint=false";
  }
  return "";
}

}  // namespace

std::string dotText(const Graph& graph) {
  std::string text =
      "digraph stp {\n"
      "  rankdir=LR;\n"
      "  node [shape=box, fontname=\"monospace\", fontsize=10];\n"
      "  edge [fontname=\"monospace\", fontsize=9];\n";
  for (size_t i = 0; i < graph.nodes.size(); ++i) {
    const GraphNode& node = graph.nodes[i];
    std::string label = quoted(node.title);
    if (!node.detail.empty()) {
      label.pop_back();
      label += "\\n" + quoted(node.detail).substr(1);
    }
    text += "  n" + std::to_string(i) + " [label=" + label;
    if (!node.fill.empty()) text += ", style=filled, fillcolor=" + quoted(node.fill);
    if (node.prominent) text += ", penwidth=3";
    text += "];\n";
  }
  for (const GraphEdge& edge : graph.edges) {
    text += "  n" + std::to_string(edge.from) + " -> n" + std::to_string(edge.to) +
            " [label=" + quoted(edge.label) + styleOf(edge.kind) + "];\n";
  }
  return text + "}\n";
}

Json graphJson(const Graph& graph) {
  Json json;
  json["nodes"] = Json::array();
  json["edges"] = Json::array();
  for (const GraphNode& node : graph.nodes) {
    Json entry{{"title", Tovo::printable(node.title)}, {"detail", Tovo::printable(node.detail)}};
    if (!node.fill.empty()) entry["fill"] = node.fill;
    if (node.prominent) entry["prominent"] = true;
    json["nodes"].push_back(std::move(entry));
  }
  for (const GraphEdge& edge : graph.edges) {
    json["edges"].push_back({{"from", edge.from},
                             {"to", edge.to},
                             {"label", Tovo::printable(edge.label)},
                             {"kind", nameOf(edge.kind)}});
  }
  return json;
}

}  // namespace stptool
