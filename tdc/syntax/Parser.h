// Tokens to a syntax tree.
#pragma once

#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Reads any bytes. Errors are added to `diagnostics`, and parsing goes on behind the next `;` or
/// `}`; the tree then lacks what was wrong. The tree points into the file.
syntax::File parse(const SourceFile& file, Diagnostics& diagnostics);

}  // namespace tdc
