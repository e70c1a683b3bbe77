// What the tests of the runtime share.
#pragma once

#include <gtest/gtest.h>

#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <typeinfo>

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
