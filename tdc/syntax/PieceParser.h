// The pieces that declarations are made of: names, numbers, types, defaults and bounds.
#pragma once

#include <string>

#include "tdc/syntax/TokenReader.h"

namespace tdc {

/// Each reads one piece, or reports what stands there instead and gives the item up.
class PieceParser : public TokenReader {
 protected:
  using TokenReader::TokenReader;

  /// A name that stands for something declared elsewhere.
  syntax::Word use(const std::string& what);
  /// A name that is declared here.
  syntax::Word name(const std::string& what);
  syntax::Word qualifiedUse(const std::string& what);
  syntax::Word qualifiedName(const std::string& what);
  syntax::Number number(const std::string& what);
  /// "record" and 16 hexadecimal digits, which are given in lower case.
  syntax::Word record();
  syntax::TypeUse type();
  syntax::Default initial();
  syntax::Bound bound();

 private:
  syntax::Number toNumber(const syntax::Word& word);
};

}  // namespace tdc
