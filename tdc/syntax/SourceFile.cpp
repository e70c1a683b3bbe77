#include "tdc/syntax/SourceFile.h"

#include <algorithm>

#include "tdc/files/Files.h"

namespace tdc {

SourceFile::SourceFile(std::string path, std::string text)
    : path_(std::move(path)), text_(std::move(text)) {
  if (text_.compare(0, 3, "\xEF\xBB\xBF") == 0) text_.erase(0, 3);
  lineStarts_.push_back(0);
  for (uint32_t i = 0; i < text_.size(); ++i) {
    if (text_[i] == '\n') lineStarts_.push_back(i + 1);
  }
}

Position SourceFile::position(uint32_t offset) const {
  auto next = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
  auto line = static_cast<unsigned>(next - lineStarts_.begin());
  return {line, offset - lineStarts_[line - 1] + 1};
}

std::string_view SourceFile::line(unsigned number) const {
  uint32_t begin = lineStarts_[number - 1];
  std::string_view rest = std::string_view(text_).substr(begin);
  std::string_view line = rest.substr(0, rest.find('\n'));
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

Span operator+(const Span& first, const Span& last) {
  if (!first.file) return last;
  if (!last.file) return first;
  return {first.file, std::min(first.begin, last.begin), std::max(first.end, last.end)};
}

const SourceFile& SourceFiles::read(const std::string& path) {
  auto known = byPath_.find(canonicalPath(path));
  return known != byPath_.end() ? *known->second : add(path, readFile(path));
}

const SourceFile& SourceFiles::add(std::string path, std::string text) {
  files_.push_back(std::make_unique<SourceFile>(std::move(path), std::move(text)));
  const SourceFile& file = *files_.back();
  byPath_[canonicalPath(file.path())] = &file;
  return file;
}

bool SourceFiles::exists(const std::string& path) const {
  return byPath_.contains(canonicalPath(path)) || isFile(path);
}

}  // namespace tdc
