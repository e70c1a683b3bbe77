#include "stptool/session/Server.h"

#include <unistd.h>

#include <vector>

#include "stptool/text/Output.h"

namespace stptool {

namespace {

// How long new clients wait for a descriptor before the server looks again.
constexpr int exhaustedMilliseconds = 200;

}  // namespace

Server::Server(Tovo::Directory& directory, const std::string& socket)
    : directory_(directory), socket_(socket) {}

void Server::run(const StopSignals& signals) {
  std::vector<pollfd> fds;
  for (;;) {
    fds.clear();
    // While descriptors are short, the waiting client would make every wait return at once.
    fds.push_back({socket_.fd(), static_cast<short>(exhausted_ ? 0 : POLLIN), 0});
    for (const Client& client : clients_) {
      const bool writes = client.connection->wantsWrite();
      fds.push_back(
          {client.connection->readFd(), static_cast<short>(POLLIN | (writes ? POLLOUT : 0)), 0});
    }
    if (!signals.poll(fds, exhausted_ ? exhaustedMilliseconds : -1)) return;
    size_t at = 1;
    for (Client& client : clients_) {
      const short events = fds[at++].revents;
      if (events != 0) serveClient(client, events);
    }
    dropClosed();
    if (exhausted_ || fds[0].revents != 0) acceptClients();
  }
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
    const uint64_t number = ++clientsSeen_;
    try {
      clients_.push_back({number, std::make_unique<Tovo::NboAttrLog::Connection>(fd, directory_)});
    } catch (const std::exception& error) {
      complain("client " + std::to_string(number) + ": " + error.what());
    }
  }
}

void Server::serveClient(Client& client, short events) {
  Tovo::NboAttrLog::Connection& connection = *client.connection;
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
    if (!it->connection) {
      it = clients_.erase(it);
    } else if (it->connection->closed()) {
      const std::string reason = it->connection->closeReason();
      if (reason != "end of stream") {
        complain("client " + std::to_string(it->number) + ": " + reason);
      }
      it = clients_.erase(it);
    } else {
      ++it;
    }
  }
}

}  // namespace stptool
