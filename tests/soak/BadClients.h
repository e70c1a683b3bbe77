// Clients that nobody wants: they talk nonsense, say nothing, ask without reading, read without end
// or not at all, and go at any moment.
#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <random>
#include <string>

class BadClients {
 public:
  BadClients(std::string socket, std::mt19937_64& random);
  ~BadClients();
  BadClients(const BadClients&) = delete;
  BadClients& operator=(const BadClients&) = delete;

  /// One more, of any kind, that stays for some steps.
  void add();
  /// Lets each of them do something. Never waits.
  void step();
  /// All of them go at once.
  void clear();

  size_t size() const noexcept { return clients_.size(); }
  /// How many of each kind came so far: " 120 garbled ...".
  std::string figures() const;

 private:
  struct Client;
  static constexpr size_t kinds = 7;

  uint64_t upTo(uint64_t most);

  std::string socket_;
  std::mt19937_64& random_;
  std::list<Client> clients_;
  std::array<uint64_t, kinds> came_{};
};
