// Serves a directory to any number of clients.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "Tovo/AttrLog/Connection.h"
#include "Tovo/Directory.h"
#include "stptool/session/StopSignals.h"
#include "stptool/session/UnixSocket.h"

namespace stptool {

/// One loop, no threads. Whatever a client does ends at most its own connection, with one line on
/// standard error.
class Server {
 public:
  Server(Tovo::Directory& directory, const std::string& socket);

  /// Returns when SIGINT or SIGTERM arrives. Throws Failure when it cannot go on.
  void run(const StopSignals& signals);

 private:
  struct Client {
    uint64_t number;
    std::unique_ptr<Tovo::NboAttrLog::Connection> connection;
  };

  void acceptClients();
  void serveClient(Client& client, short events);
  void dropClosed();

  Tovo::Directory& directory_;
  ListeningSocket socket_;
  std::list<Client> clients_;
  uint64_t clientsSeen_ = 0;
  bool exhausted_ = false;  // no descriptor was left for the next client
};

}  // namespace stptool
