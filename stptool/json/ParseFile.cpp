#include "stptool/json/ParseFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>
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

// Makes the document of what the parser finds. The library's own builder looks through all members
// of an object for each one that comes, keeps one of two with the same name silently, and nests as
// deep as the file does, which whoever walks the document would have to follow on the stack.
class Builder {
 public:
  Builder(const std::string& file, const FileText& text) : file_(file), text_(text) {}

  Json take() { return std::move(document_); }

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(Json::number_integer_t value) { return add(value); }
  bool number_unsigned(Json::number_unsigned_t value) { return add(value); }
  bool number_float(Json::number_float_t value, const std::string&) { return add(value); }
  bool string(std::string& value) { return add(std::move(value)); }
  bool binary(Json::binary_t& value) { return add(std::move(value)); }

  bool start_object(size_t) { return open(true); }
  bool key(std::string& name) {
    members_.emplace_back(std::move(name), nullptr);
    return true;
  }
  bool end_object() {
    checkNames();
    Json object = Json::object();
    auto& members = object.get_ref<Json::object_t&>();
    members.reserve(innermost().size());
    for (auto& [name, value] : innermost()) members.emplace_back(std::move(name), std::move(value));
    return close(std::move(object));
  }

  bool start_array(size_t) { return open(false); }
  bool end_array() {
    Json array = Json::array();
    auto& elements = array.get_ref<Json::array_t&>();
    elements.reserve(innermost().size());
    for (auto& [name, value] : innermost()) elements.push_back(std::move(value));
    return close(std::move(array));
  }

  // "[json.exception...] parse error at line 1, column 2: syntax error while parsing ...", or
  // "[json.exception...] number overflow parsing ..." for a number beyond what a double holds.
  [[noreturn]] bool parse_error(size_t byte, const std::string&,
                                const nlohmann::detail::exception& error) {
    const bool isNumber = dynamic_cast<const Json::out_of_range*>(&error) != nullptr;
    const std::string_view end = isNumber ? "] " : ": ";
    std::string message = error.what();
    const size_t at = message.find(end);
    if (at != std::string::npos) message.erase(0, at + end.size());
    // The last character of a number that was taken stands behind it.
    throw Failure(text_.place(isNumber ? 0 : byte) + ": " + message, {.file = file_});
  }

 private:
  using Member = std::pair<std::string, Json>;  // of an array without a name
  struct Open {
    bool isObject;
    size_t first;  // of its members in members_
  };

  std::span<Member> innermost() { return std::span(members_).subspan(open_.back().first); }

  bool add(Json value) {
    if (open_.empty()) {
      document_ = std::move(value);
    } else if (open_.back().isObject) {
      members_.back().second = std::move(value);
    } else {
      members_.emplace_back(std::string(), std::move(value));
    }
    return true;
  }

  bool open(bool isObject) {
    constexpr size_t deepest = 100;  // several times as deep as any tree
    if (open_.size() == deepest) {
      throw Failure(file_ + ": objects and arrays are nested deeper than " +
                        std::to_string(deepest) + " levels",
                    {.file = file_});
    }
    open_.push_back({isObject, members_.size()});
    return true;
  }

  bool close(Json whole) {
    members_.resize(open_.back().first);
    open_.pop_back();
    return add(std::move(whole));
  }

  void checkNames() {
    names_.clear();
    for (const Member& member : innermost()) names_.push_back(member.first);
    std::sort(names_.begin(), names_.end());
    const auto twice = std::adjacent_find(names_.begin(), names_.end());
    if (twice == names_.end()) return;
    JsonPlace place;
    for (size_t level = 0; level + 1 < open_.size(); ++level) {
      const size_t next = open_[level + 1].first;
      if (open_[level].isObject) {
        place /= members_[next - 1].first;
      } else {
        place /= next - open_[level].first;
      }
    }
    place /= std::string(*twice);
    throw Failure(file_ + ": " + place.to_string() + ": stands twice in the same object",
                  {.path = place.to_string(), .file = file_});
  }

  const std::string& file_;
  const FileText& text_;
  Json document_;
  std::vector<Member> members_;  // of all that is open, the innermost last
  std::vector<Open> open_;
  std::vector<std::string_view> names_;  // of one object; here to keep their room
};

Json parse(const std::string& file, Stream stream, Progress& progress) {
  FileText text(file, std::move(stream), progress);
  Builder builder(file, text);
  Json::sax_parse(FileIterator(text), FileIterator(), &builder);
  return builder.take();
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
