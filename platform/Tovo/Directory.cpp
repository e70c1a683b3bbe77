#include "Tovo/Directory.h"

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

bool isBelow(std::string_view path, std::string_view above) noexcept {
  return path.size() > above.size() && path.starts_with(above) && path[above.size()] == '/';
}

}  // namespace

Directory::~Directory() {
  leave();
  // A root may end here, and those who hear of it may still mount and unmount.
  while (!mounts_.empty()) const Mounts ending = std::exchange(mounts_, {});
}

void Directory::mount(std::string_view path, const Pelmo::Ptr<Entity>& entity) {
  checkPath(path);
  if (!entity) throw PathException("nothing to mount at '" + std::string(path) + "'");
  for (const auto& [other, root] : mounts_) {
    if (other == path || isBelow(path, other) || isBelow(other, path)) {
      throw PathException("'" + std::string(path) + "' cannot be mounted: '" + other + "' is a " +
                          typeName(root->tovoType()) + " already");
    }
  }
  mounts_.emplace(std::string(path), entity);
  ++changes_;
  enter();
}

Pelmo::Ptr<Entity> Directory::unmount(std::string_view path) {
  const auto it = mounts_.find(path);
  if (it == mounts_.end()) return nullptr;
  Pelmo::Ptr<Entity> entity = std::move(it->second);
  mounts_.erase(it);
  ++changes_;
  return entity;
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

const std::string* Directory::mountPath(const Entity& entity) const noexcept {
  for (const auto& [path, root] : mounts_) {
    if (root.get() == &entity) return &path;
  }
  return nullptr;
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
