// A resolved module to C++.
#pragma once

#include <string>

namespace tdc {

struct Module;

/// The text of NAME.h. The module must be free of errors.
std::string emitHeader(const Module& module);
/// The text of NAME.cpp, which includes NAME.h.
std::string emitSource(const Module& module);

}  // namespace tdc
