#include "Mirror/control/RootTeller.h"

#include <iterator>
#include <utility>
#include <vector>

#include "Tovo/Entity.h"
#include "Tovo/Module.h"

namespace Tovo::NboAttrLog {

namespace {

// Bytes of one part of a list, about.
constexpr size_t listedAtOnce = 16 * 1024;

}  // namespace

void RootTeller::follow() noexcept {
  if (!std::exchange(follows_, true)) told_ = directory_.changes();
}

void RootTeller::forget() noexcept {
  listsDue_ = 0;
  follows_ = false;
}

void RootTeller::tell(bool serves) {
  tellChanges(serves);
  tellList(serves);
}

// Changes are told one by one while it is known which roots they were about, else a whole list is
// due.
void RootTeller::tellChanges(bool serves) {
  while (owesChanges() && listsDue_ == 0 && control_.hasRoomToAnswer()) {
    const std::string* const path = directory_.changedPath(told_ + 1);
    if (!path) {
      listIsDue();
    } else if (!serves || tellChange(*path)) {
      ++told_;
    } else {
      return;
    }
  }
}

bool RootTeller::tellChange(const std::string& path) {
  const Entity* const root = directory_.mounted(path);
  return control_.send(Control::root, Beyond::nothing, path,
                       root ? typeName(root->tovoType()) : "");
}

// Each part goes on behind the last path of the one before.
void RootTeller::tellList(bool serves) {
  while (listsDue_ > 0 && control_.hasRoomToAnswer()) {
    const Directory::Mounts& mounts = directory_.mounts();
    if (!listedTo_) listedSince_ = directory_.changes();
    auto from = listedTo_ ? mounts.upper_bound(*listedTo_) : mounts.begin();
    if (!serves) from = mounts.end();
    size_t bytes = 0;
    auto to = from;
    while (to != mounts.end() && bytes < listedAtOnce) {
      bytes += to->first.size() + sizeof(uint64_t);
      ++to;
    }
    if (!sendPart(from, to)) return;
    if (to != mounts.end()) {
      listedTo_ = std::prev(to)->first;
      continue;
    }
    listedTo_.reset();
    --listsDue_;
    told_ = listedSince_;
  }
}

bool RootTeller::sendPart(Directory::Mounts::const_iterator from,
                          Directory::Mounts::const_iterator to) {
  std::vector<Control::Roots::Root> roots;
  for (auto at = from; at != to; ++at) {
    roots.push_back({at->first, typeName(at->second->tovoType())});
  }
  const bool isLast = to == directory_.mounts().end();
  return control_.send(isLast ? Control::mounts : Control::someMounts, Beyond::answers, roots);
}

}  // namespace Tovo::NboAttrLog
