// A Redis server of our own for as long as it is measured.
#pragma once

#include <sys/types.h>

#include <string>

#include "Peers.h"

#ifdef STP_BENCH_REDIS

namespace Bench {

/// Runs in a fresh temporary folder, listens on a Unix socket there and nowhere else, saves
/// nothing, and is gone with the object. Throws std::runtime_error when it does not start.
class RedisServer {
 public:
  /// Whether there is a program to run.
  static bool installed();

  RedisServer();
  RedisServer(const RedisServer&) = delete;
  RedisServer& operator=(const RedisServer&) = delete;
  ~RedisServer();

  redisContext* connection() const noexcept { return connection_; }
  std::string version() const;

 private:
  void stop() noexcept;

  std::string folder_;
  pid_t pid_ = -1;
  redisContext* connection_ = nullptr;
};

}  // namespace Bench

#endif
