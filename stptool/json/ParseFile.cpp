#include "stptool/json/ParseFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace stptool {

namespace {

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

// A file character by character, which knows where it is. It is never in memory as a whole.
class FileText {
 public:
  FileText(const std::string& file, Stream stream, Progress& progress)
      : file_(file), progress_(progress), stream_(std::move(stream)) {
    if (!stream_) fail();
    struct stat status {};
    if (::fstat(::fileno(stream_.get()), &status) == 0 && S_ISREG(status.st_mode)) {
      progress_.total(static_cast<uint64_t>(status.st_size));
    }
    fill();
  }

  bool atEnd() const noexcept { return at_ == size_; }
  char current() const noexcept { return chunk_[at_]; }
  void advance() {
    last_ = next_;
    ++next_.column;
    if (chunk_[at_] == '\n') next_ = {next_.line + 1, 1};
    ++taken_;
    if (++at_ == size_) fill();
  }

  // "FILE:3:14" of the n-th character, which is the last that was taken, or the end behind it.
  std::string place(size_t number) const {
    const Place& place = number > taken_ ? next_ : last_;
    return file_ + ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
  }

 private:
  struct Place {
    size_t line = 1;
    size_t column = 1;
  };

  [[noreturn]] void fail() const {
    throw Failure(file_ + ": cannot be read: " + std::strerror(errno), {.file = file_});
  }

  void fill() {
    size_ = std::fread(chunk_, 1, sizeof chunk_, stream_.get());
    at_ = 0;
    if (std::ferror(stream_.get()) != 0) fail();
    progress_.at(taken_);
  }

  const std::string& file_;
  Progress& progress_;
  Stream stream_;
  char chunk_[65536];
  size_t size_ = 0;
  size_t at_ = 0;
  size_t taken_ = 0;
  Place last_;
  Place next_;
};

class FileIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  FileIterator() = default;
  explicit FileIterator(FileText& text) : text_(&text) {}

  char operator*() const noexcept { return text_->current(); }
  FileIterator& operator++() {
    text_->advance();
    return *this;
  }
  // Only ever compared with the end.
  bool operator==(const FileIterator&) const noexcept { return text_->atEnd(); }
  bool operator!=(const FileIterator&) const noexcept { return !text_->atEnd(); }

 private:
  FileText* text_ = nullptr;
};

// Follows the parser to notice members that stand twice, of which it would keep one silently, and
// nesting that whoever walks the document would have to follow on the stack.
class Check {
 public:
  explicit Check(const std::string& file) : file_(file) {}

  bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
    constexpr int deepest = 100;  // several times as deep as any tree
    if (depth >= deepest) {
      throw Failure(file_ + ": objects and arrays are nested deeper than " +
                        std::to_string(deepest) + " levels",
                    {.file = file_});
    }
    switch (event) {
      case Json::parse_event_t::object_start:
        starts_.push_back(names_.size());
        break;
      case Json::parse_event_t::key:
        names_.push_back(parsed.get_ref<const std::string&>());
        break;
      case Json::parse_event_t::object_end:
        endObject();
        break;
      default:
        break;
    }
    return true;
  }

 private:
  void endObject() {
    const auto begin = names_.begin() + static_cast<std::ptrdiff_t>(starts_.back());
    std::sort(begin, names_.end());
    const auto twice = std::adjacent_find(begin, names_.end());
    if (twice != names_.end()) {
      JsonPlace place;
      // The last name of each object around this one is the one that leads here.
      for (size_t level = 1; level < starts_.size(); ++level) place /= names_[starts_[level] - 1];
      place /= *twice;
      throw Failure(file_ + ": " + place.to_string() + ": stands twice in the same object",
                    {.path = place.to_string(), .file = file_});
    }
    names_.erase(begin, names_.end());
    starts_.pop_back();
  }

  const std::string& file_;
  std::vector<std::string> names_;  // of all open objects, the innermost last
  std::vector<size_t> starts_;      // where the names of each one begin
};

Json parse(const std::string& file, Stream stream, Progress& progress) {
  FileText text(file, std::move(stream), progress);
  Check check(file);
  try {
    return Json::parse(FileIterator(text), FileIterator(), std::ref(check));
  } catch (const Json::parse_error& error) {
    // "[json.exception...] parse error at line 1, column 2: syntax error while parsing ..."
    std::string message = error.what();
    const size_t colon = message.find(": ");
    if (colon != std::string::npos) message.erase(0, colon + 2);
    throw Failure(text.place(error.byte) + ": " + message, {.file = file});
  } catch (const Json::out_of_range& error) {
    // A number beyond what a double holds. The last character that was taken stands behind it.
    std::string message = error.what();
    const size_t bracket = message.find("] ");
    if (bracket != std::string::npos) message.erase(0, bracket + 2);
    throw Failure(text.place(0) + ": " + message, {.file = file});
  }
}

}  // namespace

Json parseJsonFile(const std::string& file, Progress& progress) {
  const bool standardInput = file == "-";
  Stream stream(standardInput ? stdin : std::fopen(file.c_str(), "re"),
                standardInput ? [](FILE*) { return 0; } : &std::fclose);
  return parse(file, std::move(stream), progress);
}

Json parseJsonFile(const std::string& file) {
  Progress progress("reading " + file, 0);
  return parseJsonFile(file, progress);
}

Json parseJson(const std::string& text, const std::string& file) {
  Progress progress("reading " + file, text.size());
  Stream stream(::fmemopen(const_cast<char*>(text.data()), text.size(), "r"), &std::fclose);
  return parse(file, std::move(stream), progress);
}

}  // namespace stptool
