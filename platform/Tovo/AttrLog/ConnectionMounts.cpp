// What is mounted over a connection: requests of this side, and answers to the peer's.
#include <algorithm>
#include <utility>

#include "Tovo/AttrLog/Connection.h"
#include "Tovo/AttrLog/Control.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

namespace Tovo::NboAttrLog {

void Connection::askMounts() {
  asksMounts_ = true;
  sendControl(Control::askMounts, 0, [](Out&) {});
}

void Connection::followMounts() {
  asksMounts_ = true;
  sendControl(Control::followMounts, 0, [](Out&) {});
}

void Connection::sendMounts() {
  mountsTold_ = directory_.changes();
  size_t size = 4;
  const auto& mounts = directory_.mounts();
  const uint32_t count = serves_ ? static_cast<uint32_t>(mounts.size()) : 0;
  if (serves_) {
    for (const auto& [path, entity] : mounts) {
      size += textSize(path) + textSize(typeName(entity->tovoType()));
    }
  }
  sendControl(Control::mounts, size, [&](Out& out) {
    out << count;
    if (!serves_) return;
    for (const auto& [path, entity] : mounts) {
      writeText(out, path);
      writeText(out, typeName(entity->tovoType()));
    }
  });
}

void Connection::mount(std::string_view path, bool readOnly) {
  asked_.insert_or_assign(std::string(path), readOnly);
  readOnlyReasons_.erase(std::string(path));
  ++requests_;
  sendControl(Control::mount, textSize(path) + 1, [&](Out& out) {
    writeText(out, path);
    out << readOnly;
  });
}

void Connection::handleMountRequest(In& in) {
  const Pelmo::String path = in.nextString();
  const bool askedReadOnly = in.nextbool();
  const bool readOnly = askedReadOnly || !writable_;
  in.expectEnd();
  const auto refuseMount = [&](std::string_view reason) {
    ++refused_;
    sendPathText(Control::unmounted, path, reason);
  };
  if (!serves_) return refuseMount("nothing is served here");
  PathTarget target;
  try {
    target = resolvePath(directory_, path);
  } catch (const std::exception& error) {
    return refuseMount(printable(error.what()));
  }
  if (target.attribute)
    return refuseMount(printable(path) + " is not an entity; it cannot be mounted");
  Entity& entity = *target.entity;
  if (entityId(entity) != 0) return refuseMount(printable(path) + " is mounted already");
  if (readOnly && !askedReadOnly) sendPathText(Control::readOnly, path, whyReadOnly_);
  const uint32_t id = bind(entity, {MountSide::host, readOnly}, 0);
  ++roots_;
  if (hostMounts_.empty()) directorySeen_ = directory_.changes();
  const bool isRoot = directory_.mounted(path) == &entity;
  hostMounts_.push_back({std::string(path.view()), id, isRoot, readOnly});
  hostsElements_ = hostsElements_ || !isRoot;
  const char* type = typeName(entity.tovoType());
  const EntityHooks& hooks = *entityHooks(entity.tovoType());
  const size_t size = textSize(path) + 1 + textSize(type) + 4 + hooks.attrLogSizeCtorParams(entity);
  sendControl(Control::mounted, size, [&](Out& out) {
    writeText(out, path);
    out << readOnly;
    writeText(out, type);
    out << id;
    hooks.serializeConstructorParams(out, entity);
  });
  turnOpen_ = true;
}

// Whether a mount of the peer's still leads to where it did.
bool Connection::isHosted(uint32_t id, std::string_view path) const noexcept {
  const Entity* top = entity(id);
  if (!top) return false;
  while (const Entity* above = top->parent()) top = above;
  const std::string* root = directory_.mountPath(*top);
  return root && path.starts_with(*root);
}

bool Connection::hostedHasGone() const noexcept {
  if (hostMounts_.empty()) return false;
  const bool changed = directorySeen_ != directory_.changes();
  if (!changed && !hostsElements_) return false;
  return std::any_of(hostMounts_.begin(), hostMounts_.end(), [&](const HostMount& mount) {
    return (changed || !mount.isRoot) && !isHosted(mount.id, mount.path);
  });
}

// What the peer mirrors and is not there any more.
void Connection::sendUnmounted() {
  if (hostedHasGone()) {
    std::vector<HostMount> gone;
    std::erase_if(hostMounts_, [&](const HostMount& mount) {
      if (isHosted(mount.id, mount.path)) return false;
      gone.push_back(mount);
      return true;
    });
    for (const HostMount& mount : gone) {
      if (Entity* root = entity(mount.id)) unbindTree(*root);
      sendPathText(Control::unmounted, mount.path,
                   printable(mount.path) +
                       (mount.isRoot ? " is not mounted any more" : " has been deleted"));
    }
    hostsElements_ = std::any_of(hostMounts_.begin(), hostMounts_.end(),
                                 [](const HostMount& mount) { return !mount.isRoot; });
  }
  directorySeen_ = directory_.changes();
}

void Connection::sendPathText(AttributeId id, std::string_view path, std::string_view text) {
  sendControl(id, textSize(path) + textSize(text), [&](Out& out) {
    writeText(out, path);
    writeText(out, text);
  });
}

void Connection::handleMounted(In& in) try {
  Mounted mounted(in, "the peer");
  const auto asked = asked_.find(mounted.path);
  if (asked == asked_.end()) {
    throw StreamException("the peer mounts " + printable(mounted.path) +
                          ", which was not asked for");
  }
  mounted.readOnly = mounted.readOnly || asked->second;
  const Pelmo::Ptr<Entity> before(directory_.mounted(mounted.path));
  const Liveness::Watch watch(liveness_);
  asked_.erase(asked);
  try {
    const Pelmo::Ptr<Entity> entity = mounted.bind(*this, directory_);
    if (entity != before) ++filling_;
    ++roots_;
    guestMounts_.insert_or_assign(mounted.path,
                                  GuestMount{received(mounted.number), false, mounted.readOnly});
    callOut([&] { mountBegan(mounted.path, *entity); });
  } catch (...) {
    if (watch.gone()) throw;
    // Nobody would look after a tree that was mounted for a connection that ends.
    const Entity* now = directory_.mounted(mounted.path);
    if (now && now != before.get()) directory_.unmount(mounted.path);
    throw;
  }
} catch (const UnknownTypeException& unknown) {
  // What follows of it is about entities that are not known here either, and is skipped.
  if (asked_.erase(unknown.path()) == 0) throw;
  refusals_.emplace_back(unknown.what());
  mountEnded(unknown.path(), unknown.what());
}

void Connection::handleUnmounted(In& in) {
  const std::string path(in.nextString().view());
  const std::string reason = printable(in.nextString());
  in.expectEnd();
  if (const auto asked = asked_.find(path); asked != asked_.end()) {
    asked_.erase(asked);
    refusals_.push_back(reason);
    return callOut([&] { mountEnded(path, reason); });
  }
  const auto mount = guestMounts_.find(path);
  if (mount == guestMounts_.end()) {
    throw StreamException("the peer unmounts " + printable(path) +
                          ", which is not mounted from there");
  }
  const Pelmo::Ptr<Entity> root(entity(mount->second.id));
  guestMounts_.erase(mount);
  if (root) {
    keepForTurn(root.get());
    unbindTree(*root);
    if (directory_.mounted(path) == root.get()) directory_.unmount(path);
  }
  callOut([&] { mountEnded(path, reason); });
}

void Connection::handleReadOnly(In& in) {
  const Pelmo::String path = in.nextString();
  const std::string reason = printable(in.nextString());
  in.expectEnd();
  if (!asked_.contains(path.view())) {
    throw StreamException("the peer mounts " + printable(path) + ", which was not asked for");
  }
  readOnlyReasons_.insert_or_assign(std::string(path.view()), reason);
}

void Connection::completeMounts() {
  for (auto& [path, mount] : guestMounts_) {
    if (!std::exchange(mount.complete, true)) ++synced_;
  }
}

Connection::MountState Connection::mountState(std::string_view path) const noexcept {
  if (asked_.contains(path)) return MountState::asked;
  const auto mount = guestMounts_.find(path);
  if (mount == guestMounts_.end()) return MountState::none;
  return mount->second.complete ? MountState::complete : MountState::open;
}

std::string_view Connection::whyReadOnly(std::string_view path) const noexcept {
  const auto reason = readOnlyReasons_.find(path);
  return reason == readOnlyReasons_.end() ? std::string_view() : reason->second;
}

void Connection::mountBegan(const std::string&, Entity&) {}
void Connection::mountEnded(const std::string&, const std::string&) {}

void Connection::create(std::string_view path, std::string_view typeName) {
  ++requests_;
  sendControl(Control::create, textSize(path) + textSize(typeName), [&](Out& out) {
    writeText(out, path);
    writeText(out, typeName);
  });
}

void Connection::handleCreate(In& in) {
  const Pelmo::String path = in.nextString();
  const Pelmo::String type = in.nextString();
  in.expectEnd();
  try {
    if (!serves_ || !writable_) throw PathException("nothing can be created here");
    directory_.newEntity(path, type);
  } catch (const std::exception& error) {
    refuse(printable(error.what()));
  }
}

void Connection::create(std::string_view path, const Entity& like) {
  ++requests_;
  const char* type = typeName(like.tovoType());
  const size_t size = textSize(path) + textSize(type) + ConstructorValues::attrLogSize(like);
  sendControl(Control::createWith, size, [&](Out& out) {
    writeText(out, path);
    writeText(out, type);
    ConstructorValues::write(out, like);
  });
}

void Connection::handleCreateWith(In& in) {
  const Pelmo::String path = in.nextString();
  const Pelmo::String name = in.nextString();
  const TovoTypeBase type = typeByName(name);
  if (!type || !entityHooks(type)) {
    return refuse("there is no entity type '" + printable(name) + "'");
  }
  const ConstructorValues values(type, in);
  in.expectEnd();
  try {
    if (!serves_ || !writable_) throw PathException("nothing can be created here");
    directory_.mount(path, entityHooks(type)->create(values.arguments()));
  } catch (const std::exception& error) {
    refuse(printable(error.what()));
  }
}

void Connection::remove(std::string_view path) {
  ++requests_;
  sendText(Control::remove, path);
}

void Connection::handleRemove(In& in) {
  const Pelmo::String path = in.nextString();
  in.expectEnd();
  if (!serves_ || !writable_) return refuse("nothing can be removed here");
  const Pelmo::Ptr<Entity> root = directory_.unmount(path);
  if (!root) return refuse("no root is mounted at '" + printable(path) + "'");
  keepForTurn(root.get());
}

void Connection::refuse(std::string_view reason) {
  ++refused_;
  sendText(Control::refused, reason);
}

}  // namespace Tovo::NboAttrLog
