#include "stptool/json/ParseFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

namespace stptool {

namespace {

std::string readAll(const std::string& file) {
  const bool standardInput = file == "-";
  const std::unique_ptr<FILE, int (*)(FILE*)> stream(
      standardInput ? stdin : std::fopen(file.c_str(), "re"),
      standardInput ? [](FILE*) { return 0; } : &std::fclose);
  std::string text;
  char chunk[65536];
  size_t count = 0;
  if (stream) {
    while ((count = std::fread(chunk, 1, sizeof chunk, stream.get())) > 0)
      text.append(chunk, count);
  }
  if (!stream || std::ferror(stream.get())) {
    throw Failure(file + ": cannot be read: " + std::strerror(errno));
  }
  return text;
}

// "FILE:3:14" of a byte offset, both from 1.
std::string lineAndColumn(const std::string& file, const std::string& text, size_t offset) {
  offset = std::min(offset, text.size());
  const auto at = text.begin() + static_cast<std::ptrdiff_t>(offset);
  const auto line = 1 + std::count(text.begin(), at, '\n');
  const size_t start = offset == 0 ? std::string::npos : text.rfind('\n', offset - 1);
  const size_t column = offset - (start == std::string::npos ? 0 : start + 1) + 1;
  return file + ":" + std::to_string(line) + ":" + std::to_string(column);
}

// Follows the parser to notice members that stand twice, of which it would keep one silently, and
// nesting that whoever walks the document would have to follow on the stack.
class StructureCheck {
 public:
  explicit StructureCheck(const std::string& file) : file_(file) {}

  bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
    constexpr int deepest = 100;  // several times as deep as any tree
    if (depth >= deepest) {
      throw Failure(file_ + ": objects and arrays are nested deeper than " +
                    std::to_string(deepest) + " levels");
    }
    switch (event) {
      case Json::parse_event_t::object_start:
        objects_.emplace_back();
        break;
      case Json::parse_event_t::object_end:
        objects_.pop_back();
        break;
      case Json::parse_event_t::key: {
        const auto& key = parsed.get_ref<const std::string&>();
        path_.resize(objects_.size() - 1);
        path_.push_back(key);
        if (!objects_.back().insert(key).second) fail();
        break;
      }
      default:
        break;
    }
    return true;
  }

 private:
  [[noreturn]] void fail() const {
    JsonPlace place;
    for (const std::string& name : path_) place /= name;
    throw Failure(file_ + ": " + place.to_string() + ": stands twice in the same object");
  }

  const std::string& file_;
  std::vector<std::set<std::string>> objects_;
  std::vector<std::string> path_;
};

}  // namespace

std::string shownJson(const Json& value) {
  constexpr size_t shownBytes = 60;
  std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
  if (text.size() > shownBytes) text.replace(shownBytes - 3, std::string::npos, "...");
  return text;
}

Json parseJsonFile(const std::string& file) { return parseJson(readAll(file), file); }

Json parseJson(const std::string& text, const std::string& file) {
  StructureCheck check(file);
  try {
    return Json::parse(text, std::ref(check));
  } catch (const Json::parse_error& error) {
    // "[json.exception...] parse error at line 1, column 2: syntax error while parsing ..."
    std::string message = error.what();
    const size_t colon = message.find(": ");
    if (colon != std::string::npos) message.erase(0, colon + 2);
    throw Failure(lineAndColumn(file, text, error.byte > 0 ? error.byte - 1 : 0) + ": " + message);
  } catch (const Json::out_of_range& error) {
    // A number beyond what a double holds.
    std::string message = error.what();
    const size_t bracket = message.find("] ");
    if (bracket != std::string::npos) message.erase(0, bracket + 2);
    throw Failure(file + ": " + message);
  }
}

}  // namespace stptool
