// The id list: one line for everything that peers must agree on.
#pragma once

#include <string>
#include <vector>

#include "tdc/model/Model.h"

namespace tdc {

/// The list of these modules, in the order in which they register. Columns are separated by single
/// blanks, an empty one is `-`:
///
///     module "record" hash
///     module index type kind size marks base
///     module type number literal
///     module type id name kind type default low..high marks unit
///
/// The size is that of an encoded value where all have the same. Defaults and bounds that are
/// constants say so, as `low=6`. Marks stand between commas: of a type `hash` or `identityhash`,
/// `order`, `noargs`, `factory`; of a member `readonly`, `fixed`, `const` (a pointer's target),
/// `nocompare`. What reflection says of the built types reads the same, line by line.
std::string lockText(std::vector<const Module*> modules);

/// False for a list that an earlier tdc wrote, with other columns.
bool isOfThisForm(const std::string& text);

/// The lines that differ, `-` before those of the old text and `+` before those of the new; empty
/// where the texts are equal.
std::string difference(const std::string& oldText, const std::string& newText);

}  // namespace tdc
