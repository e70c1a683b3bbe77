// What the tests of the runtime share.
#pragma once

#include <gtest/gtest.h>

#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "Tovo/Exceptions.h"

namespace platform::test {

/// The exception that the call throws; none, and a failed test, when it throws none or an object of
/// another class, even of a derived one.
template <class Exception, class Call>
std::optional<Exception> thrownBy(const Call& call) {
  try {
    call();
  } catch (const Exception& exception) {
    EXPECT_STREQ(typeid(exception).name(), typeid(Exception).name());
    return exception;
  } catch (const std::exception& exception) {
    ADD_FAILURE() << typeid(exception).name() << ": " << exception.what();
    return {};
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

/// What the exception of just this class says; empty, and a failed test, where none is thrown.
template <class Exception, class Call>
std::string saidBy(const Call& call) {
  const auto exception = thrownBy<Exception>(call);
  return exception ? exception->what() : std::string();
}

/// The place that the ParseException names; a failed test where none is thrown.
template <class Call>
size_t faultAt(const Call& call) {
  const auto exception = thrownBy<Tovo::ParseException>(call);
  return exception ? exception->position() : std::string::npos;
}

/// What stands between bars: "a|b" are two texts.
inline std::vector<std::string> barred(std::string_view text) {
  std::vector<std::string> parts;
  for (;;) {
    const size_t end = text.find('|');
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

/// Printed on a stream whose base, sign and locale must not show; without the fill, which must be
/// that of the whole text, and only of it.
template <class T>
std::string printedOddly(const T& value) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\1"; }
    char do_thousands_sep() const override { return '\''; }
    std::string do_truename() const override { return "ja"; }
  };
  std::ostringstream out;
  out.imbue(std::locale(std::locale::classic(), new Grouping));
  out << std::hex << std::showbase << std::uppercase << std::showpos << std::boolalpha;
  constexpr size_t width = 40;
  out.fill('*');
  out.width(width);
  out << value << '|';
  const std::string text = out.str();
  EXPECT_EQ(text.find('|'), width);
  return text.substr(0, width).substr(text.find_first_not_of('*'));
}

}  // namespace platform::test
