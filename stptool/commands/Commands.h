// The commands of the tool and what each is given. How that is spelled on a command line stands in
// commandline/CommandLine.cpp.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agents/service/ClientLimits.h"
#include "stptool/session/ClientSession.h"

namespace stptool {

/// Whether a path stands for the whole directory.
inline bool isEverything(const std::string& path) { return path.empty() || path == "/"; }

struct TypesOptions {
  std::string type;  ///< empty: all of them
  bool json = false;
};
void runTypes(const TypesOptions& options);

struct ParseOptions {
  std::string type;
  std::string text;
  bool json = false;
};
void runParse(const ParseOptions& options);

struct EncodeOptions {
  std::string type;
  std::string text;
  bool json = false;
};
void runEncode(const EncodeOptions& options);

struct DecodeOptions {
  std::string what;              ///< a recording; with `hex` a type
  std::vector<std::string> hex;  ///< of a value
  bool json = false;
};
void runDecode(const DecodeOptions& options);
void decodeValue(const DecodeOptions& options);
void decodeRecording(const DecodeOptions& options);

struct GraphOptions {
  SessionOptions session;
  std::string path;
  bool types = false;
  std::string type;  ///< with `types`: what to start at; empty: all of them
  bool svg = false;
  bool json = false;
};
void runGraph(const GraphOptions& options);

struct ReferenceOptions {
  std::string folder;
  bool html = false;
};
void runReference(const ReferenceOptions& options);

struct ServeOptions {
  std::string socket;         ///< may be empty where a service manager passes one
  std::string mode = "0600";  ///< of the socket, octal
  std::vector<std::string> allowWrite;
  service::ClientLimits clients;
  size_t mebibytes = clients.bytes >> 20;
  size_t mebibytesOfOneUser = clients.bytesOfOneUser >> 20;
  std::optional<int> readyFd;
  std::vector<std::string> load;
  std::string dumpAtEnd;
  bool json = false;
};
void runServe(const ServeOptions& options);

struct StatusOptions {
  SessionOptions session;
  bool json = false;
};
void runStatus(const StatusOptions& options);

struct TreeOptions {
  SessionOptions session;
  std::string path;
  int depth = -1;
  bool all = false;   ///< attributes at their default too
  bool full = false;  ///< generic texts instead of short ones
  bool json = false;
};
void runTree(const TreeOptions& options);

struct GetOptions {
  SessionOptions session;
  std::string path;
  std::vector<std::string> attributes;
  bool json = false;
};
void runGet(const GetOptions& options);

struct SetOptions {
  SessionOptions session;
  std::string path;
  std::vector<std::string> assignments;  ///< attribute, value, attribute, value, ...
  bool json = false;
};
void runSet(const SetOptions& options);

struct NewOptions {
  SessionOptions session;
  std::string path;
  std::vector<std::string> arguments;  ///< a root's type, an element's parameters, an entry's value
  bool json = false;
};
void runNew(const NewOptions& options);

struct DelOptions {
  SessionOptions session;
  std::string path;
  bool json = false;
};
void runDel(const DelOptions& options);

struct WatchOptions {
  SessionOptions session;
  std::string path;
  std::vector<std::string> attributes;  ///< globs; empty: all
  std::optional<uint64_t> count;
  std::optional<double> seconds;
  std::string dumpAtEnd;
  int top = 10;       ///< lines of rates
  bool rate = false;  ///< how often, instead of what
  bool json = false;
};
void runWatch(const WatchOptions& options);

struct RecordOptions {
  SessionOptions session;
  std::string file;
  std::string path;
  std::optional<double> seconds;
  std::optional<double> untilIdle;  ///< seconds without a message after which it ends
  bool force = false;
  bool json = false;
};
void runRecord(const RecordOptions& options);

struct ReplayOptions {
  std::string file;
  std::string into;  ///< the socket of a server; empty: print
  double timeout = 10;
  double connectTimeout = SessionOptions().connectTimeout;
  double speed = 1;
  bool fast = false;  ///< without waiting
  bool json = false;
};
void runReplay(const ReplayOptions& options);

struct DumpOptions {
  SessionOptions session;
  std::string path;
  bool json = false;  ///< of errors; the output is JSON anyhow
};
void runDump(const DumpOptions& options);

struct LoadOptions {
  SessionOptions session;
  std::string file;
  bool replace = false;
  bool restore = false;  ///< as the attribute log does
  bool json = false;
};
void runLoad(const LoadOptions& options);

}  // namespace stptool
