// The rows of a module's tables: which there are, and how one is printed.
#pragma once

#include <string>
#include <vector>

#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// Calls visit(type, member) for each row of the attribute table. `member` is null for the name of
/// an entity and for its text, in this order; an entity with a key has the latter only.
template <class Visit>
void forEachRow(const Module& module, const Visit& visit) {
  const Member* const none = nullptr;
  for (const Type* type : module.types) {
    if (type->isEntity() && !type->base) {
      if (!type->keyMember()) visit(*type, none);
      visit(*type, none);
    }
    for (const Member& member : type->members) visit(*type, &member);
  }
}
/// How many of them a type has, without those of its base.
size_t ownRows(const Type& type);
/// Whether the table has rows without a member.
bool hasRuntimeRows(const Module& module);

/// One row in braces; long texts are cut into literals of one line. An item may begin with the name
/// of what it initializes: ".low = 6".
void wrappedRow(Writer& out, const std::vector<std::string>& items);
/// Begins with `start`, and each further line with `indent`.
void wrappedPieces(Writer& out, const std::string& start, const std::string& indent,
                   const std::vector<std::string>& pieces);
/// "readOnly | ranged"; empty without any.
std::string joinedFlags(const std::vector<std::string>& flags);

}  // namespace tdc
