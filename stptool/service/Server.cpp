#include "stptool/service/Server.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "stptool/json/Json.h"
#include "stptool/text/Output.h"

namespace stptool {

using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::Ending;

namespace {

// How long new clients wait for a descriptor before the server looks again.
constexpr int exhaustedMilliseconds = 200;

}  // namespace

Server::Server(Tovo::Directory& directory, ServerOptions options)
    : directory_(directory),
      options_(std::move(options)),
      socket_(options_.socket, options_.mode) {}

void Server::run(const StopSignals& signals) {
  std::vector<pollfd> fds;
  for (;;) {
    tickClients();
    dropClosed();
    fds.clear();
    // While descriptors are short, the waiting client would make every wait return at once.
    fds.push_back({socket_.fd(), static_cast<short>(exhausted_ ? 0 : POLLIN), 0});
    for (const Client& client : clients_) {
      const bool writes = client.connection->wantsWrite();
      fds.push_back(
          {client.connection->readFd(), static_cast<short>(POLLIN | (writes ? POLLOUT : 0)), 0});
    }
    if (!signals.poll(fds, untilDue())) return;
    size_t at = 1;
    for (Client& client : clients_) {
      const short events = fds[at++].revents;
      if (events != 0) serveClient(client, events);
    }
    dropClosed();
    if (exhausted_ || fds[0].revents != 0) acceptClients();
  }
}

// How long to wait for the sockets, in milliseconds; -1: until one of them is ready.
int Server::untilDue() const {
  const auto now = Connection::Clock::now();
  int wait = exhausted_ ? exhaustedMilliseconds : -1;
  for (const Client& client : clients_) {
    const auto due = client.connection->due();
    if (!due) continue;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(*due, now) - now);
    const auto milliseconds = static_cast<int>(left.count());
    wait = wait < 0 ? milliseconds : std::min(wait, milliseconds);
  }
  return wait;
}

void Server::tickClients() {
  const auto now = Connection::Clock::now();
  for (Client& client : clients_) client.connection->tick(now);
}

void Server::acceptClients() {
  for (;;) {
    const bool wasExhausted = exhausted_;
    const int fd = socket_.accept(exhausted_);
    if (fd < 0) {
      if (exhausted_ && !wasExhausted) {
        complain(socket_.path() + ": no descriptor is left; new clients wait");
      }
      return;
    }
    ++clientsSeen_;
    try {
      addClient(fd);
    } catch (const std::exception& error) {
      complain("client " + std::to_string(clientsSeen_) + ": " + error.what());
    }
  }
}

void Server::addClient(int fd) {
  std::unique_ptr<Connection> connection;
  try {
    connection = std::make_unique<Connection>(fd, directory_);
  } catch (...) {
    ::close(fd);
    throw;
  }
  const auto nobody = static_cast<uid_t>(-1);
  const PeerCredentials peer =
      peerCredentials(fd).value_or(PeerCredentials{0, nobody, static_cast<gid_t>(-1), {}});
  const bool mayWrite = options_.writeAccess.allows(peer);
  if (!mayWrite) connection->servesIs(true, false, options_.writeAccess.refusal(peer));
  connection->statusProviderIs([this] { return status(); });
  clients_.push_back(
      {clientsSeen_, peer, mayWrite, Connection::Clock::now(), std::move(connection)});
}

void Server::serveClient(Client& client, short events) {
  Connection& connection = *client.connection;
  try {
    if ((events & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0) connection.handleReadable();
    if (!connection.closed() && (events & POLLOUT) != 0) connection.flush();
  } catch (const std::exception& error) {
    try {
      connection.close(error.what());
    } catch (const std::exception&) {
      // It could not even be told; destroying it closes the descriptor.
      client.connection.reset();
      complain("client " + std::to_string(client.number) + ": " + error.what());
    }
  }
}

void Server::dropClosed() {
  for (auto it = clients_.begin(); it != clients_.end();) {
    const Connection* connection = it->connection.get();
    if (connection && !connection->closed()) {
      ++it;
      continue;
    }
    const Ending ending = connection ? connection->ending() : Ending::failed;
    ++ended_[static_cast<size_t>(ending)];
    if (connection) refused_ += connection->figures().refused;
    if (connection && ending != Ending::peerGone) {
      complain("client " + std::to_string(it->number) + ": " + connection->closeReason());
    }
    it = clients_.erase(it);
  }
}

// ----------------------------------------------------------------------------------------- status

std::string Server::status() const {
  using Seconds = std::chrono::duration<double>;
  const auto now = Connection::Clock::now();
  Json connections = Json::array();
  uint64_t refused = refused_;
  for (const Client& client : clients_) {
    if (!client.connection) continue;
    const Connection::Figures figures = client.connection->figures();
    Json mounts = Json::array();
    for (const Connection::MountFigures& mount : figures.mounts) {
      mounts.push_back({{"path", mount.path}, {"readOnly", mount.readOnly}});
    }
    refused += figures.refused;
    Json one = Json::object();
    one["number"] = client.number;
    one["pid"] = client.peer.pid;
    one["uid"] = client.peer.uid;
    one["gid"] = client.peer.gid;
    one["mayWrite"] = client.mayWrite;
    one["seconds"] = Seconds(now - client.since).count();
    one["mounts"] = std::move(mounts);
    one["entities"] = figures.entities;
    one["flows"] = figures.flows;
    one["dirtyAttributes"] = figures.dirty.attributes;
    one["dirtyKeys"] = figures.dirty.keys;
    one["bytesHeld"] = figures.bytesHeld;
    one["bytesWaiting"] = figures.bytesWaiting;
    one["messagesIn"] = figures.messages.messagesReceived;
    one["messagesOut"] = figures.messages.messagesSent;
    one["bytesIn"] = figures.bytesReceived;
    one["bytesOut"] = figures.bytesSent;
    one["turnsIn"] = figures.turnsReceived;
    one["turnsOut"] = figures.turnsSent;
    one["unknownAttributes"] = figures.messages.unknownAttributes;
    one["unknownEntities"] = figures.messages.unknownEntities;
    one["refused"] = figures.refused;
    connections.push_back(std::move(one));
  }
  Json closed = Json::object();
  for (size_t i = 0; i < ended_.size(); ++i) {
    if (ended_[i] != 0) {
      closed[Tovo::NboAttrLog::endingName(static_cast<Ending>(i))] = ended_[i];
    }
  }
  Json status = Json::object();
  status["socket"] = options_.socket;
  status["pid"] = ::getpid();
  status["seconds"] = Seconds(now - since_).count();
  status["roots"] = directory_.mounts().size();
  status["accepted"] = clientsSeen_;
  status["refused"] = refused;
  status["closed"] = std::move(closed);
  status["connections"] = std::move(connections);
  return status.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace stptool
