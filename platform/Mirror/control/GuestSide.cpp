#include "Mirror/control/GuestSide.h"

#include <utility>

#include "Mirror/control/Mounted.h"
#include "Mirror/control/PeerText.h"
#include "Mirror/control/RequestCost.h"
#include "Tovo/Module.h"

namespace Tovo::NboAttrLog {

namespace {

// Bytes of requests to mount that wait for answers: half of what a peer holds at most.
constexpr size_t askedAtOnce = 512 * 1024;

}  // namespace

GuestSide::GuestSide(Directory& directory, StreamAdapter& log, ControlSender& control,
                     Requests& requests, size_t mostListBytes)
    : directory_(directory),
      log_(log),
      control_(control),
      requests_(requests),
      roots_(control, mostListBytes) {}

template <class Tell>
void GuestSide::tell(const Tell& tell) {
  if (observer_) log_.turn().callOut([&] { tell(*observer_); });
}

// --------------------------------------------------------------------------------------- requests

void GuestSide::mount(std::string_view path, bool readOnly) {
  if (asked_.contains(path) || mounts_.contains(path)) return;
  asked_.emplace(path, Asked{readOnly, 0});
  toAsk_.emplace_back(path);
  readOnlyReasons_.erase(std::string(path));
  requests_.made();
  askQueued();
}

bool GuestSide::hasToAsk() const noexcept { return !toAsk_.empty() && askedBytes_ < askedAtOnce; }

// The peer holds the requests that it has not answered, so it is asked for a part at a time.
void GuestSide::askQueued() {
  while (hasToAsk()) {
    const std::string& path = toAsk_.front();
    Asked& asked = asked_.find(path)->second;
    if (!control_.send(Control::mount, Beyond::any, path, asked.readOnly)) return;
    asked.bytes = requestCost(path);
    askedBytes_ += asked.bytes;
    toAsk_.pop_front();
  }
}

// The path, where it was asked for and the peer has not answered.
GuestSide::AskedMounts::iterator GuestSide::findAsked(std::string_view path) noexcept {
  const auto asked = asked_.find(path);
  return asked != asked_.end() && asked->second.bytes > 0 ? asked : asked_.end();
}

void GuestSide::answered(AskedMounts::iterator asked) noexcept {
  askedBytes_ -= asked->second.bytes;
  asked_.erase(asked);
}

void GuestSide::create(std::string_view path, std::string_view typeName) {
  requests_.made();
  control_.send(Control::create, Beyond::any, path, typeName);
}

void GuestSide::create(std::string_view path, const Entity& like) {
  requests_.made();
  control_.send(Control::createWith, Beyond::any, path, typeName(like.tovoType()), like);
}

void GuestSide::remove(std::string_view path) {
  requests_.made();
  control_.send(Control::remove, Beyond::any, path);
}

// ---------------------------------------------------------------------------------------- answers

void GuestSide::handleMounted(In& in) try {
  Mounted mounted(in, "the peer");
  const auto asked = findAsked(mounted.path);
  if (asked == asked_.end()) {
    throw StreamException("the peer mounts " + peerText(mounted.path) +
                          ", which was not asked for");
  }
  mounted.readOnly = mounted.readOnly || asked->second.readOnly;
  answered(asked);
  const Pelmo::Ptr<Entity> before(directory_.mounted(mounted.path));
  const Liveness::Watch watch(log_.turn().liveness());
  try {
    mountHere(mounted, before.get());
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
  requests_.refusedIs(unknown.what());
  tell([&](GuestObserver& observer) { observer.mountEnded(unknown.path(), unknown.what()); });
}

void GuestSide::mountHere(const Mounted& mounted, const Entity* before) {
  const Pelmo::Ptr<Entity> entity = mounted.bind(log_, directory_);
  if (entity.get() != before) ++filling_;
  ++everMounted_;
  mounts_.insert_or_assign(
      mounted.path, Mirrored{log_.numbers().received(mounted.number), turns_, mounted.readOnly});
  ++syncing_;
  tell([&](GuestObserver& observer) { observer.mountBegan(mounted.path, *entity); });
}

void GuestSide::handleUnmounted(In& in) {
  const auto values = Control::unmounted.read(in);
  const std::string& path = std::get<0>(values);
  const std::string reason = peerText(std::get<1>(values));
  const auto tellEnded = [&] {
    tell([&](GuestObserver& observer) { observer.mountEnded(path, reason); });
  };
  if (const auto asked = findAsked(path); asked != asked_.end()) {
    answered(asked);
    requests_.refusedIs(reason);
    return tellEnded();
  }
  const auto mount = mounts_.find(path);
  if (mount == mounts_.end()) {
    throw StreamException("the peer unmounts " + peerText(path) +
                          ", which is not mounted from there");
  }
  const Pelmo::Ptr<Entity> root(log_.numbers().entity(mount->second.id));
  if (mount->second.turn == turns_) --syncing_;
  mounts_.erase(mount);
  if (root) {
    keepForTurn(root.get());
    log_.carrier().release(*root);
    if (directory_.mounted(path) == root.get()) directory_.unmount(path);
  }
  tellEnded();
}

void GuestSide::handleReadOnly(In& in) {
  const auto [path, reason] = Control::readOnly.read(in);
  if (findAsked(path) == asked_.end()) {
    throw StreamException("the peer mounts " + peerText(path) + ", which was not asked for");
  }
  readOnlyReasons_.insert_or_assign(path, peerText(reason));
}

void GuestSide::handleRoot(In& in) {
  const RemoteRoots::Change change = roots_.handleRoot(in);
  tell([&](GuestObserver& observer) { observer.remoteMountChanged(change.path, change.mounted); });
}

void GuestSide::turnEnds() noexcept {
  ++turns_;
  filling_ = 0;
  synced_ += std::exchange(syncing_, 0);
}

// ------------------------------------------------------------------------------------------ state

GuestSide::State GuestSide::state(std::string_view path) const noexcept {
  if (asked_.contains(path)) return State::asked;
  const auto mount = mounts_.find(path);
  if (mount == mounts_.end()) return State::none;
  return mount->second.turn == turns_ ? State::open : State::complete;
}

std::string_view GuestSide::whyReadOnly(std::string_view path) const noexcept {
  const auto reason = readOnlyReasons_.find(path);
  return reason == readOnlyReasons_.end() ? std::string_view() : reason->second;
}

void GuestSide::forget() noexcept {
  mounts_.clear();
  toAsk_.clear();
}

}  // namespace Tovo::NboAttrLog
