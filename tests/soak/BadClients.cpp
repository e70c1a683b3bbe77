#include "BadClients.h"

#include <sys/socket.h>
#include <unistd.h>

#include <functional>

#include "Tovo/AttrLog/Connection.h"
#include "Unix.h"

using Tovo::NboAttrLog::Connection;

namespace {

enum Kind : size_t { garbled, halfGreeted, frames, silent, greedy, slow, stalled };
constexpr const char* kindNames[] = {"garbled", "half greeted", "of random frames", "silent",
                                     "greedy",  "slow",         "stalled"};

std::string number(uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift & 0xff);
  }
  return text;
}

std::string frame(uint64_t entity, uint64_t id, const std::string& payload) {
  return number(6 + payload.size(), 4) + number(entity, 4) + number(id, 2) + payload;
}

// Of this version, and without a module.
std::string greeting() { return frame(0, 1, number(0x54414c31, 4) + number(1, 2) + number(0, 2)); }

}  // namespace

struct BadClients::Client {
  explicit Client(uint64_t steps) : stepsLeft(steps) {}
  virtual ~Client() = default;
  virtual void step() = 0;

  uint64_t stepsLeft;
};

// Sends what it makes up, and reads nothing.
class BadClients::Talker : public Client {
 public:
  Talker(int fd, uint64_t steps, std::function<std::string()> talk)
      : Client(steps), fd_(fd), talk_(std::move(talk)) {}
  ~Talker() override { ::close(fd_); }

  void step() override {
    const std::string bytes = talk_();
    (void)::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }

 private:
  int fd_;
  std::function<std::string()> talk_;
};

// Speaks the language, without manners.
class BadClients::Guest : public Client {
 public:
  Guest(int fd, uint64_t steps, std::function<void(Connection&)> act)
      : Client(steps), connection_(fd, directory_), act_(std::move(act)) {}

  void step() override {
    if (!connection_.closed()) act_(connection_);
  }

 private:
  Tovo::Directory directory_;
  Connection connection_;
  std::function<void(Connection&)> act_;
};

BadClients::BadClients(std::string socket, std::mt19937_64& random)
    : socket_(std::move(socket)), random_(random) {}
BadClients::~BadClients() = default;

uint64_t BadClients::upTo(uint64_t most) { return random_() % (most + 1); }

void BadClients::add() {
  const int fd = connectTo(socket_);
  if (fd < 0) return;
  const uint64_t steps = upTo(4) == 0 ? 1 : upTo(200);
  const auto talks = [&](std::function<std::string()> talk) {
    clients_.push_back(std::make_unique<Talker>(fd, steps, std::move(talk)));
  };
  const auto acts = [&](std::function<void(Connection&)> act) {
    clients_.push_back(std::make_unique<Guest>(fd, steps, std::move(act)));
  };
  const auto noise = [this](size_t most) {
    std::string bytes(upTo(most), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  };
  const auto mountAll = [](Connection& connection) {
    if (connection.listings() == 0) connection.askMounts();
    for (const auto& [path, type] : connection.remoteMounts()) {
      if (connection.mountState(path) == Connection::MountState::none) connection.mount(path, true);
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
          bytes += frame(upTo(1) * upTo(1000), upTo(2) == 0 ? random_() : upTo(24), noise(100));
        }
        return bytes;
      });
    case silent:
      return talks([] { return std::string(); });
    case greedy:
      return acts([](Connection& connection) {
        for (int i = 0; i < 100; ++i) {
          connection.askMounts();
          connection.askStatus();
          connection.ping();
        }
        connection.flush();
      });
    case slow:
      return acts([this, mountAll](Connection& connection) {
        if (upTo(20) != 0) return;
        connection.handleReadable();
        mountAll(connection);
        connection.flush();
      });
    case stalled:
      return acts([mountAll, reads = upTo(10)](Connection& connection) mutable {
        if (reads == 0) return;
        --reads;
        connection.handleReadable();
        mountAll(connection);
        connection.flush();
      });
  }
}

void BadClients::step() {
  for (const auto& client : clients_) client->step();
  clients_.remove_if([](const auto& client) { return client->stepsLeft-- == 0; });
}

void BadClients::clear() { clients_.clear(); }

std::string BadClients::figures() const {
  std::string text;
  for (size_t kind = 0; kind < kinds; ++kind) {
    text += (kind == 0 ? "" : ", ") + std::to_string(came_[kind]) + " " + kindNames[kind];
  }
  return text;
}
