// How values are written to the streams of the standard library.
#pragma once

#include <ostream>
#include <string>

namespace Tovo {

/// Writes the text form as a std::string is written: the stream's width holds for the whole of it,
/// is filled and adjusted as the stream says, and is used up. Its base, sign and locale do not
/// show.
template <class T>
std::ostream& printText(std::ostream& os, const T& value) {
  std::string text;
  value.appendText(text);
  return os << text;
}

}  // namespace Tovo
