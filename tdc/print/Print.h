// The canonical source.
#pragma once

#include <string>

#include "tdc/syntax/Tree.h"

namespace tdc {

/// Prints a tree that was parsed without errors. Ids, kinds and names of a block stand in columns;
/// comments stay with what they belong to. Printing what is printed changes nothing.
std::string print(const syntax::File& file);

}  // namespace tdc
