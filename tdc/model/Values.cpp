#include "tdc/model/Values.h"

#include <cmath>

namespace tdc {

namespace {

std::string written(const TypeUse& use) {
  return inQuotes((use.optional ? "optional " : "") + use.type->name);
}

bool integers(const Scalar& scalar) { return scalar.isInteger(); }

/// The literals, or the first of many.
std::string literals(const Type& type) {
  constexpr size_t shown = 8;
  std::vector<std::string> names;
  for (const Literal& literal : type.literals) {
    if (names.size() == shown) return alternatives(names) + " ...";
    names.push_back(literal.name);
  }
  return alternatives(names);
}

std::string wanted(const Scalar& scalar) {
  switch (scalar.form) {
    case ScalarForm::integer:
      return "a number from 0 to " + std::to_string(scalar.highest());
    case ScalarForm::real:
      return "a number, such as 3.0";
    case ScalarForm::boolean:
      return "'true' or 'false'";
    case ScalarForm::text:
      return "a text in double quotes";
  }
  return "";
}

/// What a default of this type looks like.
std::string wanted(const TypeUse& use) {
  const Type& type = *use.type->underlying();
  std::string absent = use.optional ? ", or 'none'" : "";
  switch (type.kind) {
    case TypeKind::scalar:
      return wanted(*type.scalar) + absent;
    case TypeKind::enumeration:
      return literals(type) + absent;
    case TypeKind::externalValue:
      return "a number or a text";
    case TypeKind::externalEnumeration:
      return "a number" + absent;
    default:
      return "no default of its own; name an earlier attribute of the same type, or leave it out";
  }
}

std::string describe(const Default& value) {
  switch (value.kind) {
    case Default::Kind::implicit:
      return "the type's own default";
    case Default::Kind::number:
      return "a number";
    case Default::Kind::real:
      return "a real";
    case Default::Kind::text:
      return "a text";
    case Default::Kind::boolean:
      return "a bool";
    case Default::Kind::absent:
      return "absent";
    case Default::Kind::enumerator:
      return "a literal";
  }
  return "";
}

/// The field that a member's type wraps, or null.
const Member* inner(const Member& member) {
  return member.type ? member.type.type->wrapped() : nullptr;
}

/// The number that a member starts from: its own default, or that of the outermost wrapper within
/// that has one, or zero.
uint64_t startOf(const Member& member) {
  const Member* at = &member;
  for (int i = 0; at && i < 64; ++i) {
    if (at->initial.kind == Default::Kind::number) return at->initial.number;
    at = inner(*at);
  }
  return 0;
}

}  // namespace

void Values::mismatch(const Member& member, Span where, const std::string& found) {
  diagnostics_.error(where, found + " is no value of " + written(member.type) + "; it takes " +
                                wanted(member.type));
}

void Values::resolve(Member& member, const syntax::Member& tree) {
  if (tree.initial && member.type) resolveDefault(member, *tree.initial);
  if (tree.range && member.type) resolveRange(member, *tree.range);
  resolved_.insert(&member);
}

void Values::resolveDefault(Member& member, const syntax::Default& tree) {
  const Type& type = *member.type.type->underlying();
  member.initial.spelling = (tree.negative ? "-" : "") + tree.word.text;
  switch (tree.kind) {
    case syntax::Default::Kind::number:
      resolveNumber(member, tree);
      return;
    case syntax::Default::Kind::real:
      if (!type.is(ScalarForm::real)) {
        mismatch(member, tree.span, inQuotes(member.initial.spelling));
      } else if (!std::isfinite(tree.real)) {
        diagnostics_.error(tree.span, "the number is too large for " + written(member.type));
      } else {
        member.initial.kind = Default::Kind::real;
        member.initial.real = tree.negative ? -tree.real : tree.real;
      }
      return;
    case syntax::Default::Kind::text:
      if (!type.is(ScalarForm::text) && type.kind != TypeKind::externalValue) {
        mismatch(member, tree.span, "a text");
        return;
      }
      member.initial.kind = Default::Kind::text;
      member.initial.text = tree.text;
      return;
    case syntax::Default::Kind::word:
      resolveWord(member, tree);
      return;
  }
}

void Values::resolveNumber(Member& member, const syntax::Default& tree) {
  const Type& type = *member.type.type->underlying();
  if (type.kind == TypeKind::enumeration) {
    const Literal* literal =
        tree.number.value <= INT64_MAX
            ? type.findLiteral(static_cast<int64_t>(tree.number.value) * (tree.negative ? -1 : 1))
            : nullptr;
    diagnostics_.error(tree.span, "a default of " + written(member.type) + " is a literal: " +
                                      (literal ? inQuotes(literal->name) : wanted(member.type)));
    return;
  }
  uint64_t most = type.is(ScalarForm::real) ? INT64_MAX : type.maxNumber();
  if (most == 0) {
    mismatch(member, tree.span, inQuotes(member.initial.spelling));
    return;
  }
  bool negative = tree.negative && tree.number.value != 0;
  if (tree.number.value > most || (negative && !type.is(ScalarForm::real))) {
    diagnostics_.error(tree.span, member.initial.spelling + " does not fit " +
                                      written(member.type) + "; allowed is 0 to " +
                                      std::to_string(most));
    return;
  }
  member.initial.kind = Default::Kind::number;
  member.initial.number = tree.number.value;
  member.initial.negative = negative;
}

void Values::resolveWord(Member& member, const syntax::Default& tree) {
  const Type& type = *member.type.type->underlying();
  const std::string& word = tree.word.text;
  if (word == "none" && member.type.optional) {
    member.initial.kind = Default::Kind::absent;
    return;
  }
  if (const Literal* literal = type.findLiteral(word)) {
    member.initial.kind = Default::Kind::enumerator;
    member.initial.literal = literal;
    return;
  }
  if (word == "true" || word == "false") {
    if (!type.is(ScalarForm::boolean)) {
      mismatch(member, tree.span, inQuotes(word));
      return;
    }
    member.initial.kind = Default::Kind::boolean;
    member.initial.boolean = word == "true";
    return;
  }
  if (const Member* origin = member.owner->find(word)) {
    takeFrom(member, *origin, tree);
    return;
  }
  std::vector<std::string> names;
  for (const Type* at = member.owner; at; at = at->base) {
    for (const Member& other : at->members) names.push_back(other.name);
  }
  for (const Literal& literal : type.literals) names.push_back(literal.name);
  if (member.type.optional) names.emplace_back("none");
  if (type.is(ScalarForm::boolean)) names.insert(names.end(), {"true", "false"});
  std::string suggestion = didYouMean(word, names);
  diagnostics_.error(tree.span, "there is no literal, constant or attribute " + inQuotes(word) +
                                    (suggestion.empty() ? "; " + written(member.type) + " takes " +
                                                              wanted(member.type)
                                                        : suggestion));
}

bool Values::known(const Member& member, const Member& origin) const {
  return origin.owner != member.owner || resolved_.count(&origin) != 0;
}

bool Values::takeFrom(Member& member, const Member& origin, const syntax::Default& tree) {
  auto refuse = [&](const std::string& text) {
    diagnostics_.error(tree.span, text);
    diagnostics_.note(origin.span, inQuotes(origin.name) + " is declared here");
    return false;
  };
  bool stored = origin.kind == MemberKind::attribute || origin.kind == MemberKind::field ||
                origin.kind == MemberKind::counter;
  if (!origin.isConstant() && !stored) {
    return refuse("a default names a constant, a literal or an earlier attribute; " +
                  inQuotes(origin.name) + " is none");
  }
  if (member.isConstant() && !origin.isConstant()) {
    return refuse("the value of a constant cannot come from an attribute; name a constant");
  }
  if (&origin == &member || !known(member, origin)) {
    return refuse("a default names what is declared before it; move " + inQuotes(origin.name) +
                  " up");
  }
  if (!origin.type) return false;
  const Type& type = *member.type.type->underlying();
  const Default& value = origin.initial;
  // A constant may be narrower than what starts from it; an attribute is copied as it is.
  bool fits = origin.type == member.type;
  if (!fits && origin.isConstant()) {
    switch (value.kind) {
      case Default::Kind::number:
        fits = type.is(ScalarForm::real) || (!value.negative && value.number <= type.maxNumber() &&
                                             type.kind != TypeKind::enumeration);
        break;
      case Default::Kind::real:
        fits = type.is(ScalarForm::real);
        break;
      case Default::Kind::text:
        fits = type.is(ScalarForm::text) || type.kind == TypeKind::externalValue;
        break;
      case Default::Kind::boolean:
        fits = type.is(ScalarForm::boolean);
        break;
      case Default::Kind::enumerator:
        fits = origin.type.type->underlying() == &type;
        break;
      default:
        break;
    }
  }
  if (!fits) {
    std::string what = origin.isConstant() && value.kind != Default::Kind::implicit
                           ? describe(value) + " (" + written(origin.type) + ")"
                           : "a " + written(origin.type);
    return refuse(inQuotes(origin.name) + " is " + what + ", and " + inQuotes(member.name) +
                  " is a " + written(member.type));
  }
  std::string spelling = member.initial.spelling;
  member.initial = value;
  member.initial.spelling = spelling;
  member.initial.origin = &origin;
  return true;
}

bool Values::resolveBound(const Member& member, const syntax::Bound& tree, Bound& bound) {
  bound.spelling = tree.word.text;
  uint64_t most = member.type.type->underlying()->maxNumber();
  bool negative = false;
  if (tree.number) {
    bound.value = tree.number->value;
  } else {
    const Member* constant = member.owner->find(tree.word.text);
    if (!constant) {
      std::vector<std::string> names;
      for (const Type* at = member.owner; at; at = at->base) {
        for (const Member& other : at->members) {
          if (other.isConstant()) names.push_back(other.name);
        }
      }
      diagnostics_.error(tree.word.span, "there is no constant " + inQuotes(tree.word.text) +
                                             " in " + inQuotes(member.owner->name) +
                                             didYouMean(tree.word.text, names));
      return false;
    }
    if (!constant->isConstant() || constant->initial.kind != Default::Kind::number) {
      if (constant->isConstant() && constant->initial.kind == Default::Kind::implicit) {
        return false;  // its value is wrong, which is reported
      }
      diagnostics_.error(tree.word.span, "a bound is a number or a constant that is one; " +
                                             inQuotes(tree.word.text) + " is neither");
      diagnostics_.note(constant->span, "it is declared here");
      return false;
    }
    bound.constant = constant;
    bound.value = constant->initial.number;
    negative = constant->initial.negative;
  }
  if (negative || bound.value > most) {
    diagnostics_.error(tree.word.span, "bound " + inQuotes(bound.spelling) + " does not fit " +
                                           written(member.type) + "; allowed is 0 to " +
                                           std::to_string(most));
    return false;
  }
  return true;
}

void Values::resolveRange(Member& member, const syntax::Range& tree) {
  if (member.type.optional || !member.type.type->underlying()->isInteger()) {
    diagnostics_.error(tree.span, "a range is for " + listed(scalarWords(integers)) +
                                      " and values of one such number; " + written(member.type) +
                                      " is none");
    return;
  }
  const Type& type = *member.type.type;
  if (!type.isInteger() && (!type.number() || type.number()->name != "value")) {
    diagnostics_.error(tree.span,
                       "a range looks at the number of a value in its field 'value', and " +
                           written(member.type) + " has no such number");
    return;
  }
  Range range;
  bool low = resolveBound(member, tree.low, range.low);
  bool high = resolveBound(member, tree.high, range.high);
  if (!low || !high) return;
  if (range.low.value > range.high.value) {
    diagnostics_.error(tree.span, "the bounds are reversed: " + std::to_string(range.low.value) +
                                      " is above " + std::to_string(range.high.value));
    return;
  }
  member.range = std::move(range);
}

void Values::check(const Member& member, const syntax::Member& tree) {
  if (!member.type) return;
  const Type& type = *member.type.type;
  bool starts = member.kind == MemberKind::field || member.kind == MemberKind::attribute ||
                member.kind == MemberKind::alternative;
  if (starts && !tree.initial && !member.type.optional && type.kind == TypeKind::enumeration &&
      !type.findLiteral(0)) {
    diagnostics_.error(member.span,
                       inQuotes(member.name) + " starts at 0, which is no literal of " +
                           inQuotes(type.name) + "; write a default: " + wanted(member.type));
    return;
  }
  if (!type.underlying()->isInteger()) return;
  bool written = member.initial.kind == Default::Kind::number;
  if (tree.initial && !written) {
    return;  // wrong, which is reported
  }
  // What stands inside a wrapper was checked where the wrapper is declared, unless it is replaced.
  const uint64_t number = startOf(member);
  const Member* checked = &member;
  while (checked) {
    if (checked->range &&
        (number < checked->range->low.value || number > checked->range->high.value)) {
      reportOutside(member, *checked, number, tree);
      return;
    }
    checked = written ? inner(*checked) : nullptr;
  }
}

void Values::reportOutside(const Member& member, const Member& checked, uint64_t number,
                           const syntax::Member& tree) {
  bool written = tree.initial.has_value();
  std::string what =
      written ? "default " + tree.initial->word.text
              : inQuotes(member.name) + " starts at " + std::to_string(number) + ", which";
  if (member.initial.origin) what += " (" + std::to_string(number) + ")";
  what += " is outside the range " + std::to_string(checked.range->low.value) + ".." +
          std::to_string(checked.range->high.value);
  if (&checked != &member) what += " of " + inQuotes(checked.owner->name);
  diagnostics_.error(written ? tree.initial->span : member.span,
                     what + (written ? "; write a value within" : "; write a default within"));
  if (&checked != &member) diagnostics_.note(checked.span, "the range is declared here");
}

}  // namespace tdc
