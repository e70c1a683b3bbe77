#include "Tovo/Directory.h"

#include <algorithm>

#include "Tovo/Exceptions.h"

namespace Tovo {

namespace {

const Directory* firstDirectory = nullptr;

void checkPath(std::string_view path) {
  const auto wrong = [&](const char* why) {
    throw PathException("'" + std::string(path) + "' is no path to mount at: " + why);
  };
  if (path.size() < 2 || path.front() != '/') wrong("it starts with a slash and has a segment");
  char previous = 0;
  for (const char c : path) {
    if (c == '/' && previous == '/') wrong("a segment is empty");
    if (c == '[' || c == ']') wrong("a segment has no bracket");
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) wrong("a segment is printable");
    previous = c;
  }
  if (path.back() == '/') wrong("it does not end in a slash");
}

constexpr size_t keptChanges = 4096;

}  // namespace

Directory::~Directory() {
  leave();
  // A root may end here, and those who hear of it may still mount and unmount.
  while (!mounts_.empty()) const Mounts ending = std::exchange(mounts_, {});
}

void Directory::mount(std::string_view path, const Pelmo::Ptr<Entity>& entity,
                      std::string whyReadOnly) {
  checkPath(path);
  if (!entity) throw PathException("nothing to mount at '" + std::string(path) + "'");
  auto other = mountAbove(path);
  if (other == mounts_.end()) {
    const std::string below = std::string(path) + "/";
    other = mounts_.lower_bound(below);
    if (other != mounts_.end() && !other->first.starts_with(below)) other = mounts_.end();
  }
  if (other != mounts_.end()) {
    throw PathException("'" + std::string(path) + "' cannot be mounted: '" + other->first +
                        "' is a " + typeName(other->second->tovoType()) + " already");
  }
  noteChange(path);
  const auto mounted = mounts_.emplace(std::string(path), entity).first;
  try {
    if (!whyReadOnly.empty()) readOnly_.emplace(mounted->first, std::move(whyReadOnly));
    places_.emplace(entity.get(), &mounted->first);
  } catch (...) {
    readOnly_.erase(mounted->first);
    mounts_.erase(mounted);
    throw;
  }
  enter();
}

Pelmo::Ptr<Entity> Directory::unmount(std::string_view path) {
  const auto it = mounts_.find(path);
  if (it == mounts_.end()) return nullptr;
  noteChange(path);
  places_.erase({it->second.get(), &it->first});
  Pelmo::Ptr<Entity> entity = std::move(it->second);
  readOnly_.erase(it->first);
  mounts_.erase(it);
  return entity;
}

// Before it is made, since there may be no memory for it: one too many does no harm.
void Directory::noteChange(std::string_view path) {
  changed_.emplace_back(path);
  if (changed_.size() > keptChanges) changed_.pop_front();
  ++changes_;
}

const std::string* Directory::changedPath(uint64_t change) const noexcept {
  const uint64_t known = changes_ - changed_.size();
  return change > known && change <= changes_ ? &changed_[change - known - 1] : nullptr;
}

Pelmo::Ptr<Entity> Directory::newEntity(std::string_view path, std::string_view typeName,
                                        ConstructorArguments arguments) {
  checkPath(path);
  const TovoTypeBase type = typeByName(typeName);
  if (!type) throw TypeException("there is no type '" + std::string(typeName) + "'");
  if (!genericIf(type).newEntityForDir) {
    throw TypeException("'" + std::string(typeName) + "' is not an entity type");
  }
  const Pelmo::String name(path.substr(path.rfind('/') + 1));
  Pelmo::Ptr<Entity> entity = genericIf(type).newEntityForDir(type, name, arguments);
  mount(path, entity);
  return entity;
}

Entity* Directory::mounted(std::string_view path) const noexcept {
  const auto it = mounts_.find(path);
  return it == mounts_.end() ? nullptr : it->second.get();
}

std::string_view Directory::whyReadOnly(std::string_view root) const noexcept {
  const auto it = readOnly_.find(root);
  return it == readOnly_.end() ? std::string_view() : it->second;
}

Directory::Mounts::const_iterator Directory::mountAbove(std::string_view path) const noexcept {
  for (size_t end = 0; end < path.size();) {
    end = std::min(path.find_first_of("/[", end + 1), path.size());
    const auto mounted = mounts_.find(path.substr(0, end));
    if (mounted != mounts_.end() || end == path.size() || path[end] == '[') return mounted;
  }
  return mounts_.end();
}

const std::string* Directory::mountPath(const Entity& entity) const noexcept {
  static const std::string first;
  const auto place = places_.lower_bound({&entity, &first});
  return place != places_.end() && place->first == &entity ? place->second : nullptr;
}

const Directory* Directory::first() noexcept { return firstDirectory; }

void Directory::enter() noexcept {
  if (entered_) return;
  entered_ = true;
  next_ = const_cast<Directory*>(firstDirectory);
  firstDirectory = this;
}

void Directory::leave() noexcept {
  if (!entered_) return;
  const Directory** at = &firstDirectory;
  while (*at != this) at = const_cast<const Directory**>(&const_cast<Directory*>(*at)->next_);
  *at = next_;
}

}  // namespace Tovo
