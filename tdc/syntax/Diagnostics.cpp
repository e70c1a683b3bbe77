#include "tdc/syntax/Diagnostics.h"

#include <algorithm>
#include <tuple>

#include "words/EditDistance.h"
#include "words/Phrases.h"

namespace tdc {

namespace {

/// More than this helps nobody, and hostile input must not fill a disk.
constexpr size_t maxShown = 100;
constexpr size_t maxExcerpt = 160;
constexpr size_t maxText = 1000;
constexpr size_t maxWord = 64;

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

char shown(char c) {
  auto byte = static_cast<unsigned char>(c);
  return (byte < 0x20 && c != '\t') || byte == 0x7F ? '?' : c;
}

}  // namespace

void Diagnostics::error(Span where, std::string text) {
  errors_.push_back({{where, std::move(text)}, {}});
}

void Diagnostics::note(Span where, std::string text) {
  if (where.file) errors_.back().notes.push_back({where, std::move(text)});
}

std::string Diagnostics::render(const Message& message, const char* label) {
  Position at = message.where.file->position(message.where.begin);
  std::string out = message.where.file->path() + ":" + std::to_string(at.line) + ":" +
                    std::to_string(at.column) + ": " + label + ": ";
  std::string text = message.text.substr(0, maxText);
  std::transform(text.begin(), text.end(), std::back_inserter(out), shown);
  out += message.text.size() > maxText ? "...\n" : "\n";

  std::string_view line = message.where.file->line(at.line);
  size_t column = std::min<size_t>(at.column - 1, line.size());
  size_t length = std::max<uint32_t>(message.where.end - message.where.begin, 1);
  if (line.size() > maxExcerpt) {
    size_t skipped = column > maxExcerpt / 2 ? column - maxExcerpt / 2 : 0;
    line = line.substr(skipped, maxExcerpt);
    column -= skipped;
  }
  length = std::min(length, std::max<size_t>(line.size() - column, 1));

  std::string excerpt;
  std::string marks;
  for (size_t i = 0; i < std::max(line.size(), column + length); ++i) {
    char c = i < line.size() ? line[i] : ' ';
    if (i < line.size()) excerpt += shown(c);
    if (i < column + length && (i == column || !continuesCharacter(c))) {
      marks += i < column ? (c == '\t' ? '\t' : ' ') : (i == column ? '^' : '~');
    }
  }
  return out + excerpt + "\n" + marks + "\n";
}

std::string Diagnostics::render() const {
  std::vector<const Error*> sorted;
  for (const Error& error : errors_) sorted.push_back(&error);
  auto key = [](const Error* e) {
    return std::tie(e->where.file->path(), e->where.begin, e->text);
  };
  auto equal = [&](const Error* a, const Error* b) { return key(a) == key(b); };
  std::stable_sort(sorted.begin(), sorted.end(),
                   [&](const Error* a, const Error* b) { return key(a) < key(b); });
  sorted.erase(std::unique(sorted.begin(), sorted.end(), equal), sorted.end());

  std::string out;
  for (size_t i = 0; i < std::min(sorted.size(), maxShown); ++i) {
    out += render(*sorted[i], "error");
    for (const Message& note : sorted[i]->notes) out += render(note, "note");
  }
  if (sorted.size() > maxShown) {
    out += std::to_string(sorted.size() - maxShown) + " more errors are not shown\n";
  }
  return out;
}

std::string nearest(std::string_view wrong, const std::vector<std::string>& words) {
  std::string best;
  if (wrong.size() > maxWord) return best;
  size_t limit = std::max<size_t>(1, wrong.size() / 3) + 1;
  for (const std::string& word : words) {
    if (word.size() + limit < wrong.size() || word.size() > wrong.size() + limit) continue;
    size_t d = words::editDistance(wrong, word);
    if (d < limit && d < word.size()) {
      limit = d;
      best = word;
    }
  }
  return best;
}

std::string didYouMean(std::string_view wrong, const std::vector<std::string>& words) {
  return words::didYouMean(nearest(wrong, words));
}

std::string alternatives(const std::vector<std::string>& words) {
  std::string out;
  for (size_t i = 0; i < words.size(); ++i) {
    out += (i == 0 ? "'" : i + 1 == words.size() ? " or '" : ", '") + words[i] + "'";
  }
  return out;
}

std::string listed(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words) out += (out.empty() ? "" : ", ") + word;
  return out;
}

}  // namespace tdc
