// The commands of the tool, without their options' spelling: main.cpp has that.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "stptool/session/ClientSession.h"

namespace stptool {

struct TypesOptions {
  std::string type;  ///< empty: all of them
  bool json = false;
};
void runTypes(const TypesOptions& options);

struct ServeOptions {
  std::string socket;
  std::vector<std::string> load;
  std::string dumpAtEnd;
  bool json = false;
};
void runServe(const ServeOptions& options);

struct TreeOptions {
  SessionOptions session;
  std::string path;
  int depth = -1;
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
  std::optional<uint64_t> count;
  std::optional<double> seconds;
  std::string dumpAtEnd;
  bool json = false;
};
void runWatch(const WatchOptions& options);

struct DumpOptions {
  SessionOptions session;
  std::string path;
};
void runDump(const DumpOptions& options);

struct LoadOptions {
  SessionOptions session;
  std::string file;
  bool replace = false;
  bool json = false;
};
void runLoad(const LoadOptions& options);

}  // namespace stptool
