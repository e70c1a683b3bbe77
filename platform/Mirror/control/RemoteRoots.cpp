#include "Mirror/control/RemoteRoots.h"

#include <utility>
#include <vector>

namespace Tovo::NboAttrLog {

void RemoteRoots::ask() {
  ++asked_;
  control_.send(Control::askMounts, Beyond::any);
}

void RemoteRoots::follow() {
  follows_ = true;
  control_.send(Control::followMounts, Beyond::any);
}

void RemoteRoots::handleListed(In& in, bool isLast) {
  const size_t bytes = in.remaining();
  const uint32_t count = in.nextCount(2 * sizeof(uint32_t));
  std::vector<std::pair<std::string, std::string>> roots;
  for (uint32_t i = 0; i < count; ++i) {
    std::string path = Control::Text::read(in);
    roots.emplace_back(std::move(path), Control::Text::read(in));
  }
  in.expectEnd();
  if (listings_ == asked_ && !follows_) {
    throw StreamException("a list of mounts that was not asked for");
  }
  listedBytes_ += bytes;
  if (listedBytes_ > mostBytes_) {
    throw EndingException(Ending::turnSize,
                          "a list of mounts of more than " + std::to_string(mostBytes_) + " bytes");
  }
  for (auto& [path, type] : roots) listed_.insert_or_assign(std::move(path), std::move(type));
  if (!isLast) return;
  roots_ = std::exchange(listed_, {});
  listedBytes_ = 0;
  ++listings_;
}

RemoteRoots::Change RemoteRoots::handleRoot(In& in) {
  auto [path, type] = Control::root.read(in);
  if (!follows_) throw StreamException("a root of the peer, which are not followed");
  const bool mounted = !type.empty();
  if (mounted) {
    roots_.insert_or_assign(path, std::move(type));
  } else {
    roots_.erase(path);
  }
  return {std::move(path), mounted};
}

}  // namespace Tovo::NboAttrLog
