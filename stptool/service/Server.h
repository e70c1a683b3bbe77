// Serves a directory to any number of clients.
#pragma once

#include <array>
#include <list>
#include <memory>
#include <string>

#include "Tovo/AttrLog/Connection.h"
#include "Tovo/Directory.h"
#include "stptool/service/StopSignals.h"
#include "stptool/service/ListeningSocket.h"
#include "stptool/service/WriteAccess.h"

namespace stptool {

struct ServerOptions {
  std::string socket;
  mode_t mode = 0600;       ///< of the socket: who may connect
  WriteAccess writeAccess;  ///< who may write
};

/// One loop, no threads. Whatever a client does ends at most its own connection, with one line on
/// standard error.
class Server {
 public:
  Server(Tovo::Directory& directory, ServerOptions options);

  /// Returns when SIGINT or SIGTERM arrives. Throws Failure when it cannot go on.
  void run(const StopSignals& signals);

 private:
  struct Client {
    uint64_t number;
    PeerCredentials peer;
    bool mayWrite;
    Tovo::NboAttrLog::Connection::Clock::time_point since;
    std::unique_ptr<Tovo::NboAttrLog::Connection> connection;
  };

  int untilDue() const;
  void acceptClients();
  void addClient(int fd);
  void tickClients();
  void serveClient(Client& client, short events);
  std::string status() const;
  void dropClosed();

  Tovo::Directory& directory_;
  ServerOptions options_;
  ListeningSocket socket_;
  std::list<Client> clients_;
  Tovo::NboAttrLog::Connection::Clock::time_point since_ =
      Tovo::NboAttrLog::Connection::Clock::now();
  uint64_t clientsSeen_ = 0;
  uint64_t refused_ = 0;  // requests, by connections that have ended
  std::array<uint64_t, Tovo::NboAttrLog::endings> ended_{};
  bool exhausted_ = false;  // no descriptor was left for the next client
};

}  // namespace stptool
