// A tidy tree from left to right: columns by depth, a node in the middle of what it leads to.
#include <algorithm>

#include "Tovo/Printable.h"
#include "stptool/graph/Graph.h"
#include "stptool/graph/SvgText.h"
#include "stptool/text/Table.h"

namespace stptool {

namespace {

// Pixels. Widths are those of a monospaced font, so that the picture depends on no font file.
constexpr int titleAdvance = 7;
constexpr int smallAdvance = 6;
constexpr int boxPadding = 8;
constexpr int boxHeight = 36;
constexpr int rowHeight = 48;
constexpr int edgeRoom = 34;  // beside the label
constexpr int margin = 16;

constexpr size_t noNode = static_cast<size_t>(-1);

struct PlacedNode {
  size_t parent = noNode;
  std::string label;  // of the edge from the parent
  EdgeKind kind = EdgeKind::owns;
  std::vector<size_t> children;
  size_t depth = 0;
  int x = 0;
  int y = 0;  // of the middle
  int width = 0;
  int widestLabel = 0;  // of the edges to the children
};

int widthOf(const std::string& text, int advance) {
  return static_cast<int>(textWidth(Tovo::printable(text))) * advance;
}

class Layout {
 public:
  explicit Layout(const Graph& graph) : graph_(graph), places_(graph.nodes.size()) {
    chooseParents();
    for (size_t node = 0; node < places_.size(); ++node) {
      if (places_[node].parent == noNode) placeBelow(node, 0);
    }
    placeColumns();
  }

  std::string text() const {
    std::string out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
                      std::to_string(width_) + "\" height=\"" + std::to_string(height()) +
                      "\" viewBox=\"0 0 " + std::to_string(width_) + " " +
                      std::to_string(height()) + "\" font-family=\"monospace\">\n" + definitions;
    for (size_t i = 0; i < graph_.edges.size(); ++i) out += edgeText(graph_.edges[i], isTree_[i]);
    for (size_t i = 0; i < graph_.nodes.size(); ++i) out += nodeText(graph_.nodes[i], places_[i]);
    return out + "</svg>\n";
  }

 private:
  static constexpr const char* definitions =
      "<defs>\n"
      "<marker id=\"owns\" viewBox=\"0 0 8 8\" refX=\"8\" refY=\"4\" markerWidth=\"8\" "
      "markerHeight=\"8\" orient=\"auto\"><path d=\"M0 0L8 4L0 8z\" fill=\"#333\"/></marker>\n"
      "<marker id=\"derives\" viewBox=\"0 0 10 10\" refX=\"10\" refY=\"5\" markerWidth=\"10\" "
      "markerHeight=\"10\" orient=\"auto\"><path d=\"M1 1L9 5L1 9z\" fill=\"#fff\" "
      "stroke=\"#333\"/></marker>\n"
      "<marker id=\"refers\" viewBox=\"0 0 8 8\" refX=\"8\" refY=\"4\" markerWidth=\"8\" "
      "markerHeight=\"8\" orient=\"auto\"><path d=\"M0 0L8 4L0 8\" fill=\"none\" "
      "stroke=\"#77a\"/></marker>\n"
      "</defs>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";

  // The first edge to a node puts it into the tree; the others are drawn across.
  void chooseParents() {
    isTree_.resize(graph_.edges.size());
    const auto choose = [&](bool references) {
      for (size_t i = 0; i < graph_.edges.size(); ++i) {
        const GraphEdge& edge = graph_.edges[i];
        if ((edge.kind == EdgeKind::refers) != references || edge.to <= edge.from) continue;
        PlacedNode& to = places_[edge.to];
        if (to.parent != noNode) continue;
        to.parent = edge.from;
        to.label = edge.label;
        to.kind = edge.kind;
        PlacedNode& from = places_[edge.from];
        from.children.push_back(edge.to);
        from.widestLabel = std::max(from.widestLabel, widthOf(edge.label, smallAdvance));
        isTree_[i] = true;
      }
    };
    choose(false);
    choose(true);
    for (PlacedNode& place : places_) std::sort(place.children.begin(), place.children.end());
  }

  void placeBelow(size_t node, size_t depth) {
    PlacedNode& place = places_[node];
    place.depth = depth;
    place.width = 2 * boxPadding + std::max(widthOf(graph_.nodes[node].title, titleAdvance),
                                            widthOf(graph_.nodes[node].detail, smallAdvance));
    if (place.children.empty()) {
      place.y = margin + boxHeight / 2 + rows_++ * rowHeight;
      return;
    }
    for (const size_t child : place.children) placeBelow(child, depth + 1);
    place.y = (places_[place.children.front()].y + places_[place.children.back()].y) / 2;
  }

  void placeColumns() {
    std::vector<int> boxes;
    std::vector<int> labels;
    for (const PlacedNode& place : places_) {
      if (boxes.size() <= place.depth) {
        boxes.resize(place.depth + 1);
        labels.resize(place.depth + 1);
      }
      boxes[place.depth] = std::max(boxes[place.depth], place.width);
      labels[place.depth] = std::max(labels[place.depth], widthOf(place.label, smallAdvance));
    }
    for (size_t i = 0; i < graph_.edges.size(); ++i) {
      const size_t depth = places_[graph_.edges[i].to].depth;
      if (isTree_[i] || places_[graph_.edges[i].from].depth >= depth) continue;
      labels[depth] = std::max(labels[depth], widthOf(graph_.edges[i].label, smallAdvance));
    }
    std::vector<int> lefts;
    int x = margin;
    for (size_t depth = 0; depth < boxes.size(); ++depth) {
      if (depth > 0) x += edgeRoom + labels[depth];
      lefts.push_back(x);
      x += boxes[depth];
    }
    for (PlacedNode& place : places_) place.x = lefts[place.depth];
    width_ = x + margin + edgeRoom;  // references swing out on the right
  }

  int height() const { return 2 * margin + std::max(rows_, 1) * rowHeight; }

  static std::string number(int value) { return std::to_string(value); }
  static std::string point(int x, int y) { return number(x) + " " + number(y); }

  static std::string pathText(const std::string& way, EdgeKind kind) {
    const char* style =
        kind == EdgeKind::owns ? " stroke=\"#333\" marker-end=\"url(#owns)\""
        : kind == EdgeKind::derives
            ? " stroke=\"#333\" marker-end=\"url(#derives)\""
            : " stroke=\"#77a\" stroke-dasharray=\"5 4\" marker-end=\"url(#refers)\"";
    return "<path d=\"" + way + "\" fill=\"none\"" + style + "/>\n";
  }

  static std::string labelText(int x, int y, const char* anchor, const std::string& label) {
    if (label.empty()) return {};
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor +
           "\" font-size=\"10\" fill=\"#555\">" + svgEscaped(label) + "</text>\n";
  }

  std::string edgeText(const GraphEdge& edge, bool isTree) const {
    if (isTree) return treeEdgeText(edge);
    return places_[edge.from].depth < places_[edge.to].depth ? laneEdgeText(edge)
                                                             : swingEdgeText(edge);
  }

  // Out of the parent's side; the edges of one parent bend at one place.
  std::string treeEdgeText(const GraphEdge& edge) const {
    const PlacedNode& from = places_[edge.from];
    const PlacedNode& to = places_[edge.to];
    const int bend = to.x - from.widestLabel - edgeRoom / 2;
    return pathText("M" + point(from.x + from.width, from.y) + "H" + number(bend) + "V" +
                        number(to.y) + "H" + number(to.x),
                    edge.kind) +
           labelText(to.x - edgeRoom / 3, to.y - 4, "end", edge.label);
  }

  // To the right: through the lane below the row of the target.
  std::string laneEdgeText(const GraphEdge& edge) const {
    const PlacedNode& from = places_[edge.from];
    const PlacedNode& to = places_[edge.to];
    const int lane = to.y + rowHeight / 2;
    const int side = from.x + from.width;
    return pathText("M" + point(side, from.y + boxHeight / 4) + "H" + number(side + edgeRoom / 4) +
                        "V" + number(lane) + "H" + number(to.x + to.width / 2) + "V" +
                        number(to.y + boxHeight / 2),
                    edge.kind) +
           labelText(to.x - edgeRoom / 3, lane + 10, "end", edge.label);
  }

  // Back, or within a column: round the right ends.
  std::string swingEdgeText(const GraphEdge& edge) const {
    const PlacedNode& from = places_[edge.from];
    const PlacedNode& to = places_[edge.to];
    const int start = from.x + from.width;
    const int end = to.x + to.width;
    const int swing = std::max(start, end) + edgeRoom;
    const int y = to.y + boxHeight / 4;
    return pathText("M" + point(start, from.y + boxHeight / 4) + "C" +
                        point(swing, from.y + boxHeight / 4) + " " + point(swing, y) + " " +
                        point(end, y),
                    edge.kind) +
           labelText(end + 6, y + 12, "start",
                     edge.kind == EdgeKind::derives ? std::string() : edge.label);
  }

  static std::string nodeText(const GraphNode& node, const PlacedNode& place) {
    const int top = place.y - boxHeight / 2;
    std::string out = "<rect x=\"" + number(place.x) + "\" y=\"" + number(top) + "\" width=\"" +
                      number(place.width) + "\" height=\"" + number(boxHeight) +
                      "\" rx=\"4\" fill=\"" + (node.fill.empty() ? "#eef2f7" : node.fill) +
                      "\" stroke=\"#333\" stroke-width=\"" + (node.prominent ? "3" : "1") +
                      "\"/>\n";
    const int x = place.x + boxPadding;
    out += "<text x=\"" + number(x) + "\" y=\"" +
           number(node.detail.empty() ? place.y + 4 : place.y - 2) + "\" font-size=\"11\">" +
           svgEscaped(node.title) + "</text>\n";
    if (node.detail.empty()) return out;
    return out + "<text x=\"" + number(x) + "\" y=\"" + number(place.y + 12) +
           "\" font-size=\"9\" fill=\"#555\">" + svgEscaped(node.detail) + "</text>\n";
  }

  const Graph& graph_;
  std::vector<PlacedNode> places_;
  std::vector<bool> isTree_;
  int rows_ = 0;
  int width_ = 0;
};

}  // namespace

std::string svgText(const Graph& graph) { return Layout(graph).text(); }

}  // namespace stptool
