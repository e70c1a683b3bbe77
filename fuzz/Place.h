// A process with a directory: the origin of some trees, or a mirror of the place above it, by a
// connection or by a link.
#pragma once

#include <poll.h>

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "Mirror/Connection.h"
#include "Mirror/Link.h"
#include "Mirror/wire/DescriptorStream.h"
#include "Tovo/Directory.h"
#include "fuzz/Ends.h"
#include "fuzz/Hand.h"

namespace fuzz {

struct Place {
  using Connection = Tovo::NboAttrLog::Connection;
  using Link = Tovo::NboAttrLog::Link;

  Place* above = nullptr;
  bool readOnly = true;
  Tovo::NboAttrLog::Limits limits;
  Tovo::Directory directory;
  std::vector<Pelmo::Ptr<Tovo::Entity>> held;  // whatever else the process knows
  std::unique_ptr<Connection> server;          // in the place above
  std::unique_ptr<Connection> client;          // here
  std::unique_ptr<Link> link;                  // or this one
  bool meddled = false;                        // what was done here need not be as it is above

  Connection* connection() { return link ? link->connection() : client.get(); }

  Entities entities() const {
    Entities tops;
    for (const auto& [path, root] : directory.mounts()) tops.push_back(root.get());
    for (const auto& each : held) tops.push_back(each.get());
    Entities all;
    std::unordered_set<const Tovo::Entity*> known;
    for (Tovo::Entity* top : tops) {
      if (known.contains(top)) continue;
      const size_t before = all.size();
      addTree(all, *top);
      for (size_t i = before; i < all.size(); ++i) known.insert(all[i]);
    }
    return all;
  }

  void connect() {
    const Ends ends;
    server = std::make_unique<Connection>(ends.fds[0], above->directory, limits);
    client = std::make_unique<Connection>(ends.fds[1], directory, limits);
    for (const auto& [path, root] : above->directory.mounts())
      client->guest().mount(path, readOnly);
  }

  void linkUp(Tovo::NboAttrLog::LinkObserver& observer) {
    Tovo::NboAttrLog::LinkOptions options;
    options.limits = limits;
    options.seed = 1;
    link = std::make_unique<Link>(
        [this] {
          const Ends ends;
          server = std::make_unique<Connection>(ends.fds[0], above->directory, limits);
          return std::make_unique<Tovo::NboAttrLog::DescriptorStream>(ends.fds[1]);
        },
        directory, options);
    link->observerIs(&observer);
    link->mountAll(readOnly);
  }

  void drop() {
    link.reset();
    client.reset();
    server.reset();
  }

  // Any of these may be destroyed by an observer that it tells.
  void work(Link::Clock::time_point now) {
    if (server) server->handleReadable();
    if (server) server->flush();
    if (link) link->handle(now);
    if (client) client->handleReadable();
    if (client) client->flush();
  }

  bool isBusy() { return isBusy(server.get()) || isBusy(connection()); }

  // Parts of a tree, which stand where the tree is to be mounted.
  void unmountParts() {
    std::vector<std::string> parts;
    for (const auto& [path, root] : directory.mounts()) {
      if (path.rfind('/') != 0) parts.push_back(path);
    }
    for (const std::string& path : parts) directory.unmount(path);
  }

 private:
  static bool isBusy(const Connection* connection) {
    if (!connection || connection->closed()) return false;
    pollfd ready{connection->readFd(), POLLIN, 0};
    return connection->wantsWrite() || (ready.fd >= 0 && ::poll(&ready, 1, 0) > 0);
  }
};

}  // namespace fuzz
