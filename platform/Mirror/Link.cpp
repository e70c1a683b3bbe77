#include "Mirror/Link.h"

#include <algorithm>
#include <iterator>
#include <thread>
#include <utility>
#include <vector>

#include "Mirror/control/Mounted.h"
#include "Mirror/wire/DescriptorStream.h"
#include "Mirror/wire/UnixStream.h"

namespace Tovo::NboAttrLog {

const char* linkStateName(LinkState state) noexcept {
  static constexpr const char* names[] = {"connecting", "greeting", "syncing",
                                          "synced",     "waiting",  "refused"};
  static_assert(std::size(names) == static_cast<size_t>(LinkState::refused) + 1);
  return names[static_cast<size_t>(state)];
}

void LinkObserver::handleMounted(Link&, const std::string&, Entity&, bool) {}
void LinkObserver::handleUnmounted(Link&, const std::string&, const std::string&) {}
void LinkObserver::handleLeftOut(Link&, const std::string&, const std::string&) {}

Link::Link(Connect connect, Directory& directory, LinkOptions options)
    : connect_(std::move(connect)),
      directory_(directory),
      options_(options),
      random_(static_cast<uint32_t>(options.seed != 0 ? options.seed : std::random_device()())) {}

Link::Link(const std::string& socket, Directory& directory, LinkOptions options)
    : Link([socket] { return std::make_unique<DescriptorStream>(connectUnixStream(socket)); },
           directory, options) {}

// The mirrors go last: their observers still find all else in its place.
Link::~Link() {
  observer_ = nullptr;
  std::unique_ptr<Connection>(std::move(peer_)).reset();
  const auto last = std::exchange(wanted_, {});
}

// ---------------------------------------------------------------------------------------- the loop

std::array<pollfd, 2> Link::pollFds() const noexcept {
  pollfd reads{-1, POLLIN, 0};
  pollfd writes{-1, POLLOUT, 0};
  if (peer_) {
    reads.fd = peer_->readFd();
    if (peer_->wantsWrite()) writes.fd = peer_->writeFd();
  } else if (stream_) {
    writes.fd = stream_->writeFd();
  }
  return {reads, writes};
}

std::optional<Link::Clock::time_point> Link::due() const noexcept {
  if (!peer_) return due_;
  std::optional<Clock::time_point> first = peer_->due();
  if (due_ != Clock::time_point::max()) first = first ? std::min(*first, due_) : due_;
  return first;
}

std::optional<Link::Clock::time_point> Link::nextTry() const noexcept {
  if (state_ != LinkState::waiting && state_ != LinkState::refused) return std::nullopt;
  return due_;
}

Connection* Link::connection() noexcept { return peer_.get(); }

void Link::handle(Clock::time_point now) {
  if (handling_) return;
  struct Handling {
    Link& link;
    Liveness::Watch watch{link.liveness_};
    explicit Handling(Link& handled) : link(handled) { link.handling_ = true; }
    ~Handling() {
      if (!watch.gone()) link.handling_ = false;
    }
  } const handling(*this);
  const Liveness::Watch& watch = handling.watch;
  now_ = now;
  try {
    if (!peer_ && !stream_ && now_ >= due_) begin();
    if (!watch.gone() && stream_) finishConnecting();
    if (!watch.gone() && peer_) serve();
  } catch (const std::exception& failure) {
    if (!watch.gone()) lost(Ending::failed, failure.what());
  } catch (...) {
    if (!watch.gone()) lost(Ending::failed, "an observer threw");
  }
}

bool Link::runUntil(const std::function<bool()>& done, int timeoutMilliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(timeoutMilliseconds);
  const Liveness::Watch watch(liveness_);
  for (;;) {
    const auto now = Clock::now();
    handle(now);
    if (done()) return true;
    if (watch.gone() || handling_ || Turn::anyOpen() || now >= end) return false;
    const auto until = std::clamp(due().value_or(end), now, end);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now);
    if (peer_) {
      peer_->wait(left);
    } else if (stream_) {
      stream_->wait(true, left);
    } else {
      std::this_thread::sleep_for(left);
    }
  }
}

void Link::begin() {
  error_.clear();
  const Liveness::Watch watch(liveness_);
  const Connect connect = connect_;  // it may destroy the link
  std::unique_ptr<Stream> made;
  try {
    made = connect();
  } catch (const std::exception& failure) {
    if (watch.gone()) return;
    if (const auto* system = dynamic_cast<const std::system_error*>(&failure)) {
      error_ = system->code();
    }
    return lost(Ending::system, failure.what());
  }
  if (watch.gone()) return;
  stream_ = std::move(made);
  due_ = now_ + options_.connectTime;
  stateIs(LinkState::connecting);
}

void Link::finishConnecting() {
  try {
    if (!stream_->isConnected()) {
      if (now_ < due_) return;
      return lost(Ending::system,
                  "no connection within " + std::to_string(options_.connectTime.count()) + " ms");
    }
  } catch (const std::system_error& failure) {
    error_ = failure.code();
    return lost(Ending::system, failure.what());
  }
  peer_ = std::make_unique<Connection>(std::move(stream_), directory_, options_.limits);
  peer_->host().servesIs(options_.serves, options_.writable);
  peer_->guest().observerIs(this);
  due_ = Clock::time_point::max();
  listingsSeen_ = 0;
  listing_ = false;
  for (auto& [path, wanted] : wanted_) {
    wantIs(wanted, Want::asked);
    peer_->guest().mount(path, wanted.readOnly);
  }
  if (allReadOnly_) listMounts();
  stateIs(LinkState::greeting);
}

void Link::serve() {
  const Liveness::Watch watch(liveness_);
  peer_->tick(now_);
  if (!watch.gone()) peer_->handleReadable();
  if (!watch.gone()) follow();
  if (watch.gone()) return;
  if (now_ >= due_) probe();
  peer_->flush();
  if (!watch.gone() && peer_->closed()) lost(peer_->ending(), peer_->closeReason());
}

// What the connection has learnt, as the state of this link.
void Link::follow() {
  if (peer_->closed() || !peer_->incoming().greeted()) return;
  if (state_ == LinkState::greeting) ++connections_;
  if (allReadOnly_ && peer_->guest().roots().listings() > listingsSeen_) {
    listing_ = false;
    listingsSeen_ = peer_->guest().roots().listings();
    const Liveness::Watch watch(liveness_);
    mountListed();
    if (watch.gone()) return;
  }
  const bool listed = !listing_ || state_ == LinkState::synced;
  const bool complete = listed && counted(Want::asked) == 0 && peer_->guest().syncing() == 0;
  const bool again = allReadOnly_ || counted(Want::missing) > 0;
  if (again && due_ == Clock::time_point::max()) due_ = now_ + jittered(options_.longestWait);
  if (complete && state_ != LinkState::synced) syncedSince_ = now_;
  stateIs(complete ? LinkState::synced : LinkState::syncing);
}

void Link::listMounts() {
  listing_ = true;
  listingsSeen_ = peer_->guest().roots().listings();
  peer_->guest().roots().follow();
  peer_->guest().roots().ask();
}

void Link::mountListed() {
  for (auto at = wanted_.begin(); at != wanted_.end();) forgetGone(at++);
  std::erase_if(leftOut_,
                [&](const auto& path) { return !peer_->guest().roots().all().contains(path); });
  // A copy: who is told may replace the list.
  const RemoteRoots::Roots listed = peer_->guest().roots().all();
  const Liveness::Watch watch(liveness_);
  for (const auto& [path, type] : listed) {
    wantListed(path, type);
    if (watch.gone()) return;
  }
}

void Link::wantListed(const std::string& path, const std::string& type) {
  if (isKnownEntityType(type)) return want(path, *allReadOnly_, false);
  if (!leftOut_.insert(path).second || !observer_) return;
  // The observer may destroy the link, and what the peer listed with it.
  observer_->handleLeftOut(*this, std::string(path), std::string(type));
}

// Asks the peer again for what it did not have.
void Link::probe() {
  due_ = Clock::time_point::max();
  if (peer_->closed()) return;
  for (auto& [path, wanted] : wanted_) {
    if (wanted.want != Want::missing) continue;
    wantIs(wanted, Want::probing);
    peer_->guest().mount(path, wanted.readOnly);
  }
  if (allReadOnly_ && !listing_) listMounts();
}

void Link::lost(Ending ending, std::string reason) {
  const bool wasGreeted = peer_ && peer_->incoming().greeted();
  stream_.reset();
  // Mirrors may end with the connection, and their observers destroy the link.
  const Liveness::Watch watch(liveness_);
  std::unique_ptr<Connection>(std::move(peer_)).reset();
  if (watch.gone()) return;
  ending_ = ending;
  reason_ = std::move(reason);
  if (!wasGreeted) ++failures_;
  const bool differs = ending == Ending::difference;
  const bool held = state_ == LinkState::synced && now_ - syncedSince_ >= wait_;
  if (differs) {
    wait_ = options_.longestWait;
  } else if (held || wait_.count() == 0) {
    wait_ = options_.firstWait;
  } else {
    wait_ = std::min(2 * wait_, options_.longestWait);
  }
  due_ = now_ + jittered(wait_);
  stateIs(differs ? LinkState::refused : LinkState::waiting);
}

std::chrono::milliseconds Link::jittered(std::chrono::milliseconds wait) {
  const auto half = wait.count() / 2;
  return std::chrono::milliseconds(
      std::uniform_int_distribution<std::chrono::milliseconds::rep>(half, wait.count())(random_));
}

void Link::stateIs(LinkState state) {
  // The observer is told of each loss, also when the one before led to the same state.
  const bool waits = state == LinkState::waiting || state == LinkState::refused;
  if (std::exchange(state_, state) == state && !waits) return;
  if (observer_) observer_->handleLinkState(*this);
}

// -------------------------------------------------------------------------------- what is mirrored

void Link::mount(std::string_view path, bool readOnly) { want(path, readOnly, true); }

void Link::want(std::string_view path, bool readOnly, bool byName) {
  const auto [at, isNew] = wanted_.try_emplace(std::string(path), Wanted{readOnly, byName, {}, {}});
  at->second.byName |= byName;
  // The peer may have by now what it did not have when it was asked last.
  const bool isMissing = !isNew && at->second.want == Want::missing;
  if (isNew) ++counted(Want::asked);
  if ((!isNew && !isMissing) || !peer_ || peer_->closed()) return;
  if (isMissing) wantIs(at->second, Want::probing);
  peer_->guest().mount(path, readOnly);
  if (isNew && state_ == LinkState::synced) stateIs(LinkState::syncing);
}

void Link::wantIs(Wanted& wanted, Want want) noexcept {
  --counted(wanted.want);
  ++counted(want);
  wanted.want = want;
}

void Link::mountAll(bool readOnly) {
  allReadOnly_ = readOnly;
  if (!peer_ || peer_->closed() || listing_) return;
  listMounts();
  if (state_ == LinkState::synced) stateIs(LinkState::syncing);
}

bool Link::isMirrored(std::string_view path) const noexcept {
  const auto wanted = wanted_.find(path);
  return peer_ && wanted != wanted_.end() && wanted->second.want == Want::mirrored &&
         peer_->guest().state(path) == GuestSide::State::complete;
}

void Link::mountBegan(const std::string& path, Entity& entity) {
  const auto at = wanted_.find(path);
  if (at == wanted_.end()) return;
  wantIs(at->second, Want::mirrored);
  const bool isNew = at->second.entity.get() != &entity;
  at->second.entity = Pelmo::Ptr<Entity>(&entity);
  if (observer_) observer_->handleMounted(*this, path, entity, isNew);
}

void Link::mountEnded(const std::string& path, const std::string& reason) {
  const auto at = wanted_.find(path);
  if (at == wanted_.end()) return;
  const bool known = at->second.want == Want::probing;
  const Pelmo::Ptr<Entity> entity = std::exchange(at->second.entity, nullptr);
  wantIs(at->second, Want::missing);
  forgetGone(at);
  if (entity && directory_.mounted(path) == entity.get()) directory_.unmount(path);
  if (!known && observer_) observer_->handleUnmounted(*this, path, reason);
}

void Link::remoteMountChanged(const std::string& path, bool mounted) {
  if (!allReadOnly_) return;
  const auto at = wanted_.find(path);
  if (at != wanted_.end() && at->second.want == Want::missing && !at->second.byName) forget(at);
  if (mounted) {
    wantListed(path, peer_->guest().roots().all().at(path));
  } else {
    leftOut_.erase(path);
  }
}

// A path that was mirrored because the peer had it, and not by its name, is forgotten when the peer
// does not have it any more.
void Link::forgetGone(AllWanted::iterator at) {
  if (at->second.want != Want::missing || at->second.byName) return;
  if (!peer_ || !peer_->guest().roots().all().contains(at->first)) forget(at);
}

void Link::forget(AllWanted::iterator at) {
  --counted(at->second.want);
  wanted_.erase(at);
}

}  // namespace Tovo::NboAttrLog
