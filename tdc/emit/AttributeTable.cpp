#include "tdc/emit/AttributeTable.h"

#include "tdc/emit/TableRows.h"
#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

std::string kindName(const Member& member) {
  switch (member.kind) {
    case MemberKind::field:
    case MemberKind::list:
      return "field";
    case MemberKind::counter:
      return member.owner->isEntity() ? "attribute" : "field";
    case MemberKind::constant:
      return "constant";
    case MemberKind::bits:
      return "bits";
    case MemberKind::indexed:
      return "indexed";
    case MemberKind::query:
      return "query";
    case MemberKind::alternative:
      return "alternative";
    case MemberKind::parameter:
    case MemberKind::key:
      return "parameter";
    case MemberKind::attribute:
      return "attribute";
    case MemberKind::pointer:
      return "pointer";
    case MemberKind::own:
      return "ownCollection";
    case MemberKind::reference:
      return "refCollection";
    case MemberKind::map:
      return "valueCollection";
    case MemberKind::set:
      return "selfKeyedCollection";
  }
  return {};
}

/// A mark of a row, as the runtime calls it, and which members have it.
struct Flag {
  const char* name;
  bool (*holds)(const Member& member);
};

constexpr Flag memberFlags[] = {
    {"readOnly", [](const Member& member) { return member.readonly || member.fixed; }},
    {"optional", [](const Member& member) { return member.type.optional; }},
    {"list", [](const Member& member) { return member.kind == MemberKind::list; }},
    {"counter", [](const Member& member) { return member.kind == MemberKind::counter; }},
    {"toConst", [](const Member& member) { return member.constTarget; }},
    {"ranged", [](const Member& member) { return member.range.has_value(); }},
    {"noCompare", [](const Member& member) { return member.nocompare; }},
    {"fixed", [](const Member& member) { return member.fixed; }},
};
constexpr const char* notStored = "notStored";

std::string flagsOf(const Member& member) {
  std::vector<std::string> names;
  for (const Flag& flag : memberFlags) {
    if (flag.holds(member)) names.emplace_back(flag.name);
  }
  return names.empty() ? "0" : joinedFlags(names);
}

void emitShortNames(Writer& out) {
  out.line(std::string("using ") + TableNames::attributeKind + " = Tovo::AttributeKind;");
  const auto constant = [&](const char* name) {
    out.line(std::string("static constexpr auto ") + name +
             " = Tovo::AttributeDescriptor::" + name + ";");
  };
  for (const Flag& flag : memberFlags) constant(flag.name);
  constant(notStored);
  out.line();
}

std::string kind(const std::string& name) { return within(TableNames::attributeKind, name); }

}  // namespace

void AttributeTable::emit(Writer& out, const Module& module, const TypeCodes& codes) {
  emitShortNames(out);
  out.line(std::string("static constexpr Tovo::AttributeDescriptor ") + TableNames::attributes +
           "[] = {");
  out.indent();
  out.line(
      "// id, kind, flags, type, type of the key, place of the name, offset, place of the details");
  size_t rows = 0;
  size_t detail = hasRuntimeRows(module) ? 1 : 0;
  const Type* current = nullptr;
  bool nameNext = false;
  forEachRow(module, [&](const Type& type, const Member* member) {
    if (&type != current) {
      current = &type;
      firstRows_[current] = rows;
      out.line("// " + type.qualifiedName);
      nameNext = !member && !type.keyMember();
    }
    ++rows;
    if (!member) {
      const std::string name = nameNext ? "name" : "nameString";
      nameNext = false;
      wrappedRow(out, {"Tovo::" + name + "Id", kind(name), "readOnly", codes.of(builtIn("String")),
                       "0", std::to_string(nameOffset(name)), notStored, "0"});
      return;
    }
    const bool stored = member->isStored() && !type.isUnion();
    const std::string offset =
        stored ? "offsetof(" + type.qualifiedName + ", " + nameOf(*member, Derived::storage) + ")"
               : notStored;
    wrappedRow(out, {std::to_string(member->id), kind(kindName(*member)), flagsOf(*member),
                     codes.of(member->type.type), codes.ofKey(*member),
                     std::to_string(nameOffset(member->name)), offset, std::to_string(detail++)});
  });
  if (rows == 0) {
    out.line("{0, " + kind("constant") + ", 0, 0, 0, 0, " + notStored + ", 0},");
    nameOffset("");
  }
  out.outdent();
  out.line("};");
  out.line();
}

size_t AttributeTable::firstRow(const Type& type) const {
  const auto first = firstRows_.find(&type);
  return first == firstRows_.end() ? 0 : first->second;
}

size_t AttributeTable::nameOffset(const std::string& name) {
  const auto [at, inserted] = nameOffsets_.emplace(name, nameBytes_);
  if (inserted) {
    names_.push_back(name);
    nameBytes_ += name.size() + 1;
  }
  return at->second;
}

}  // namespace tdc
