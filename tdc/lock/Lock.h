// The id list: one line for everything that peers must agree on.
#pragma once

#include <string>
#include <vector>

#include "tdc/model/Model.h"

namespace tdc {

/// The list of these modules, in the order in which they register. Columns are separated by single
/// blanks, an empty one is `-`:
///
///     module index type kind size
///     module type id name kind type default low..high
///     module type number literal
std::string lockText(std::vector<const Module*> modules);

/// The lines that differ, `-` before those of the old text and `+` before those of the new; empty
/// where the texts are equal.
std::string difference(const std::string& oldText, const std::string& newText);

}  // namespace tdc
