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

bool Node::livesOn() noexcept {
  if (references_.value() <= dyingReferences) return false;
  // From the next step on, another thread may let it die again.
  nodeFlagSet(flagLive, true);
  if (!references_.drop(dyingReferences)) return true;
  references_.set(dyingReferences);
  nodeFlagSet(flagLive, false);
  return false;
}

}  // namespace Pelmo
