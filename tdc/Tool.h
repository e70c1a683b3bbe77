// The command line.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "tdc/model/Model.h"

namespace tdc {

/// What makes C++ of a module.
struct Emitter {
  std::function<std::string(const Module&)> header;
  std::function<std::string(const Module&)> source;
};

/// Runs `tdc` with the arguments behind the program's name and gives the exit code: 0 done,
/// 1 errors in the input or an out-of-date list, 2 wrong arguments or a file that cannot be read or
/// written. Throws nothing of its own.
int run(const std::vector<std::string>& arguments, const Emitter& emitter, std::ostream& out,
        std::ostream& err);

}  // namespace tdc
