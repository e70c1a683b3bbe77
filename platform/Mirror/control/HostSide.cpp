#include "Mirror/control/HostSide.h"

#include <utility>

#include "Mirror/control/PeerText.h"
#include "Mirror/control/RequestCost.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

namespace Tovo::NboAttrLog {

HostSide::HostSide(Directory& directory, StreamAdapter& log, ControlSender& control,
                   size_t mostRequestBytes)
    : directory_(directory),
      log_(log),
      control_(control),
      mostRequestBytes_(mostRequestBytes),
      mounts_(directory, log.numbers()),
      teller_(directory, control) {}

void HostSide::servesIs(bool serves, bool writable, std::string whyReadOnly) {
  serves_ = serves;
  writable_ = writable;
  whyReadOnly_ = std::move(whyReadOnly);
}

void HostSide::refuse(std::string_view reason) {
  ++refused_;
  control_.send(Control::refused, Beyond::answers, reason);
}

void HostSide::forget() noexcept {
  mounts_.clear();
  teller_.forget();
  gone_.clear();
  mountRequests_.clear();
  requestBytes_ = 0;
}

// ----------------------------------------------------------------------------------------- mounts

// The request is answered at once where nothing else waits, else when there is room for answers.
void HostSide::handleMount(In& in) {
  auto [path, readOnly] = Control::mount.read(in);
  MountRequest request{std::move(path), readOnly};
  if (gone_.empty() && mountRequests_.empty() && control_.hasRoomToAnswer()) {
    return answerMount(request);
  }
  const size_t cost = requestCost(request.path);
  if (requestBytes_ + cost > mostRequestBytes_) {
    throw EndingException(Ending::unread, "the peer does not read the answers to what it asks");
  }
  requestBytes_ += cost;
  mountRequests_.push_back(std::move(request));
}

void HostSide::answer() {
  // A mount whose entity is not there any more ends: both ends stop to carry it, and the peer is
  // told.
  mounts_.takeLost([&](const HostMounts::Lost& lost) {
    gone_.push_back({lost.path, lost.wasRoot});
    if (Entity* const entity = log_.numbers().entity(lost.id)) log_.carrier().release(*entity);
  });
  tellGone();
  teller_.tell(serves_);
  if (mountRequests_.empty() || !gone_.empty()) return;
  // References that waited for an entity that is mounted now are resolved, and observers told.
  log_.turn().run([&] {
    while (!mountRequests_.empty() && control_.hasRoomToAnswer()) {
      const MountRequest request = std::move(mountRequests_.front());
      mountRequests_.pop_front();
      requestBytes_ -= requestCost(request.path);
      answerMount(request);
    }
  });
}

void HostSide::tellGone() {
  while (!gone_.empty() && control_.hasRoomToAnswer()) {
    const Gone& gone = gone_.front();
    const char* const why = gone.wasRoot ? " is not mounted any more" : " has been deleted";
    const std::string reason = peerText(gone.path) + why;
    if (!control_.send(Control::unmounted, Beyond::nothing, gone.path, reason)) return;
    gone_.pop_front();
  }
}

void HostSide::refuseMount(const std::string& path, std::string_view reason) {
  ++refused_;
  control_.send(Control::unmounted, Beyond::answers, path, reason);
}

void HostSide::answerMount(const MountRequest& request) {
  const std::string& path = request.path;
  if (!serves_) return refuseMount(path, "nothing is served here");
  // A path that is mounted already goes on as it is.
  if (mounts_.contains(path)) return refuse(peerText(path) + " is mounted already");
  PathTarget target;
  try {
    target = resolvePath(directory_, path);
  } catch (const std::exception& error) {
    return refuseMount(path, peerText(error.what()));
  }
  if (target.attribute) {
    return refuseMount(path, peerText(path) + " is not an entity; it cannot be mounted");
  }
  if (log_.numbers().of(*target.entity).id != 0) {
    return refuseMount(path, peerText(path) + " is mirrored already, under another path");
  }
  mountHere(request, *target.entity);
}

void HostSide::mountHere(const MountRequest& request, Entity& entity) {
  const std::string& path = request.path;
  const auto root = directory_.mountAbove(path);
  const std::string_view why =
      writable_ ? directory_.whyReadOnly(root->first) : std::string_view(whyReadOnly_);
  const bool readOnly = request.readOnly || !writable_ || !why.empty();
  if (readOnly && !request.readOnly) control_.send(Control::readOnly, Beyond::answers, path, why);
  const uint32_t id = log_.carrier().carry(entity, {MountSide::host, readOnly}, 0);
  ++everMounted_;
  mounts_.add(path, entity, id, readOnly);
  control_.send(Control::mounted, Beyond::answers, path, readOnly, typeName(entity.tovoType()), id,
                entity);
  log_.sender().turnIsDue();
}

// ------------------------------------------------------------------------------------------ roots

void HostSide::handleCreate(In& in) {
  const auto [path, type] = Control::create.read(in);
  try {
    if (!takesRoots()) throw PathException("nothing can be created here");
    directory_.newEntity(path, type);
  } catch (const std::exception& error) {
    refuse(peerText(error.what()));
  }
}

void HostSide::handleCreateWith(In& in) {
  auto [path, name, rest] = Control::createWith.read(in);
  const TovoTypeBase type = typeByName(name);
  if (!type || !entityHooks(type)) {
    return refuse("there is no entity type '" + peerText(name) + "'");
  }
  const ConstructorValues values(type, rest);
  rest.expectEnd();
  try {
    if (!takesRoots()) throw PathException("nothing can be created here");
    directory_.mount(path, entityHooks(type)->create(values.arguments()));
  } catch (const std::exception& error) {
    refuse(peerText(error.what()));
  }
}

void HostSide::handleRemove(In& in) {
  const auto [path] = Control::remove.read(in);
  if (!takesRoots()) return refuse("nothing can be removed here");
  const Pelmo::Ptr<Entity> root = directory_.unmount(path);
  if (!root) return refuse("no root is mounted at '" + peerText(path) + "'");
  keepForTurn(root.get());
}

}  // namespace Tovo::NboAttrLog
