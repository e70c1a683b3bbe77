#include "tdc/model/Members.h"

#include <algorithm>

namespace tdc {

namespace {

constexpr unsigned firstValueId = 2;
constexpr unsigned firstBitsId = 258;
constexpr unsigned firstEntityId = 258;
/// Ids from one level of derivation to the next.
constexpr unsigned idsPerLevel = 128;

std::string textOf(const Span& span) {
  return std::string(span.file->text().substr(span.begin, span.end - span.begin));
}

/// The members' ids, either those of the bits or all others, from `first` to below `end`.
void checkSequence(const Type& type, unsigned first, unsigned end, bool bits,
                   Diagnostics& diagnostics) {
  uint64_t next = first;
  const Member* previous = nullptr;
  bool afterError = false;
  for (const Member& member : type.members) {
    if ((member.kind == MemberKind::bits) != bits) continue;
    // Behind an error, either numbering is taken as meant, so that one slip is one error.
    bool follows = member.id == next || (afterError && member.id == next + 1);
    if (!follows) {
      diagnostics.error(member.idSpan, "id " + textOf(member.idSpan) +
                                           " is out of sequence; the next id of " +
                                           (bits ? "the bits of " : "") + inQuotes(type.name) +
                                           " is " + std::to_string(next));
      if (previous) {
        diagnostics.note(previous->idSpan,
                         inQuotes(previous->name) + " has id " + std::to_string(previous->id));
      }
      afterError = true;
      next = member.id > next && member.id < end ? member.id + 1 : next;
    } else {
      if (member.id >= end) {
        diagnostics.error(member.idSpan, inQuotes(type.name) + " has no room for " +
                                             inQuotes(member.name) + "; its ids end at " +
                                             std::to_string(end - 1));
        return;
      }
      next = member.id + 1;
      afterError = false;
    }
    previous = &member;
  }
}

void checkIds(const Type& type, Diagnostics& diagnostics) {
  bool entity = type.isEntity();
  unsigned first = entity ? firstEntityId + idsPerLevel * type.depth : firstValueId;
  checkSequence(type, first, entity ? first + idsPerLevel : firstBitsId, false, diagnostics);
  checkSequence(type, firstBitsId, 0x8000, true, diagnostics);
}

}  // namespace

void declareMembers(Declared& declared, Diagnostics& diagnostics) {
  Type& type = *declared.type;
  type.members.reserve(declared.memberTrees.size());
  for (const syntax::Member* tree : declared.memberTrees) {
    Member member;
    member.kind = tree->kind;
    member.id = static_cast<unsigned>(std::min<uint64_t>(tree->id.value, 0xFFFFFFFF));
    member.name = tree->name.text;
    member.doc = documentation(*tree);
    member.owner = &type;
    member.unit = tree->unitText;
    member.fixed = tree->fixed.has_value();
    member.readonly = tree->readonly.has_value();
    member.wire32 = tree->wire32.has_value();
    member.nocompare = tree->nocompare.has_value();
    member.constTarget = tree->constTarget;
    member.span = tree->name.span;
    member.idSpan = tree->id.span;
    type.members.push_back(std::move(member));
  }
  if (!declared.tree->base || type.base) checkIds(type, diagnostics);
}

}  // namespace tdc
