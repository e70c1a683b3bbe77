// The members of values, unions and entities.
#pragma once

#include <optional>
#include <string>

#include "tdc/syntax/PieceParser.h"

namespace tdc {

class MemberParser : public PieceParser {
 protected:
  using PieceParser::PieceParser;

  /// One member of a type of this kind, from its id to the semicolon.
  void member(syntax::TypeKind type, syntax::Member& member);
  /// Notes a flag, which stands once.
  void flag(std::optional<syntax::Word>& flag, syntax::Word word);

 private:
  void memberKind(syntax::TypeKind type, syntax::Member& member);
  /// What stands between the name and the clauses.
  void shape(syntax::Member& member);
  void expectCounterType();
  void entityName(syntax::Member& member);
  void ownParameters(syntax::Member& member);
  void clauses(syntax::Member& member);
  bool peekStartsNextMember();
  void clause(const std::string& word, syntax::Member& member);
};

}  // namespace tdc
