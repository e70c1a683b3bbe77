// Options and arguments of a command, for the parser and for the description.
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <string>
#include <type_traits>
#include <vector>

#include "stptool/commandline/Description.h"

namespace stptool {

/// Adds what a command takes to the parser and to the description at the same time; both outlive
/// it, and no description is added to their list meanwhile.
class OptionAdder {
 public:
  OptionAdder(CLI::App& app, std::vector<OptionDescription>& options,
              std::vector<OptionDescription>& positionals)
      : app_(app), options_(options), positionals_(positionals) {}

  template <class T>
  CLI::Option* option(const std::string& name, T& value, const std::string& argument,
                      const std::string& text, Completes completes = Completes::nothing) {
    options_.push_back({{name}, argument, text, completes, false, false});
    return app_.add_option(name, value, text)->option_text(argument);
  }

  CLI::Option* flag(const std::string& name, bool& value, const std::string& text) {
    options_.push_back({{name}, {}, text, Completes::nothing, false, false});
    return app_.add_flag(name, value, text);
  }

  template <class T>
  CLI::Option* positional(const std::string& name, T& value, const std::string& text,
                          Completes completes = Completes::nothing) {
    constexpr bool repeats = std::is_same_v<T, std::vector<std::string>>;
    positionals_.push_back({{name}, {}, text, completes, repeats, false});
    return app_.add_option(name, value, text)->type_name("");
  }

  template <class T>
  void required(const std::string& name, T& value, const std::string& text,
                Completes completes = Completes::nothing) {
    positional(name, value, text, completes)->required();
    positionals_.back().required = true;
  }

  CLI::App& app() noexcept { return app_; }

 private:
  CLI::App& app_;
  std::vector<OptionDescription>& options_;
  std::vector<OptionDescription>& positionals_;
};

/// A number as a person types it, with as many digits as it needs.
template <class T>
std::string numberText(T number) {
  char text[32];
  const auto end = [&] {
    if constexpr (std::is_floating_point_v<T>) {
      return std::to_chars(text, text + sizeof text, number, std::chars_format::fixed).ptr;
    } else {
      return std::to_chars(text, text + sizeof text, number).ptr;
    }
  };
  return {text, end()};
}

/// A check that a number lies between two others, both allowed. The parser's own one shows its
/// limits with six digits each.
template <class T>
auto within(T low, T high) {
  return [=](const std::string& text) {
    T number{};
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool isNumber = read.ec == std::errc() && read.ptr == end;
    if (isNumber && low <= number && number <= high) return std::string();
    return "'" + text + "' is refused; allowed: " + numberText(low) + " to " + numberText(high);
  };
}

}  // namespace stptool
