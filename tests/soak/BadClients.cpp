#include "BadClients.h"

#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <system_error>

#include "Mirror/Connection.h"
#include "Mirror/wire/UnixStream.h"
#include "fuzz/Messages.h"

using fuzz::message;
using fuzz::number;
using Tovo::NboAttrLog::Connection;

namespace {

enum Kind : size_t { garbled, halfGreeted, frames, silent, greedy, slow, stalled };
constexpr const char* kindNames[] = {"garbled", "half greeted", "of random frames", "silent",
                                     "greedy",  "slow",         "stalled"};

// Of this version, and without a module.
std::string greeting() {
  return message(0, 1, number(0x54414c31, 4) + number(1, 2) + number(0, 2));
}

}  // namespace

struct BadClients::Client {
  uint64_t stepsLeft;
  std::function<void()> act;
};

BadClients::BadClients(std::string socket, std::mt19937_64& random)
    : socket_(std::move(socket)), random_(random) {}
BadClients::~BadClients() = default;

uint64_t BadClients::upTo(uint64_t most) { return random_() % (most + 1); }

void BadClients::add() {
  int fd = -1;
  try {
    fd = Tovo::NboAttrLog::connectUnixStream(socket_);
  } catch (const std::system_error&) {
    return;  // the server has enough of them
  }
  const uint64_t steps = upTo(4) == 0 ? 1 : upTo(200);
  const auto acts = [&](std::function<void()> act) { clients_.push_back({steps, std::move(act)}); };
  // Sends what it makes up, and reads nothing.
  const auto talks = [&](std::function<std::string()> talk) {
    const std::shared_ptr<const int> closing(new int(fd), [](const int* each) {
      ::close(*each);
      delete each;
    });
    acts([closing, talk = std::move(talk)] {
      const std::string bytes = talk();
      (void)::send(*closing, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    });
  };
  // Speaks the language, without manners.
  const auto guests = [&](std::function<void(Connection&)> act) {
    struct Guest {
      explicit Guest(int end) : connection(end, directory) {}
      Tovo::Directory directory;
      Connection connection;
    };
    acts([guest = std::make_shared<Guest>(fd), act = std::move(act)] {
      if (!guest->connection.closed()) act(guest->connection);
    });
  };
  const auto noise = [this](size_t most) {
    std::string bytes(upTo(most), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  };
  const auto mountAll = [](Connection& connection) {
    if (connection.guest().roots().listings() == 0) connection.guest().roots().ask();
    for (const auto& [path, type] : connection.guest().roots().all()) {
      if (connection.guest().state(path) == Tovo::NboAttrLog::GuestSide::State::none)
        connection.guest().mount(path, true);
    }
  };
  const auto kind = static_cast<Kind>(upTo(kinds - 1));
  ++came_[kind];
  switch (kind) {
    case garbled:
      return talks([noise] { return noise(5000); });
    case halfGreeted:
      return talks([left = greeting().substr(0, upTo(greeting().size()))]() mutable {
        return std::exchange(left, {});
      });
    case frames:
      return talks([this, noise, greeted = false]() mutable {
        std::string bytes = std::exchange(greeted, true) ? std::string() : greeting();
        for (uint64_t count = upTo(20); count > 0; --count) {
          const uint64_t id = upTo(2) == 0 ? random_() : upTo(24);
          bytes += message(static_cast<uint32_t>(upTo(1) * upTo(1000)), static_cast<uint32_t>(id),
                           noise(100));
        }
        return bytes;
      });
    case silent:
      return talks([] { return std::string(); });
    case greedy:
      return guests([](Connection& connection) {
        for (int i = 0; i < 100; ++i) {
          connection.guest().roots().ask();
          connection.questions().askStatus();
          connection.questions().ping();
        }
        connection.flush();
      });
    case slow:
    case stalled:
      return guests([this, kind, mountAll, reads = upTo(10)](Connection& connection) mutable {
        if (kind == slow ? upTo(20) != 0 : reads == 0) return;
        if (kind == stalled) --reads;
        connection.handleReadable();
        mountAll(connection);
        connection.flush();
      });
  }
}

void BadClients::step() {
  for (const Client& client : clients_) client.act();
  clients_.remove_if([](Client& client) { return client.stepsLeft-- == 0; });
}

void BadClients::clear() { clients_.clear(); }

std::string BadClients::figures() const {
  std::string text;
  for (size_t kind = 0; kind < kinds; ++kind) {
    text += " " + std::to_string(came_[kind]) + " " + kindNames[kind];
  }
  return text;
}
