#include "RedisServer.h"

#ifdef STP_BENCH_REDIS

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>

namespace Bench {

namespace {

/// The checker of dump files is the same program and comes without a service that starts by itself.
/// What it is called as decides what it does.
std::string program() {
  for (const char* name : {"redis-server", "redis-check-rdb"}) {
    std::string path = std::string("/usr/bin/") + name;
    if (::access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

}  // namespace

bool RedisServer::installed() { return !program().empty(); }

RedisServer::RedisServer() {
  char folder[] = "/tmp/stp-bench-XXXXXX";
  if (!::mkdtemp(folder)) throw std::runtime_error("no temporary folder for Redis");
  folder_ = folder;
  const std::string path = program();
  const std::string socket = folder_ + "/socket";
  pid_ = ::fork();
  if (pid_ == 0) {
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (int fd = 0; fd <= 2; ++fd) ::dup2(nowhere, fd);
    ::execl(path.c_str(), "redis-server", "--port", "0", "--unixsocket", socket.c_str(), "--save",
            "", "--appendonly", "no", "--dir", folder, static_cast<char*>(nullptr));
    ::_exit(127);
  }
  constexpr int attempts = 500;
  constexpr useconds_t pause = 10 * 1000;
  for (int i = 0; pid_ > 0 && i < attempts; ++i) {
    connection_ = ::redisConnectUnix(socket.c_str());
    if (connection_ && connection_->err == 0) return;
    if (connection_) ::redisFree(connection_);
    connection_ = nullptr;
    ::usleep(pause);
  }
  stop();
  throw std::runtime_error("Redis does not start");
}

RedisServer::~RedisServer() { stop(); }

void RedisServer::stop() noexcept {
  if (connection_) ::redisFree(connection_);
  if (pid_ > 0) {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string RedisServer::version() const {
  auto* reply = static_cast<redisReply*>(::redisCommand(connection_, "INFO server"));
  if (!reply) return "unknown";
  const std::string text(reply->str ? reply->str : "");
  ::freeReplyObject(reply);
  const char* const label = "redis_version:";
  const size_t at = text.find(label);
  if (at == std::string::npos) return "unknown";
  const size_t begin = at + std::strlen(label);
  return text.substr(begin, text.find('\r', begin) - begin);
}

}  // namespace Bench

#endif
