// A server in a folder of its own, and clients of it.
#pragma once

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

/// A connection to the server's socket that speaks nothing by itself.
class RawClient {
 public:
  explicit RawClient(const std::string& socket);
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// False when the server has closed.
  bool send(const std::string& bytes) const;
  void finishSending() const;
  /// Waits until the server closes; false after thirty seconds.
  bool isClosedByServer() const;

 private:
  int fd_;
};
