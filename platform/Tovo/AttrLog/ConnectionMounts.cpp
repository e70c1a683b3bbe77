// What is mounted over a connection: requests of this side, and answers to the peer's.
#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "Tovo/AttrLog/Connection.h"
#include "Tovo/AttrLog/Control.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

namespace Tovo::NboAttrLog {

namespace {

// Of one part of a list of mounts, about.
constexpr size_t listedAtOnce = 16 * 1024;
// Of requests to mount that wait for answers: half of what a peer holds at most.
constexpr size_t askedAtOnce = 512 * 1024;

// What a request that waits counts, at both ends.
size_t costOf(const std::string& path) noexcept { return 64 + path.size(); }

}  // namespace

// ------------------------------------------------------------------------- what can be mounted

void Connection::askMounts() {
  ++listingsAsked_;
  sendControl(Control::askMounts, 0, Beyond::any, [](Out&) {});
}

void Connection::followMounts() {
  followsMounts_ = true;
  sendControl(Control::followMounts, 0, Beyond::any, [](Out&) {});
}

void Connection::answer() {
  findGone();
  tellGone();
  tellChanges();
  sendListing();
  if (mountRequests_.empty() || !gone_.empty()) return;
  // What waited for what is mounted is resolved and told.
  inTurn([&] {
    while (!mountRequests_.empty() && roomToAnswer()) {
      const MountRequest request = std::move(mountRequests_.front());
      mountRequests_.pop_front();
      requestBytes_ -= costOf(request.path);
      answerMount(request);
    }
  });
}

// One by one while it is known which roots they were, or else the whole list.
void Connection::tellChanges() {
  while (owesChanges() && listingsOwed_ == 0 && roomToAnswer()) {
    const std::string* const path = directory_.changedPath(mountsTold_ + 1);
    if (!path) {
      ++listingsOwed_;
    } else if (!serves_ || tellChange(*path)) {
      ++mountsTold_;
    } else {
      return;
    }
  }
}

bool Connection::tellChange(const std::string& path) {
  const Entity* const root = directory_.mounted(path);
  return sendPathText(Control::root, Beyond::nothing, path, root ? typeName(root->tovoType()) : "");
}

// In parts, each as large as there is room for; it goes on behind the last path of the last part.
void Connection::sendListing() {
  while (listingsOwed_ > 0 && roomToAnswer()) {
    const Directory::Mounts& mounts = directory_.mounts();
    if (!listedTo_) listedSince_ = directory_.changes();
    auto from = listedTo_ ? mounts.upper_bound(*listedTo_) : mounts.begin();
    if (!serves_) from = mounts.end();
    size_t bytes = 0;
    auto to = from;
    while (to != mounts.end() && bytes < listedAtOnce) {
      bytes += to->first.size() + sizeof(uint64_t);
      ++to;
    }
    if (!sendListed(from, to)) return;
    if (to != mounts.end()) {
      listedTo_ = std::prev(to)->first;
      continue;
    }
    listedTo_.reset();
    --listingsOwed_;
    mountsTold_ = listedSince_;
  }
}

bool Connection::sendListed(Directory::Mounts::const_iterator from,
                            Directory::Mounts::const_iterator to) {
  size_t size = sizeof(uint32_t);
  uint32_t count = 0;
  for (auto at = from; at != to; ++at, ++count) {
    size += textSize(at->first) + textSize(typeName(at->second->tovoType()));
  }
  const bool isLast = to == directory_.mounts().end();
  return sendControl(isLast ? Control::mounts : Control::someMounts, size, Beyond::answers,
                     [&](Out& out) {
                       out << count;
                       for (auto at = from; at != to; ++at) {
                         writeText(out, at->first);
                         writeText(out, typeName(at->second->tovoType()));
                       }
                     });
}

void Connection::handleRemoteMounts(In& in, bool isWhole) {
  const size_t bytes = in.remaining();
  const uint32_t count = in.nextCount(2 * sizeof(uint32_t));
  std::vector<std::pair<std::string, std::string>> mounts;
  for (uint32_t i = 0; i < count; ++i) {
    std::string path(in.nextString().view());
    mounts.emplace_back(std::move(path), in.nextString().view());
  }
  in.expectEnd();
  if (listings_ == listingsAsked_ && !followsMounts_) {
    throw StreamException("a list of mounts that was not asked for");
  }
  listedBytes_ += bytes;
  if (listedBytes_ > limits_.turnBytes) {
    throw EndingException(Ending::turnSize, "a list of mounts of more than " +
                                                std::to_string(limits_.turnBytes) + " bytes");
  }
  for (auto& [path, type] : mounts) listed_.insert_or_assign(std::move(path), std::move(type));
  if (!isWhole) return;
  remoteMounts_ = std::exchange(listed_, {});
  listedBytes_ = 0;
  ++listings_;
}

void Connection::handleRemoteMount(In& in) {
  std::string path(in.nextString().view());
  std::string type(in.nextString().view());
  in.expectEnd();
  if (!followsMounts_) throw StreamException("a root of the peer, which are not followed");
  const bool mounted = !type.empty();
  if (mounted) {
    remoteMounts_.insert_or_assign(path, std::move(type));
  } else {
    remoteMounts_.erase(path);
  }
  callOut([&] { remoteMountChanged(path, mounted); });
}

void Connection::remoteMountChanged(const std::string&, bool) {}

// ----------------------------------------------------------------------------- the peer's mounts

// At once where nothing else waits; else when there is room for the answer, as which it is held.
void Connection::handleMountRequest(In& in) {
  MountRequest request{std::string(in.nextString().view()), in.nextbool()};
  in.expectEnd();
  if (gone_.empty() && mountRequests_.empty() && roomToAnswer()) return answerMount(request);
  if (requestBytes_ + costOf(request.path) > limits_.requestsBytes) {
    throw EndingException(Ending::unread, "the peer does not read the answers to what it asks");
  }
  requestBytes_ += costOf(request.path);
  mountRequests_.push_back(std::move(request));
}

void Connection::answerMount(const MountRequest& request) {
  const std::string& path = request.path;
  const auto refuseMount = [&](std::string_view reason) {
    ++refused_;
    sendPathText(Control::unmounted, Beyond::answers, path, reason);
  };
  if (!serves_) return refuseMount("nothing is served here");
  // What is mounted goes on as it is.
  if (hostRoots_.contains(path) || hostElements_.contains(path)) {
    return refuse(printable(path) + " is mounted already");
  }
  PathTarget target;
  try {
    target = resolvePath(directory_, path);
  } catch (const std::exception& error) {
    return refuseMount(printable(error.what()));
  }
  if (target.attribute)
    return refuseMount(printable(path) + " is not an entity; it cannot be mounted");
  if (entityId(*target.entity) != 0) {
    return refuseMount(printable(path) + " is mirrored already, under another path");
  }
  mountHere(request, *target.entity);
}

void Connection::mountHere(const MountRequest& request, Entity& entity) {
  const std::string& path = request.path;
  const auto root = directory_.mountAbove(path);
  const std::string_view why =
      writable_ ? directory_.whyReadOnly(root->first) : std::string_view(whyReadOnly_);
  const bool readOnly = request.readOnly || !writable_ || !why.empty();
  if (readOnly && !request.readOnly) {
    sendPathText(Control::readOnly, Beyond::answers, path, why);
  }
  const uint32_t id = bind(entity, {MountSide::host, readOnly}, 0);
  ++roots_;
  HostMounts& mounts = directory_.mounted(path) == &entity ? hostRoots_ : hostElements_;
  mounts.emplace(path, HostMount{id, readOnly});
  writableMounts_ += readOnly ? 0 : 1;
  const char* type = typeName(entity.tovoType());
  const EntityHooks& hooks = *entityHooks(entity.tovoType());
  const size_t size = textSize(path) + 1 + textSize(type) + 4 + hooks.attrLogSizeCtorParams(entity);
  sendControl(Control::mounted, size, Beyond::answers, [&](Out& out) {
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
  const auto root = directory_.mountAbove(path);
  return root != directory_.mounts().end() && root->second.get() == top;
}

bool Connection::hostedMayHaveGone() const noexcept {
  if (directorySeen_ != directory_.changes() && !hostRoots_.empty()) return true;
  return std::any_of(hostElements_.begin(), hostElements_.end(),
                     [&](const auto& mount) { return !isHosted(mount.second.id, mount.first); });
}

// What the peer mirrors and is not there any more: both ends stop to carry it, and the peer is
// told.
void Connection::findGone() {
  const uint64_t now = directory_.changes();
  if (hostRoots_.empty()) directorySeen_ = now;
  if (now - directorySeen_ > hostRoots_.size() || !directory_.changedPath(directorySeen_ + 1)) {
    for (auto at = hostRoots_.begin(); directorySeen_ != now && at != hostRoots_.end();) {
      findGone((at++)->first);
    }
  } else {
    while (directorySeen_ != now) findGone(*directory_.changedPath(++directorySeen_));
  }
  directorySeen_ = now;
  for (auto at = hostElements_.begin(); at != hostElements_.end();) findGone((at++)->first);
}

void Connection::findGone(const std::string& path) {
  for (HostMounts* mounts : {&hostRoots_, &hostElements_}) {
    const auto at = mounts->find(path);
    if (at == mounts->end() || isHosted(at->second.id, path)) continue;
    gone_.push_back({path, mounts == &hostRoots_});
    writableMounts_ -= at->second.readOnly ? 0 : 1;
    const uint32_t id = at->second.id;
    mounts->erase(at);
    if (Entity* const root = entity(id)) unbindTree(*root);
    return;
  }
}

void Connection::tellGone() {
  while (!gone_.empty() && roomToAnswer()) {
    const Gone& gone = gone_.front();
    const char* const why = gone.wasRoot ? " is not mounted any more" : " has been deleted";
    if (!sendPathText(Control::unmounted, Beyond::nothing, gone.path, printable(gone.path) + why)) {
      return;
    }
    gone_.pop_front();
  }
}

bool Connection::sendPathText(AttributeId id, Beyond beyond, std::string_view path,
                              std::string_view text) {
  return sendControl(id, textSize(path) + textSize(text), beyond, [&](Out& out) {
    writeText(out, path);
    writeText(out, text);
  });
}

// ------------------------------------------------------------------------------------ own mounts

void Connection::mount(std::string_view path, bool readOnly) {
  if (asked_.contains(path) || guestMounts_.contains(path)) return;
  asked_.emplace(path, Asked{readOnly, 0});
  toAsk_.emplace_back(path);
  readOnlyReasons_.erase(std::string(path));
  ++requests_;
  askQueuedMounts();
}

bool Connection::mayAsk() const noexcept { return !toAsk_.empty() && askedBytes_ < askedAtOnce; }

// The peer holds what it has not answered, so it is asked for a part at a time.
void Connection::askQueuedMounts() {
  while (mayAsk()) {
    const std::string& path = toAsk_.front();
    const auto asked = asked_.find(path);
    const bool sent = sendControl(Control::mount, textSize(path) + 1, Beyond::any, [&](Out& out) {
      writeText(out, path);
      out << asked->second.readOnly;
    });
    if (!sent) return;
    asked->second.bytes = costOf(path);
    askedBytes_ += asked->second.bytes;
    toAsk_.pop_front();
  }
}

// What was sent and waits for its answer.
Connection::AskedMounts::iterator Connection::findAsked(std::string_view path) noexcept {
  const auto asked = asked_.find(path);
  return asked != asked_.end() && asked->second.bytes > 0 ? asked : asked_.end();
}

void Connection::answered(AskedMounts::iterator asked) noexcept {
  askedBytes_ -= asked->second.bytes;
  asked_.erase(asked);
}

void Connection::handleMounted(In& in) try {
  Mounted mounted(in, "the peer");
  const auto asked = findAsked(mounted.path);
  if (asked == asked_.end()) {
    throw StreamException("the peer mounts " + printable(mounted.path) +
                          ", which was not asked for");
  }
  mounted.readOnly = mounted.readOnly || asked->second.readOnly;
  const Pelmo::Ptr<Entity> before(directory_.mounted(mounted.path));
  const Liveness::Watch watch(liveness_);
  answered(asked);
  try {
    const Pelmo::Ptr<Entity> entity = mounted.bind(*this, directory_);
    if (entity != before) ++filling_;
    ++roots_;
    guestMounts_.insert_or_assign(mounted.path,
                                  GuestMount{received(mounted.number), turns_, mounted.readOnly});
    ++syncing_;
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
  const auto asked = findAsked(unknown.path());
  if (asked == asked_.end()) throw;
  answered(asked);
  refusals_.emplace_back(unknown.what());
  callOut([&] { mountEnded(unknown.path(), unknown.what()); });
}

void Connection::handleUnmounted(In& in) {
  const std::string path(in.nextString().view());
  const std::string reason = printable(in.nextString());
  in.expectEnd();
  if (const auto asked = findAsked(path); asked != asked_.end()) {
    answered(asked);
    refusals_.push_back(reason);
    return callOut([&] { mountEnded(path, reason); });
  }
  const auto mount = guestMounts_.find(path);
  if (mount == guestMounts_.end()) {
    throw StreamException("the peer unmounts " + printable(path) +
                          ", which is not mounted from there");
  }
  const Pelmo::Ptr<Entity> root(entity(mount->second.id));
  if (!isComplete(mount->second)) --syncing_;
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
  if (findAsked(path.view()) == asked_.end()) {
    throw StreamException("the peer mounts " + printable(path) + ", which was not asked for");
  }
  readOnlyReasons_.insert_or_assign(std::string(path.view()), reason);
}

Connection::MountState Connection::mountState(std::string_view path) const noexcept {
  if (asked_.contains(path)) return MountState::asked;
  const auto mount = guestMounts_.find(path);
  if (mount == guestMounts_.end()) return MountState::none;
  return isComplete(mount->second) ? MountState::complete : MountState::open;
}

std::string_view Connection::whyReadOnly(std::string_view path) const noexcept {
  const auto reason = readOnlyReasons_.find(path);
  return reason == readOnlyReasons_.end() ? std::string_view() : reason->second;
}

void Connection::mountBegan(const std::string&, Entity&) {}
void Connection::mountEnded(const std::string&, const std::string&) {}

void Connection::create(std::string_view path, std::string_view typeName) {
  ++requests_;
  sendControl(Control::create, textSize(path) + textSize(typeName), Beyond::any, [&](Out& out) {
    writeText(out, path);
    writeText(out, typeName);
  });
}

void Connection::handleCreate(In& in) {
  const Pelmo::String path = in.nextString();
  const Pelmo::String type = in.nextString();
  in.expectEnd();
  try {
    if (!takesRoots()) throw PathException("nothing can be created here");
    directory_.newEntity(path, type);
  } catch (const std::exception& error) {
    refuse(printable(error.what()));
  }
}

void Connection::create(std::string_view path, const Entity& like) {
  ++requests_;
  const char* type = typeName(like.tovoType());
  const size_t size = textSize(path) + textSize(type) + ConstructorValues::attrLogSize(like);
  sendControl(Control::createWith, size, Beyond::any, [&](Out& out) {
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
    if (!takesRoots()) throw PathException("nothing can be created here");
    directory_.mount(path, entityHooks(type)->create(values.arguments()));
  } catch (const std::exception& error) {
    refuse(printable(error.what()));
  }
}

void Connection::remove(std::string_view path) {
  ++requests_;
  sendText(Control::remove, Beyond::any, path);
}

void Connection::handleRemove(In& in) {
  const Pelmo::String path = in.nextString();
  in.expectEnd();
  if (!takesRoots()) return refuse("nothing can be removed here");
  const Pelmo::Ptr<Entity> root = directory_.unmount(path);
  if (!root) return refuse("no root is mounted at '" + printable(path) + "'");
  keepForTurn(root.get());
}

void Connection::refuse(std::string_view reason) {
  ++refused_;
  sendText(Control::refused, Beyond::answers, reason);
}

}  // namespace Tovo::NboAttrLog
