#include "tdc/model/TypeCheck.h"

#include <map>
#include <vector>

namespace tdc {

namespace {

/// Hashes have 32 bits.
bool hashesToItself(const Type& type) { return type.isInteger() && *type.encodedSize <= 4; }

class TypeCheck {
 public:
  explicit TypeCheck(Diagnostics& diagnostics) : diagnostics_(diagnostics) {}

  void run(const Declared& declared) {
    const Type& type = *declared.type;
    const syntax::Type& tree = *declared.tree;
    switch (type.kind) {
      case TypeKind::entity:
        checkEntity(declared);
        break;
      case TypeKind::unionType:
        checkAlternatives(type);
        checkValueFlags(type, tree);
        break;
      case TypeKind::value:
        checkValueFlags(type, tree);
        break;
      default:
        break;
    }
  }

 private:
  void checkAlternatives(const Type& type) {
    const std::vector<const Member*> alternatives = type.stored();
    if (alternatives.empty()) {
      diagnostics_.error(type.span, "union " + inQuotes(type.name) + " has no alternatives");
    }
    std::map<const Type*, const Member*> known;
    for (const Member* alternative : alternatives) {
      if (!alternative->type) continue;
      auto [other, added] = known.emplace(alternative->type.type, alternative);
      if (!added) {
        diagnostics_.error(alternative->span, "alternatives of a union have different types, and " +
                                                  inQuotes(other->second->name) + " holds " +
                                                  inQuotes(alternative->type.type->name) +
                                                  " already; wrap one of them in a value");
        diagnostics_.note(other->second->span, "that is declared here");
      }
    }
  }

  void checkEntity(const Declared& declared) {
    const Type& type = *declared.type;
    const Member* key = nullptr;
    const Member* other = nullptr;
    for (const Member& member : type.members) {
      if (member.kind == MemberKind::key) {
        const Member* before = type.base ? type.base->keyMember() : nullptr;
        before = before ? before : key;
        if (before) {
          diagnostics_.error(member.span,
                             "an entity has one key; make this an 'attr' or a 'param'");
          diagnostics_.note(before->span, "the key is declared here");
        } else if (type.base) {
          diagnostics_.error(member.span,
                             "a key is declared by the first base, which is named without one");
          diagnostics_.note(type.base->span, "the base is declared here");
        } else if (&member != &type.members.front()) {
          diagnostics_.error(member.span, "a key is the first member; move it up");
        }
        key = key ? key : &member;
      } else if (member.kind == MemberKind::parameter) {
        if (other) {
          diagnostics_.error(member.span, "parameters stand before all other members; move it up");
          diagnostics_.note(other->span, "this stands before it");
        }
      } else if (!other) {
        other = &member;
      }
    }
    if (type.revalidates && !type.base) {
      diagnostics_.error(
          declared.tree->revalidates->span,
          "'revalidates' checks inherited ranges again, and there is no base; remove it");
    }
  }

  void checkValueFlags(const Type& type, const syntax::Type& tree) {
    if (type.identityHash && (!type.wrapped() || !hashesToItself(*type.underlying()))) {
      diagnostics_.error(tree.identity->span,
                         "'identity' is for values of one number of at most 32 bits; remove it");
    }
    if (type.handOrder && type.order == Order::none) {
      diagnostics_.error(
          tree.handOrder->span,
          "'hand order' writes an order by hand; declare one with 'order reflected' or 'order "
          "declared'");
    }
    for (const Member& member : type.members) {
      if (!member.isStored() || !member.type) continue;
      const Type& held = *member.type.type;
      if (type.hashable && !held.hashable) {
        diagnostics_.error(tree.hash->span,
                           inQuotes(type.name) + " cannot be hashed: " + inQuotes(member.name) +
                               " holds " + inQuotes(held.name) + ", which is not hashable");
        diagnostics_.note(member.span, "it is declared here");
      }
      if (type.order != Order::none && !type.handOrder && held.order == Order::none) {
        diagnostics_.error(tree.order->span,
                           inQuotes(type.name) + " cannot be ordered: " + inQuotes(member.name) +
                               " holds " + inQuotes(held.name) +
                               ", which has no order; write it by hand ('hand order')");
        diagnostics_.note(member.span, "it is declared here");
      }
      if (type.noArguments && member.fixed) {
        diagnostics_.error(tree.noArguments->span,
                           inQuotes(type.name) + " needs constructor arguments: " +
                               inQuotes(member.name) + " is fixed; remove one of the two");
        diagnostics_.note(member.span, "it is declared here");
      }
    }
  }

  Diagnostics& diagnostics_;
};

}  // namespace

void checkType(const Declared& declared, Diagnostics& diagnostics) {
  TypeCheck(diagnostics).run(declared);
}

}  // namespace tdc
