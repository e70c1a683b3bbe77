#include "Mirror/control/HostMounts.h"

#include <algorithm>

#include "Tovo/Entity.h"

namespace Tovo::NboAttrLog {

void HostMounts::add(const std::string& path, const Entity& entity, uint32_t id, bool readOnly) {
  Mounts& mounts = directory_.mounted(path) == &entity ? roots_ : elements_;
  mounts.emplace(path, Mount{id, readOnly});
  writable_ += readOnly ? 0 : 1;
}

void HostMounts::clear() noexcept {
  roots_.clear();
  elements_.clear();
  writable_ = 0;
}

// Whether a mount still leads to where it did.
bool HostMounts::isThere(uint32_t id, std::string_view path) const noexcept {
  const Entity* top = numbers_.entity(id);
  if (!top) return false;
  while (const Entity* above = top->parent()) top = above;
  const auto root = directory_.mountAbove(path);
  return root != directory_.mounts().end() && root->second.get() == top;
}

bool HostMounts::mayHaveLost() const noexcept {
  if (directorySeen_ != directory_.changes() && !roots_.empty()) return true;
  return std::any_of(elements_.begin(), elements_.end(),
                     [&](const auto& mount) { return !isThere(mount.second.id, mount.first); });
}

}  // namespace Tovo::NboAttrLog
