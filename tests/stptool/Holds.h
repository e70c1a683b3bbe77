// Expectations of what a process said, with all of it where they fail.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Process.h"

/// Whether the text has the part.
inline testing::AssertionResult holds(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "'" << part << "' is missing in:\n" << text;
}

/// Whether it ended with the code and said so.
inline testing::AssertionResult complains(const Ended& ended, int code, const std::string& part) {
  if (ended.code == code) return holds(ended.err, part);
  return testing::AssertionFailure() << "it ended with " << ended.code << ": " << ended.err;
}
