#include "agents/service/Server.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace service {

using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::Ending;
using Tovo::NboAttrLog::Figures;
using Tovo::NboAttrLog::MountFigures;
using Json = nlohmann::ordered_json;

namespace {

// How long new clients wait for a descriptor before the server looks again.
constexpr int exhaustedMilliseconds = 200;
// New clients between two looks at those that are there: who connects without end holds up nobody.
constexpr int clientsAtOnce = 64;

// Beside those of the clients: standard streams, sockets, files, and some to spare.
constexpr size_t ownDescriptors = 64;

// The limit that a shell sets by default is below what the clients may need.
void allowDescriptors(size_t count) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= count) return;
  limit.rlim_cur = std::min<rlim_t>(count, limit.rlim_max);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

int newReserve() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

PeerCredentials peerOf(int fd) {
  const PeerCredentials nobody{0, static_cast<uid_t>(-1), static_cast<gid_t>(-1), {}};
  return peerCredentials(fd).value_or(nobody);
}

}  // namespace

Server::Server(Tovo::Directory& directory, std::vector<ListeningSocket> sockets,
               ServerOptions options, Log& log)
    : directory_(directory),
      options_(std::move(options)),
      sockets_(std::move(sockets)),
      log_(log),
      budget_("all clients", options_.clients.bytes),
      reserve_(newReserve()) {
  allowDescriptors(options_.clients.all + ownDescriptors);
}

Server::User::User(uid_t uid, size_t bytes, Tovo::NboAttrLog::Budget& all)
    : budget("uid " + std::to_string(uid), bytes, &all) {}

Server::~Server() {
  if (reserve_ >= 0) ::close(reserve_);
}

void Server::run(const StopSignals& signals) {
  std::vector<pollfd> fds;
  for (;;) {
    fds.clear();
    for (const ListeningSocket& socket : sockets_) {
      // While descriptors are short, the waiting client would make every wait return at once.
      fds.push_back({socket.fd(), static_cast<short>(exhausted_ ? 0 : POLLIN), 0});
    }
    for (const Client& client : clients_) {
      const bool writes = client.connection->wantsWrite();
      fds.push_back(
          {client.connection->readFd(), static_cast<short>(POLLIN | (writes ? POLLOUT : 0)), 0});
    }
    for (const Work* work : work_) fds.push_back({work->fd(), POLLIN, 0});
    if (!signals.poll(fds, untilDue())) return;
    size_t at = sockets_.size();
    for (Client& client : clients_) {
      const short events = fds[at++].revents;
      if (events != 0) serveClient(client, events);
    }
    // Behind the clients, so that what they have written is worked on in the same turn.
    if (handleWork(fds.data() + at)) flushClients();
    // Behind what has arrived: a process that was stopped for a while finds it all at once.
    tickClients();
    dropClosed();
    for (size_t i = 0; i < sockets_.size(); ++i) {
      if (exhausted_ || fds[i].revents != 0) acceptClients(sockets_[i]);
    }
  }
}

// How long to wait for the sockets, in milliseconds; -1: until one of them is ready.
int Server::untilDue() const {
  const auto now = Connection::Clock::now();
  int wait = exhausted_ ? exhaustedMilliseconds : -1;
  const auto until = [&](const std::optional<Connection::Clock::time_point>& due) {
    if (!due) return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(*due, now) - now);
    const auto milliseconds =
        static_cast<int>(std::min<int64_t>(left.count(), std::numeric_limits<int>::max()));
    wait = wait < 0 ? milliseconds : std::min(wait, milliseconds);
  };
  for (const Client& client : clients_) until(client.connection->due());
  for (const Work* work : work_) until(work->due());
  return wait;
}

// True when there was something to do.
bool Server::handleWork(const pollfd* ready) {
  bool worked = false;
  for (Work* work : work_) {
    const auto due = work->due();
    const auto now = Work::Clock::now();
    if ((ready++)->revents == 0 && (!due || *due > now)) continue;
    work->handle(now);
    worked = true;
  }
  return worked;
}

void Server::flushClients() {
  for (Client& client : clients_) {
    if (client.connection && client.connection->wantsWrite()) serveClient(client, POLLOUT);
  }
}

void Server::tickClients() {
  const auto now = Connection::Clock::now();
  for (Client& client : clients_) {
    if (client.connection) client.connection->tick(now);
  }
}

// ------------------------------------------------------------------------------------ new clients

void Server::acceptClients(const ListeningSocket& socket) {
  using Waiting = ListeningSocket::Waiting;
  Waiting waiting = Waiting::somebody;
  for (int i = 0; i < clientsAtOnce && waiting == Waiting::somebody; ++i) {
    int fd = socket.accept(waiting);
    const bool isLast = waiting == Waiting::unknown && reserve_ >= 0;
    if (isLast) {
      ::close(std::exchange(reserve_, -1));
      fd = socket.accept(waiting);
    }
    if (fd >= 0) admit(fd, isLast);
    if (reserve_ < 0) reserve_ = newReserve();
  }
  const bool wasExhausted = std::exchange(exhausted_, waiting == Waiting::unknown);
  if (exhausted_ && !wasExhausted) log_.line(socket.path() + ": cannot accept; new clients wait");
}

void Server::admit(int fd, bool isLast) {
  const uint64_t number = ++clientsSeen_;
  try {
    const PeerCredentials peer = peerOf(fd);
    std::unique_ptr<Connection> connection = connectionOf(fd);
    const std::string why = isLast ? "the server has no descriptor left" : whyNot(peer);
    if (why.empty()) return addClient(number, std::move(connection), peer);
    connection->close(why);
    turnedAway(number, why);
  } catch (const std::exception& error) {
    say(number, error.what());
  }
}

std::unique_ptr<Connection> Server::connectionOf(int fd) {
  try {
    return std::make_unique<Connection>(fd, directory_, options_.connection);
  } catch (...) {
    ::close(fd);
    throw;
  }
}

void Server::addClient(uint64_t number, std::unique_ptr<Connection> connection,
                       const PeerCredentials& peer) {
  const bool mayWrite = options_.writeAccess.allows(peer);
  if (!mayWrite) connection->host().servesIs(true, false, options_.writeAccess.refusal(peer));
  connection->questions().statusProviderIs([this] { return status(); });
  User& user = users_.try_emplace(peer.uid, peer.uid, options_.clients.bytesOfOneUser, budget_)
                   .first->second;
  connection->budgetIs(user.budget);
  if (connection->closed()) {
    turnedAway(number, connection->closeReason());
  } else {
    clients_.push_back({number, peer, mayWrite, Connection::Clock::now(), std::move(connection)});
    ++user.clients;
  }
  connection.reset();
  forgetUser(peer.uid);
}

void Server::turnedAway(uint64_t number, const std::string& why) {
  ++clientsTurnedAway_;
  say(number, "is turned away: " + why);
}

// Unless it has clients.
void Server::forgetUser(uid_t uid) {
  const auto user = users_.find(uid);
  if (user != users_.end() && user->second.clients == 0) users_.erase(user);
}

// Empty where one more client may come.
std::string Server::whyNot(const PeerCredentials& peer) const {
  const ClientLimits& limits = options_.clients;
  if (clients_.size() >= limits.all) {
    return "the server has " + std::to_string(clients_.size()) + " clients, as many as it takes";
  }
  const auto user = users_.find(peer.uid);
  const size_t same = user == users_.end() ? 0 : user->second.clients;
  if (same < limits.ofOneUser) return {};
  return "uid " + std::to_string(peer.uid) + " has " + std::to_string(same) +
         " connections, as many as one user may have";
}

void Server::say(uint64_t client, const std::string& what) {
  log_.line("client " + std::to_string(client) + ": " + what);
}

// ---------------------------------------------------------------------------------------- clients

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
      say(client.number, error.what());
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
    if (connection && ending != Ending::peerGone) say(it->number, connection->closeReason());
    const uid_t uid = it->peer.uid;
    it = clients_.erase(it);
    --users_.at(uid).clients;
    forgetUser(uid);
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
    const Figures figures = client.connection->figures();
    Json mounts = Json::array();
    for (const MountFigures& mount : figures.mounts) {
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
    one["bytes"] = client.connection->held().sum();
    one["messagesIn"] = figures.messagesReceived;
    one["messagesOut"] = figures.messagesSent;
    one["bytesIn"] = figures.bytesReceived;
    one["bytesOut"] = figures.bytesSent;
    one["turnsIn"] = figures.turnsReceived;
    one["turnsOut"] = figures.turnsSent;
    one["unknownAttributes"] = figures.unknownAttributes;
    one["unknownEntities"] = figures.unknownEntities;
    one["refused"] = figures.refused;
    connections.push_back(std::move(one));
  }
  Json closed = Json::object();
  for (size_t i = 0; i < ended_.size(); ++i) {
    if (ended_[i] != 0) closed[Tovo::NboAttrLog::endingName(static_cast<Ending>(i))] = ended_[i];
  }
  Json status = Json::object();
  status["socket"] = sockets_.front().path();
  status["pid"] = ::getpid();
  status["seconds"] = Seconds(now - since_).count();
  status["roots"] = directory_.mounts().size();
  status["accepted"] = clientsSeen_;
  status["turnedAway"] = clientsTurnedAway_;
  status["bytes"] = budget_.held();
  status["mostBytes"] = budget_.peak();
  status["limits"] = {{"clients", options_.clients.all},
                      {"clientsOfOneUser", options_.clients.ofOneUser},
                      {"bytes", options_.clients.bytes},
                      {"bytesOfOneUser", options_.clients.bytesOfOneUser}};
  Json users = Json::array();
  for (const auto& [uid, user] : users_) {
    users.push_back({{"uid", uid}, {"connections", user.clients}, {"bytes", user.budget.held()}});
  }
  status["users"] = std::move(users);
  status["refused"] = refused;
  status["closed"] = std::move(closed);
  status["connections"] = std::move(connections);
  Json notes = Json::array();
  for (const Work* work : work_) {
    for (std::string& note : work->notes()) notes.push_back(std::move(note));
  }
  status["notes"] = std::move(notes);
  return status.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace service
