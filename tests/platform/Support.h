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

/// Printed on a stream whose state must not show: base, fill, sign and a locale that groups digits.
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
  out.fill('*');
  out.width(30);
  out << value;
  return out.str();
}

}  // namespace platform::test
