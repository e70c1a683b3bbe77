// What a peer mirrors of this process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "Mirror/log/Numbers.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// By path: roots of the directory, which go when they are unmounted, and what is below one. Part
/// of a host's side.
class HostMounts {
 public:
  HostMounts(const Directory& directory, const Numbers& numbers) noexcept
      : directory_(directory), numbers_(numbers) {}

  bool contains(const std::string& path) const noexcept {
    return roots_.contains(path) || elements_.contains(path);
  }
  /// `id`: the number under which the entity at the path is carried.
  void add(const std::string& path, const Entity& entity, uint32_t id, bool readOnly);
  bool anyWritable() const noexcept { return writable_ > 0; }
  void clear() noexcept;

  /// Something may be mirrored that is not there any more. Cost: what is mirrored below roots.
  bool mayHaveLost() const noexcept;
  struct Lost {
    std::string path;
    bool wasRoot;
    uint32_t id;
  };
  /// Takes out each mount that does not lead any more to where it did, and calls visit(Lost).
  template <class Visit>
  void takeLost(const Visit& visit);

  template <class Visit>
  void forEach(const Visit& visit) const {
    for (const Mounts* mounts : {&roots_, &elements_}) {
      for (const auto& [path, mount] : *mounts) visit(path, mount.readOnly);
    }
  }

 private:
  struct Mount {
    uint32_t id;
    bool readOnly;
  };
  using Mounts = std::map<std::string, Mount, std::less<>>;

  bool isThere(uint32_t id, std::string_view path) const noexcept;
  template <class Visit>
  void takeIfLost(const std::string& path, const Visit& visit);

  const Directory& directory_;
  const Numbers& numbers_;
  Mounts roots_;
  Mounts elements_;
  size_t writable_ = 0;
  uint64_t directorySeen_ = 0;  // its changes() when roots were compared with it
};

template <class Visit>
void HostMounts::takeIfLost(const std::string& path, const Visit& visit) {
  for (Mounts* mounts : {&roots_, &elements_}) {
    const auto at = mounts->find(path);
    if (at == mounts->end() || isThere(at->second.id, path)) continue;
    const Lost lost{path, mounts == &roots_, at->second.id};
    writable_ -= at->second.readOnly ? 0 : 1;
    mounts->erase(at);
    return visit(lost);
  }
}

template <class Visit>
void HostMounts::takeLost(const Visit& visit) {
  const uint64_t now = directory_.changes();
  if (roots_.empty()) directorySeen_ = now;
  if (now - directorySeen_ > roots_.size() || !directory_.changedPath(directorySeen_ + 1)) {
    for (auto at = roots_.begin(); directorySeen_ != now && at != roots_.end();) {
      takeIfLost(std::string((at++)->first), visit);
    }
  } else {
    while (directorySeen_ != now) takeIfLost(*directory_.changedPath(++directorySeen_), visit);
  }
  directorySeen_ = now;
  for (auto at = elements_.begin(); at != elements_.end();) {
    takeIfLost(std::string((at++)->first), visit);
  }
}

}  // namespace Tovo::NboAttrLog
