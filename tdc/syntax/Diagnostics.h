// Collected errors.
#pragma once

#include <string>
#include <vector>

#include "tdc/syntax/SourceFile.h"

namespace tdc {

/// Errors found so far. The files that spans point into must outlive it.
class Diagnostics {
 public:
  /// The text says what was found and what to do.
  void error(Span where, std::string text);
  /// Another place that the last error is about; nothing for what stands in no file.
  void note(Span where, std::string text);

  bool empty() const { return errors_.empty(); }
  size_t size() const { return errors_.size(); }
  /// Whether to look for the word that was meant: past this many errors that costs more than it
  /// helps.
  bool suggests() const { return errors_.size() < 200; }

  /// All errors by file and position, each with its line and a caret.
  std::string render() const;

 private:
  struct Message {
    Span where;
    std::string text;
  };
  struct Error : Message {
    std::vector<Message> notes;
  };

  static std::string render(const Message& message, const char* label);

  std::vector<Error> errors_;
};

/// As a message shows a name.
inline std::string inQuotes(const std::string& name) { return "'" + name + "'"; }
/// The word nearest to `wrong`, for "did you mean"; empty where none is near enough.
std::string nearest(std::string_view wrong, const std::vector<std::string>& words);
/// "; did you mean 'x'?", or nothing.
std::string didYouMean(std::string_view wrong, const std::vector<std::string>& words);
/// "a, b or c", each in quotes.
std::string alternatives(const std::vector<std::string>& words);
/// "a, b", without quotes; text goes on behind it.
std::string listed(const std::vector<std::string>& words);

}  // namespace tdc
