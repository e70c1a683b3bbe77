#include "stptool/commands/RootObservers.h"

namespace stptool {

class RootObservers::One : public Pelmo::Observer {
 public:
  One(const Handle& handle, const Pelmo::Ptr<Tovo::Entity>& root) : handle_(handle), root_(root) {
    observeRecursive(root->nodePublisher());
  }
  ~One() override { detach(); }  // a root that goes takes its elements out one by one
  void handleChange(const Pelmo::Change& change) override { handle_(change); }
  const Tovo::Entity* root() const noexcept { return root_.get(); }

 private:
  const Handle& handle_;
  Pelmo::Ptr<Tovo::Entity> root_;  // no other one takes its address
};

RootObservers::RootObservers(Handle handle) : handle_(std::move(handle)) {}
RootObservers::~RootObservers() = default;

void RootObservers::update(const Tovo::Directory& directory) {
  if (directory.changes() > seen_ && !directory.changedPath(seen_ + 1)) {
    std::erase_if(observers_, [&](const auto& entry) { return !directory.mounted(entry.first); });
    for (const auto& [path, root] : directory.mounts()) update(directory, path);
    seen_ = directory.changes();
  }
  while (seen_ != directory.changes()) update(directory, *directory.changedPath(++seen_));
}

void RootObservers::update(const Tovo::Directory& directory, const std::string& path) {
  const Pelmo::Ptr<Tovo::Entity> root(directory.mounted(path));
  const auto known = observers_.find(path);
  if (known != observers_.end() && known->second->root() == root.get()) return;
  if (known != observers_.end()) observers_.erase(known);
  if (root) observers_.emplace(path, std::make_unique<One>(handle_, root));
}

}  // namespace stptool
