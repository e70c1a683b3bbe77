// A server in a folder of its own, and clients of it.
#pragma once

#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

#include "Holds.h"

class RunningServer {
 public:
  /// Serves the example, or what these files hold. Fails the test when it does not start.
  explicit RunningServer(const std::vector<std::string>& files = {EXAMPLE});

  /// Further options of the server; also takes over after its death.
  void restart(const std::vector<std::string>& options = {});

  /// A command of the tool on this server.
  Ended run(std::vector<std::string> arguments) const;
  /// The output of a command that has to succeed.
  std::string output(const std::vector<std::string>& arguments) const;
  std::string dump() const { return output({"dump"}); }
  std::unique_ptr<Tool> start(std::vector<std::string> arguments,
                              const std::optional<Tool::User>& user = {}) const;

  /// A watch with these options that has begun to watch.
  std::unique_ptr<Tool> watch(std::vector<std::string> options = {}) const;
  /// SIGKILL; its socket stays.
  void kill();

  const std::string& socket() const noexcept { return socket_; }
  /// Where the server writes its tree when it stops.
  std::string dumpFile() const { return folder_.file("server.json"); }
  const TemporaryFolder& folder() const noexcept { return folder_; }
  Tool& tool() noexcept { return *tool_; }

 private:
  TemporaryFolder folder_;
  std::string socket_;
  std::vector<std::string> files_;
  std::unique_ptr<Tool> tool_;
};

/// "/stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1".
std::string portPath(const std::string& port, int instance = 0);

/// A Unix socket that speaks nothing by itself. What fails fails the test.
class RawSocket {
 public:
  explicit RawSocket(int type = SOCK_STREAM);
  ~RawSocket();
  RawSocket(const RawSocket&) = delete;
  RawSocket& operator=(const RawSocket&) = delete;

  int fd() const noexcept { return fd_; }
  /// To a path, or to "@name" in the abstract namespace.
  void bind(const std::string& name);
  void listen(int backlog);
  void connect(const std::string& name);
  void send(const std::string& bytes) const;
  /// What comes within thirty seconds; empty where the other end has closed.
  std::string receive() const;

 private:
  int fd_;
};

/// Whether a server closes, within thirty seconds, what a client of it sends this to.
bool isRefused(const std::string& socket, const std::string& bytes);
