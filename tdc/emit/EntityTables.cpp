#include "tdc/emit/EntityTables.h"

#include "tdc/emit/TableRows.h"
#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

// Attributes with values of fixed size and no other ones that travel between them.
std::vector<std::vector<const Member*>> runsOf(const Type& type) {
  std::vector<std::vector<const Member*>> runs(1);
  for (const Member& member : type.members) {
    const bool isValue = member.kind == MemberKind::attribute || member.kind == MemberKind::counter;
    if (isValue && !member.type.optional && !member.wire32 && member.type.type->encodedSize) {
      runs.back().push_back(&member);
    } else if (isValue || member.kind == MemberKind::pointer || member.isCollection()) {
      runs.emplace_back();
    }
  }
  std::erase_if(runs, [](const auto& run) { return run.size() < 2; });
  return runs;
}

}  // namespace

void emitRuns(Writer& out, const Module& module, UniqueNames& names) {
  for (const Type* type : module.types) {
    if (!type->isEntity()) continue;
    const auto runs = runsOf(*type);
    if (runs.empty()) continue;
    out.line("static constexpr Tovo::NboAttrLog::ValueRun " +
             names.ofTable(*type, TableNames::runs) + "[] = {");
    out.indent();
    for (const auto& run : runs) {
      std::vector<std::string> pieces = {std::to_string(run.front()->id) + ",",
                                         std::to_string(run.back()->id) + ","};
      for (const Member* member : run) {
        const bool last = member == run.back();
        pieces.push_back("&" + within(*type, nameOf(*member, Derived::storage)) +
                         (last ? ">()," : ","));
      }
      wrappedPieces(out, "Frame::valueRun<", "    ", pieces);
    }
    out.outdent();
    out.line("};");
    out.line();
  }
}

void emitHooks(Writer& out, const Module& module, UniqueNames& names) {
  bool any = false;
  for (const Type* type : module.types) {
    if (!type->isEntity()) continue;
    any = true;
    const std::string& name = type->qualifiedName;
    out.line("static constexpr Tovo::EntityHooks " + names.ofTable(*type, TableNames::hooks) +
             " =");
    out.line("    Frame::entityHooks<" + name + ", " + within(name, EntityNames::flowOut.name) +
             ",");
    out.line("        &" + within(name, nameOf(*type, Derived::creator)) + ">(" +
             (runsOf(*type).empty() ? "" : names.ofTable(*type, TableNames::runs)) + ");");
  }
  if (any) out.line();
}

}  // namespace tdc
