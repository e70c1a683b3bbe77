// Numbers as people write them.
#pragma once

#include <string>

namespace tdc {

/// The fewest digits that read back equal, without an exponent while that takes no more than some
/// twenty of them: "30", "0.1", "1e+300". `number` is finite.
std::string plainText(double number);

}  // namespace tdc
