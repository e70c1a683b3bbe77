#include "stptool/session/ClientSession.h"

#include <csignal>
#include <set>
#include <vector>

#include "Tovo/Module.h"
#include "stptool/Failure.h"
#include "stptool/session/UnixSocket.h"
#include "stptool/text/Suggest.h"

namespace stptool {

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

bool canRefer(const std::string& typeName) {
  const Tovo::TovoTypeBase type = Tovo::typeByName(typeName);
  std::set<const Tovo::TypeDescriptor*> seen;
  return type && canRefer(type, seen);
}

}  // namespace

ClientSession::ClientSession(const SessionOptions& options) : options_(options) {
  std::signal(SIGPIPE, SIG_IGN);
  connection_ =
      std::make_unique<Tovo::NboAttrLog::Connection>(connectTo(options.socket), directory_);
  // A guest has nothing to offer.
  connection_->servesIs(false, false);
  try {
    await([&] { return connection_->greeted(); }, "greeting");
    list();
  } catch (const Failure& failure) {
    throw Failure(failure.what(), ExitCode::cannotConnect);
  }
}

void ClientSession::await(const std::function<bool()>& done, const char* what) {
  const auto timeout = static_cast<int>(options_.timeout * 1000);
  if (connection_->runUntil(done, timeout)) return;
  if (connection_->closed()) {
    throw Failure(options_.socket + ": the connection has ended: " + connection_->closeReason());
  }
  throw Failure(options_.socket + ": no " + what + " within " + std::to_string(timeout) + " ms");
}

void ClientSession::checkRefusals() {
  const std::vector<std::string>& refusals = connection_->refusals();
  if (refusalsSeen_ == refusals.size()) return;
  const std::string& refusal = refusals[refusalsSeen_];
  refusalsSeen_ = refusals.size();
  throw Failure(options_.socket + ": the server refuses: " + refusal);
}

void ClientSession::list() {
  const uint32_t before = connection_->listings();
  connection_->askMounts();
  await([&] { return connection_->listings() > before; }, "list of what is mounted");
}

const ClientSession::RemoteMount* ClientSession::mountOf(std::string_view path) const {
  for (const RemoteMount& mount : connection_->remoteMounts()) {
    if (!path.starts_with(mount.path)) continue;
    const std::string_view rest = path.substr(mount.path.size());
    if (rest.empty() || rest.front() == '/' || rest.front() == '[') return &mount;
  }
  return nullptr;
}

bool ClientSession::isServed(std::string_view path) const { return mountOf(path) != nullptr; }

void ClientSession::mirror(std::string_view path, Access access) {
  const RemoteMount* mount = mountOf(path);
  if (!mount) {
    std::vector<std::string> known;
    std::string all;
    for (const RemoteMount& other : connection_->remoteMounts()) {
      known.push_back(other.path);
      all += (all.empty() ? "; mounted: " : ", ") + other.path;
    }
    const std::string hint = suggestion(path, known);
    throw Failure(std::string(path) + ": nothing is mounted there" +
                  (!hint.empty() ? hint
                   : all.empty() ? "; the server has nothing mounted"
                                 : all));
  }
  if (canRefer(mount->type)) {
    mirrorAll(access);
  } else {
    mirrorRoot(*mount, access);
  }
}

void ClientSession::mirrorAll(Access access) {
  // A copy: the list is replaced while answers arrive.
  const std::vector<RemoteMount> mounts = connection_->remoteMounts();
  for (const RemoteMount& mount : mounts) {
    if (!directory_.mounted(mount.path)) mirrorRoot(mount, access);
  }
}

void ClientSession::mirrorOrAll(std::string_view path, Access access) {
  if (path.empty() || path == "/") {
    mirrorAll(access);
  } else {
    mirror(path, access);
  }
}

void ClientSession::mirrorRoot(const RemoteMount& mount, Access access) {
  const uint32_t before = connection_->synced();
  connection_->mount(mount.path, access == Access::read);
  await(
      [&] {
        return connection_->synced() > before || connection_->refusals().size() > refusalsSeen_;
      },
      "tree");
  checkRefusals();
}

void ClientSession::createRoot(const std::string& path, const std::string& type) {
  connection_->create(path, type);
  sync();
  list();
}

void ClientSession::sync() {
  const uint32_t number = connection_->ping();
  await([&] { return connection_->pongs() >= number; }, "answer");
  checkRefusals();
}

}  // namespace stptool
