#include "tdc/model/MemberTypes.h"

#include <algorithm>

#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

bool isKey(const Scalar& scalar) { return scalar.key; }
bool hasBits(const Scalar& scalar) { return scalar.hasBits(); }

std::string count(unsigned bits) { return std::to_string(bits) + (bits == 1 ? " bit" : " bits"); }

}  // namespace

const Type* MemberTypes::elementType(const Type& owner, const syntax::Member& tree,
                                     TypeKind wanted) {
  const Type* type = names_.lookUp(tree.type.name, owner);
  if (type && type->kind != wanted) {
    bool entity = wanted == TypeKind::entity;
    diagnostics_.error(tree.type.span, inQuotes(tree.type.name.text) + " is no " +
                                           (entity ? "entity" : "value") + "; " +
                                           inQuotes(keyword(tree.kind)) + " takes " +
                                           (entity ? "an entity" : "a value with a key field"));
    diagnostics_.note(type->span, "it is declared here");
    return nullptr;
  }
  return type;
}

TypeUse MemberTypes::storedType(const Type& owner, const syntax::TypeUse& tree, MemberKind kind) {
  const Type* type = names_.lookUp(tree.name, owner);
  if (!type) return {};
  if (type->isEntity()) {
    diagnostics_.error(tree.span,
                       inQuotes(tree.name.text) +
                           " is an entity, which is never held by value; use 'ptr', 'own' or "
                           "'ref' in an entity");
    return {};
  }
  if (type->kind == TypeKind::scope) {
    diagnostics_.error(
        tree.span, inQuotes(tree.name.text) + " is a scope; name one of the enumerations in it");
    return {};
  }
  if (tree.optional && kind != MemberKind::field) {
    diagnostics_.error(tree.span, "'optional' is for fields of a value only; take it away");
    return {};
  }
  bool oneByte = type->is(ScalarForm::boolean) || (type->isEnumeration() && type->width == 1);
  if (tree.optional && !oneByte) {
    diagnostics_.error(tree.span,
                       "'optional' takes bool or a u8 enumeration, which have 255 free for "
                       "absent; " +
                           inQuotes(tree.name.text) + " is neither");
    return {};
  }
  if (tree.optional && type->findLiteral(255)) {
    diagnostics_.error(tree.span,
                       inQuotes(tree.name.text) + " cannot be optional: 255, its literal " +
                           inQuotes(type->findLiteral(255)->name) + ", stands for absent");
    return {};
  }
  return {type, tree.optional};
}

const Type* MemberTypes::keyType(const Type& owner, const syntax::TypeUse& tree) {
  const Type* type = names_.lookUp(tree.name, owner);
  if (!type) return nullptr;
  if (tree.optional || !type->isKey()) {
    reportNoKey(tree.span, tree.name.text, *type);
    return nullptr;
  }
  return type;
}

void MemberTypes::reportNoKey(Span where, const std::string& name, const Type& type) {
  bool value =
      type.kind == TypeKind::value || type.isUnion() || type.kind == TypeKind::externalValue;
  diagnostics_.error(where, inQuotes(name) + " cannot be a key; keys are " +
                                listed(scalarWords(isKey)) + " or a hashable value" +
                                (value ? " (flag 'hash')" : ""));
  diagnostics_.note(type.span, "it is declared here");
}

void MemberTypes::resolveType(Type& type, Member& member, const syntax::Member& tree) {
  switch (member.kind) {
    case MemberKind::own:
    case MemberKind::reference:
    case MemberKind::pointer:
      member.type.type = elementType(type, tree, TypeKind::entity);
      break;
    case MemberKind::set:
      member.type.type = elementType(type, tree, TypeKind::value);
      break;
    case MemberKind::key:
      member.type.type = keyType(type, tree.type);
      break;
    default:
      member.type = storedType(type, tree.type, member.kind);
      break;
  }
  if (member.kind == MemberKind::reference || member.kind == MemberKind::map) {
    member.key = keyType(type, tree.keyType);
  }
  if (member.wire32 && member.type && !member.type.type->isEnumeration()) {
    diagnostics_.error(tree.wire32->span, "'wire u32' is for enumerations only; " +
                                              inQuotes(tree.type.name.text) + " is none");
  }
}

void MemberTypes::resolveReferences(Type& type, Member& member, const syntax::Member& tree) {
  switch (member.kind) {
    case MemberKind::bits:
      resolveBits(type, member, tree);
      break;
    case MemberKind::own:
      resolveOwn(member, tree);
      break;
    case MemberKind::set:
      resolveSet(member, tree);
      break;
    default:
      break;
  }
}

std::string MemberTypes::suggest(const Type& type, const std::string& name) const {
  if (!diagnostics_.suggests()) return "";
  std::vector<std::string> names;
  for (const Type* at = &type; at; at = at->base) {
    for (const Member& member : at->members) names.push_back(member.name);
  }
  return didYouMean(name, names);
}

void MemberTypes::resolveBits(const Type& type, Member& member, const syntax::Member& tree) {
  const Member* field = type.find(tree.field.text);
  if (!field) {
    diagnostics_.error(tree.field.span, "there is no field " + inQuotes(tree.field.text) + " in " +
                                            inQuotes(type.name) + suggest(type, tree.field.text));
    return;
  }
  if (!field->type) return;
  if (field->kind != MemberKind::field ||
      !(field->type.type->scalar && hasBits(*field->type.type->scalar))) {
    diagnostics_.error(tree.field.span,
                       inQuotes(tree.field.text) +
                           " has no bits to view; name a field of one of the types " +
                           listed(scalarWords(hasBits)));
    diagnostics_.note(field->span, "it is declared here");
    return;
  }
  member.field = field;
  const syntax::Number& high = tree.highBit ? *tree.highBit : tree.lowBit;
  uint64_t width = *field->type.type->encodedSize * 8;
  if (tree.lowBit.value > high.value) {
    diagnostics_.error(tree.lowBit.span + high.span,
                       "the bits are reversed; write the lower one first");
    return;
  }
  if (high.value >= width) {
    diagnostics_.error(high.span, "bit " + high.spelling + " is outside " + inQuotes(field->name) +
                                      ", whose bits are 0 to " + std::to_string(width - 1));
    return;
  }
  member.lowBit = static_cast<unsigned>(tree.lowBit.value);
  member.highBit = static_cast<unsigned>(high.value);
  checkBitsType(member, tree);
}

void MemberTypes::checkBitsType(const Member& member, const syntax::Member& tree) {
  if (!member.type) return;
  unsigned bits = member.highBit - member.lowBit + 1;
  const Type& type = *member.type.type;
  if (type.is(ScalarForm::boolean)) {
    if (bits != 1) {
      diagnostics_.error(tree.type.span, "bool has one bit, and these are " + count(bits));
    }
  } else if (type.scalar && hasBits(*type.scalar)) {
    if (bits > *type.encodedSize * 8) {
      diagnostics_.error(tree.type.span,
                         count(bits) + " do not fit " + type.name + "; take a wider type");
    }
  } else if (type.kind == TypeKind::enumeration && type.width == 1) {
    for (const Literal& literal : type.literals) {
      if (bits < 8 && literal.number >= (1 << bits)) {
        diagnostics_.error(tree.type.span, "literal " + inQuotes(literal.name) + " (" +
                                               std::to_string(literal.number) + ") of " +
                                               inQuotes(type.name) + " does not fit " +
                                               count(bits));
        diagnostics_.note(type.span, "it is declared here");
        break;
      }
    }
  } else if (type.kind != TypeKind::externalEnumeration || type.width != 1) {
    diagnostics_.error(tree.type.span,
                       "bits are bool, " + listed(scalarWords(hasBits)) + " or a u8 enumeration");
  }
}

void MemberTypes::resolveOwn(Member& member, const syntax::Member& tree) {
  if (!member.type) return;
  const Type& element = *member.type.type;
  member.keyMember = element.keyMember();
  const std::string wantedKey = keyName(member.keyMember);
  if (tree.keyName.text != wantedKey) {
    diagnostics_.error(tree.keyName.span, "the key of " + inQuotes(element.name) + " is " +
                                              inQuotes(wantedKey) + ", not " +
                                              inQuotes(tree.keyName.text));
    diagnostics_.note(!member.keyMember ? element.span : member.keyMember->span,
                      "it is declared here");
  }
  member.key = !member.keyMember ? builtIn("String") : member.keyMember->type.type;
  member.parameters = element.parameters();
  std::string wanted;
  for (const Member* parameter : member.parameters) {
    wanted += (wanted.empty() ? "" : ", ") + parameter->name;
  }
  bool equal = std::equal(
      member.parameters.begin(), member.parameters.end(), tree.parameters.begin(),
      tree.parameters.end(),
      [](const Member* declared, const syntax::Word& word) { return declared->name == word.text; });
  if (!equal) {
    Span where = tree.parameters.empty()
                     ? tree.type.span
                     : tree.parameters.front().span + tree.parameters.back().span;
    diagnostics_.error(
        where, wanted.empty()
                   ? inQuotes(element.name) + " has no parameters; remove them and the brackets"
                   : "the parameters of " + inQuotes(element.name) + " are '(" + wanted +
                         ")'; write them behind its name");
    diagnostics_.note(member.parameters.empty() ? element.span : member.parameters.front()->span,
                      "they are declared here");
  }
}

void MemberTypes::resolveSet(Member& member, const syntax::Member& tree) {
  if (!member.type) return;
  const Type& element = *member.type.type;
  const Member* field = element.find(tree.keyName.text);
  if (!field || field->kind != MemberKind::field) {
    diagnostics_.error(tree.keyName.span, "there is no field " + inQuotes(tree.keyName.text) +
                                              " in " + inQuotes(element.name) +
                                              suggest(element, tree.keyName.text));
    diagnostics_.note(element.span, "it is declared here");
    return;
  }
  if (!field->type) return;
  if (!field->type.type->isKey()) {
    reportNoKey(tree.keyName.span, field->name, *field->type.type);
    return;
  }
  member.keyMember = field;
  member.key = field->type.type;
}

}  // namespace tdc
