#include "Pelmo/Node.h"

namespace Pelmo {

namespace {
// Far above any number of references that observers of a dying node could take.
constexpr uint32_t dyingReferences = 1u << 30;
}  // namespace

Node::~Node() = default;

void Node::lastUserGone() noexcept { delete this; }

void Node::die() noexcept {
  if (publishing_) return;  // whoever publishes looks again at the end
  references_.set(dyingReferences);
  lastUserGone();
}

}  // namespace Pelmo
