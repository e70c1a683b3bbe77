// Serves a directory to any number of clients.
#pragma once

#include <array>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Mirror/Connection.h"
#include "Mirror/wire/Budget.h"
#include "Tovo/Directory.h"
#include "agents/service/ClientLimits.h"
#include "agents/service/ListeningSocket.h"
#include "agents/service/Log.h"
#include "agents/service/StopSignals.h"
#include "agents/service/Work.h"
#include "agents/service/WriteAccess.h"

namespace service {

struct ServerOptions {
  WriteAccess writeAccess;  ///< who may write
  ClientLimits clients;
  Tovo::NboAttrLog::Limits connection;  ///< of each client's connection
};

/// One loop: it accepts clients, mirrors the directory to them, and looks after the work of the
/// process. Whatever a client does ends at most its own connection, with one line in the log. A
/// whole agent:
///
///   const service::StopSignals signals;
///   service::Log log(STDERR_FILENO, "my-agent");
///   Tovo::Directory directory;
///   MyAgent agent(directory);  // a service::Work; mounts its roots
///   service::Server server(directory, service::listeningSockets("/run/my-agent"),
///                          {service::WriteAccess(::geteuid()), {}, {}}, log);
///   server.add(agent);
///   server.run(signals);
class Server {
 public:
  /// The directory and the log outlive the server. The sockets are those it listens at; status
  /// names the first. The process's limit of descriptors is raised, as far as it may be, to what
  /// the clients may need.
  Server(Tovo::Directory& directory, std::vector<ListeningSocket> sockets, ServerOptions options,
         Log& log);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// From now on the loop looks after it, too. It outlives the server.
  void add(Work& work) { work_.push_back(&work); }

  /// Returns when a signal asks to stop. Throws std::system_error when it cannot go on, and what
  /// work throws.
  void run(const StopSignals& signals);

 private:
  struct User {
    User(uid_t uid, size_t bytes, Tovo::NboAttrLog::Budget& all);

    size_t clients = 0;
    Tovo::NboAttrLog::Budget budget;
  };
  struct Client {
    uint64_t number;
    PeerCredentials peer;
    bool mayWrite;
    Tovo::NboAttrLog::Connection::Clock::time_point since;
    std::unique_ptr<Tovo::NboAttrLog::Connection> connection;
  };

  int untilDue() const;
  void acceptClients(const ListeningSocket& socket);
  void admit(int fd, bool isLast);
  std::unique_ptr<Tovo::NboAttrLog::Connection> connectionOf(int fd);
  void addClient(uint64_t number, std::unique_ptr<Tovo::NboAttrLog::Connection> connection,
                 const PeerCredentials& peer);
  std::string whyNot(const PeerCredentials& peer) const;
  void turnedAway(uint64_t number, const std::string& why);
  void forgetUser(uid_t uid);
  void tickClients();
  bool handleWork(const pollfd* ready);
  void flushClients();
  void serveClient(Client& client, short events);
  std::string status() const;
  void dropClosed();
  void say(uint64_t client, const std::string& what);

  Tovo::Directory& directory_;
  ServerOptions options_;
  std::vector<ListeningSocket> sockets_;
  Log& log_;
  std::vector<Work*> work_;
  Tovo::NboAttrLog::Budget budget_;
  std::map<uid_t, User> users_;  // that have clients
  std::list<Client> clients_;
  Tovo::NboAttrLog::Connection::Clock::time_point since_ =
      Tovo::NboAttrLog::Connection::Clock::now();
  uint64_t clientsSeen_ = 0;
  uint64_t clientsTurnedAway_ = 0;
  uint64_t refused_ = 0;  // requests, by connections that have ended
  std::array<uint64_t, Tovo::NboAttrLog::endings> ended_{};
  int reserve_;             // a descriptor to give up for a client that is turned away
  bool exhausted_ = false;  // not even that helps: clients wait
};

}  // namespace service
