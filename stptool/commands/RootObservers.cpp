#include "stptool/commands/RootObservers.h"

namespace stptool {

class RootObservers::One : public Pelmo::Observer {
 public:
  One(const Handle& handle, const Pelmo::Ptr<Tovo::Entity>& root) : handle_(handle), root_(root) {
    observeRecursive(root->nodePublisher());
  }
  ~One() override { detach(); }  // a root that goes takes its elements out one by one
  void handleChange(const Pelmo::Change& change) override { handle_(change); }

 private:
  const Handle& handle_;
  Pelmo::Ptr<Tovo::Entity> root_;  // no other one takes its address
};

RootObservers::RootObservers(Handle handle) : handle_(std::move(handle)) {}
RootObservers::~RootObservers() = default;

void RootObservers::update(const Tovo::Directory& directory) {
  std::erase_if(observers_, [&](const auto& entry) { return !directory.mountPath(*entry.first); });
  for (const auto& [path, root] : directory.mounts()) {
    std::unique_ptr<One>& observer = observers_[root.get()];
    if (!observer) observer = std::make_unique<One>(handle_, root);
  }
}

}  // namespace stptool
