// Words that name nothing in C++.
#pragma once

#include <string_view>

namespace tdc {

/// Whether the word is a keyword, alternative spellings of operators included.
bool isCppKeyword(std::string_view word);
/// Whether a header that generated code includes, directly or not, defines a macro of that name. A
/// test asks the compiler for them.
bool isCppMacro(std::string_view word);

}  // namespace tdc
