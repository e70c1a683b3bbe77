#include "stptool/session/ClientSession.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <set>
#include <vector>

#include "Mirror/wire/DescriptorStream.h"
#include "Mirror/wire/UnixStream.h"
#include "Tovo/Module.h"
#include "stptool/output/Failure.h"
#include "stptool/output/Output.h"
#include "stptool/text/Suggest.h"

namespace stptool {

using Tovo::NboAttrLog::connectUnixStream;
using Tovo::NboAttrLog::DescriptorStream;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkState;
using Tovo::NboAttrLog::Stream;

namespace {

// Whether an entity of the type, or one below it, can hold a reference.
bool canRefer(Tovo::TovoTypeBase type, std::set<const Tovo::TypeDescriptor*>& seen) {
  if (!seen.insert(&Tovo::typeDescriptor(type)).second) return false;
  bool refers = false;
  Tovo::forEachAttribute(type, [&](Tovo::Attribute attribute) {
    switch (attribute.kind()) {
      case Tovo::AttributeKind::pointer:
      case Tovo::AttributeKind::refCollection:
        refers = true;
        break;
      case Tovo::AttributeKind::ownCollection:
        refers = refers || canRefer(attribute.type(), seen);
        break;
      default:
        break;
    }
  });
  return refers;
}

bool isKnown(const std::string& typeName) {
  const Tovo::TovoTypeBase type = Tovo::typeByName(typeName);
  return type && Tovo::entityHooks(type);
}

std::string unknownTypeText(const std::string& path, const std::string& type) {
  return path + ": is a " + type + ", which no model library here describes";
}

bool canRefer(const std::string& typeName) {
  const Tovo::TovoTypeBase type = Tovo::typeByName(typeName);
  std::set<const Tovo::TypeDescriptor*> seen;
  return type && canRefer(type, seen);
}

constexpr int absentMilliseconds = 20;  // between two looks for a server that is to come

bool isAbsent(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::connection_refused;
}

// poll(); false when a signal came that had not come before.
bool waitFor(std::span<pollfd> fds, int milliseconds) {
  const service::StopSignals* const signals = service::StopSignals::current();
  if (!signals) {
    ::poll(fds.data(), fds.size(), milliseconds);
    return true;
  }
  const int before = signals->count();
  signals->poll(fds, milliseconds);
  return signals->count() == before;
}

}  // namespace

ClientSession::ClientSession(const SessionOptions& options)
    : options_(options),
      absentUntil_(Link::Clock::now() + std::chrono::ceil<Link::Clock::duration>(
                                            std::chrono::duration<double>(options.connectTimeout))),
      link_([this] { return makeStream(); }, directory_) {
  std::signal(SIGPIPE, SIG_IGN);
  link_.observerIs(this);
  try {
    connect();
    link_.connection()->guest().roots().follow();
    list();
  } catch (const Failure& failure) {
    throw Failure(failure.what(), ExitCode::cannotConnect);
  }
}

// Only the first stream is waited for; later ones are made by a link that tries again by itself.
std::unique_ptr<Stream> ClientSession::makeStream() const {
  for (;;) {
    try {
      return std::make_unique<DescriptorStream>(connectUnixStream(options_.socket));
    } catch (const std::system_error& error) {
      if (!isAbsent(error.code()) || Link::Clock::now() >= absentUntil_) throw;
    }
    if (!waitFor({}, absentMilliseconds)) throw Interrupted(options_.socket);
  }
}

void ClientSession::connect() {
  if (options_.socket.empty()) throw Failure("the path of the socket is empty");
  // A server with a long queue is one to try again; others are not there.
  const auto busy = [&] {
    return isLost() && link_.error() == std::errc::resource_unavailable_try_again;
  };
  const auto settled = [&] {
    return isLost() ? !busy() : link_.connection() && link_.connection()->incoming().greeted();
  };
  runUntil(settled);
  if (link_.error()) {
    throw Failure(link_.reason() +
                  (isAbsent(link_.error()) ? "; is 'stptool serve' running?" : ""));
  }
  await(settled, "greeting");
}

bool ClientSession::isLost() const noexcept {
  return link_.state() == LinkState::waiting || link_.state() == LinkState::refused;
}

void ClientSession::await(const std::function<bool()>& done, const char* what) {
  const auto ended = [&] { return isLost() || done(); };
  const bool answered = !isLost() && runUntil(ended);
  if (isLost()) throw Failure(options_.socket + ": the connection has ended: " + link_.reason());
  if (!answered) {
    throw Failure(options_.socket + ": no " + what + " within " +
                  std::to_string(timeoutMilliseconds()) + " ms");
  }
}

// Until the link has something to do; false when a signal came.
bool ClientSession::wait(int milliseconds) {
  if (const auto due = link_.due()) {
    const auto now = Link::Clock::now();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(*due, now) - now);
    const auto most = milliseconds < 0 ? left : std::chrono::milliseconds(milliseconds);
    milliseconds = static_cast<int>(std::min(left, most).count());
  }
  std::array<pollfd, 2> fds = link_.pollFds();
  return waitFor(fds, milliseconds);
}

// False when the server's time is over.
bool ClientSession::runUntil(const std::function<bool()>& done) {
  const auto end = Link::Clock::now() + std::chrono::milliseconds(timeoutMilliseconds());
  for (;;) {
    const auto now = Link::Clock::now();
    link_.handle(now);
    if (done()) return true;
    if (now >= end) return false;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
    if (!wait(static_cast<int>(left.count()))) throw Interrupted(options_.socket);
  }
}

int ClientSession::timeoutMilliseconds() const { return static_cast<int>(options_.timeout * 1000); }

void ClientSession::checkRefusals() {
  const std::vector<std::string>& refusals = link_.connection()->guest().refusals();
  if (refusalsSeen_ == refusals.size()) return;
  const std::string& refusal = refusals[refusalsSeen_];
  refusalsSeen_ = refusals.size();
  throw Failure(options_.socket + ": the server refuses: " + refusal);
}

void ClientSession::checkAccess(const std::string& path, Access access) {
  if (access == Access::read) return;
  const std::string_view why = link_.connection()->guest().whyReadOnly(path);
  if (!why.empty()) throw Failure(path + ": is mounted read-only: " + std::string(why));
}

void ClientSession::list() {
  const uint32_t before = link_.connection()->guest().roots().listings();
  link_.connection()->guest().roots().ask();
  await([&] { return link_.connection()->guest().roots().listings() > before; },
        "list of what is mounted");
}

const ClientSession::RemoteMounts& ClientSession::remoteMounts() {
  return link_.connection()->guest().roots().all();
}

// At the path or above it; no segment of a mount has a bracket.
ClientSession::RemoteMounts::const_iterator ClientSession::mountOf(std::string_view path) {
  const RemoteMounts& mounts = remoteMounts();
  for (size_t end = 0; end < path.size();) {
    end = std::min(path.find_first_of("/[", end + 1), path.size());
    const auto mount = mounts.find(path.substr(0, end));
    if (mount != mounts.end()) return mount;
  }
  return mounts.end();
}

bool ClientSession::isServed(std::string_view path) {
  return mountOf(path) != remoteMounts().end();
}

void ClientSession::mirror(std::string_view path, Access access) {
  const auto mount = mountOf(path);
  if (mount == remoteMounts().end()) {
    std::vector<std::string> known;
    std::string all;
    for (const auto& [other, type] : remoteMounts()) {
      known.push_back(other);
      all += (all.empty() ? "; mounted: " : ", ") + other;
    }
    const std::string hint = suggestion(path, known);
    throw Failure(std::string(path) + ": nothing is mounted there" +
                      (!hint.empty() ? hint
                       : all.empty() ? "; the server has nothing mounted"
                                     : all),
                  {.path = std::string(path), .suggestion = nearest(path, known)});
  }
  const auto [root, type] = *mount;  // a copy: the list changes
  if (!isKnown(type)) {
    throw Failure(unknownTypeText(root, type) + "; --library loads one",
                  {.path = root, .value = type});
  }
  const bool refers = canRefer(type);
  mirrorEntity(root, access);
  checkAccess(root, access);
  // What it refers to is looked at and not written, and need not be writable.
  if (refers) mirrorAll(Access::read);
}

void ClientSession::mirrorOnly(const std::string& path) { mirrorEntity(path, Access::read); }

void ClientSession::mirrorEntity(const std::string& path, Access access) {
  link_.mount(path, access == Access::read);
  await(
      [&] {
        return link_.isMirrored(path) ||
               link_.connection()->guest().refusals().size() > refusalsSeen_;
      },
      "tree");
  checkRefusals();
}

void ClientSession::mirrorAll(Access access) {
  link_.mountAll(access == Access::read);
  await([&] { return link_.state() == LinkState::synced; }, "tree");
  // A root that went before it could be mirrored is refused, and is none of them any more.
  const bool whole = std::all_of(
      remoteMounts().begin(), remoteMounts().end(),
      [&](const auto& mount) { return link_.isMirrored(mount.first) || !isKnown(mount.second); });
  if (!whole) checkRefusals();
  refusalsSeen_ = link_.connection()->guest().refusals().size();
  for (const auto& [path, type] : remoteMounts()) checkAccess(path, access);
}

void ClientSession::mirrorOrAll(std::string_view path, Access access) {
  if (path.empty() || path == "/") {
    mirrorAll(access);
  } else {
    mirror(path, access);
  }
}

void ClientSession::createRoot(const std::string& path, const Tovo::Entity& like) {
  link_.connection()->guest().create(path, like);
  sync();
}

void ClientSession::removeRoot(const std::string& path) {
  link_.connection()->guest().remove(path);
  sync();
}

std::string ClientSession::status() {
  const uint32_t before = link_.connection()->questions().statuses();
  link_.connection()->questions().askStatus();
  await(
      [&] {
        return link_.connection()->questions().statuses() > before ||
               link_.connection()->guest().refusals().size() > refusalsSeen_;
      },
      "status");
  checkRefusals();
  return link_.connection()->questions().remoteStatus();
}

void ClientSession::demandConnection() {
  if (!isLost() && link_.connection()) return;
  throw Failure(options_.socket + ": the connection has ended: " + link_.reason());
}

void ClientSession::sync() {
  demandConnection();
  const uint32_t number = link_.connection()->questions().ping();
  await([&] { return link_.connection()->questions().pongs() >= number; }, "answer");
  checkRefusals();
}

// --------------------------------------------------------------------------------- across losses

void ClientSession::follow(RootHandler newRoot) { newRoot_ = std::move(newRoot); }

bool ClientSession::work(const service::StopSignals& signals, int milliseconds) {
  if (!wait(milliseconds) || signals.came()) return false;
  link_.handle(Link::Clock::now());
  return true;
}

bool ClientSession::catchUp(const service::StopSignals& signals) {
  const int before = signals.count();
  std::optional<uint32_t> ping;  // sent when all of the trees have arrived
  const auto done = [&] {
    if (isLost() || signals.count() != before) return true;
    if (link_.state() != LinkState::synced) return false;
    if (!ping) ping = link_.connection()->questions().ping();
    return link_.connection()->questions().pongs() >= *ping;
  };
  const auto end = Link::Clock::now() + std::chrono::milliseconds(timeoutMilliseconds());
  while (!done() && Link::Clock::now() < end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Link::Clock::now());
    wait(static_cast<int>(std::max<int64_t>(left.count(), 0)));
    link_.handle(Link::Clock::now());
  }
  return ping && !isLost() && link_.connection()->questions().pongs() >= *ping;
}

void ClientSession::handleLinkState(Link& link) {
  if (!newRoot_) return;
  if (isLost()) {
    // Tries that fail in the same way are not told again.
    const bool first = told_.empty();
    if (!first && (link.state() == LinkState::waiting || told_ == link.reason())) return;
    told_ = link.reason();
    complain(options_.socket + ": the connection has ended: " + told_ +
             "; it is made again when the server is back");
  } else if (link.state() == LinkState::synced && !told_.empty()) {
    told_.clear();
    complain(options_.socket + ": connected again; the mirror is up to date");
  }
}

void ClientSession::handleMounted(Link&, const std::string&, Tovo::Entity& root, bool isNew) {
  if (isNew && newRoot_) newRoot_(root);
}

void ClientSession::handleUnmounted(Link&, const std::string& path, const std::string& reason) {
  if (newRoot_) complain(path + ": is not mirrored any more: " + reason);
}

void ClientSession::handleLeftOut(Link&, const std::string& path, const std::string& type) {
  complain(unknownTypeText(path, type) + "; it is left out");
}

}  // namespace stptool
