#include <algorithm>
#include <map>
#include <set>

#include "tdc/emit/ClassModel.h"
#include "tdc/emit/CppNames.h"

namespace tdc {

namespace {

constexpr size_t primitiveCodes = 16;

bool registered(const Type& type) { return type.index >= 0; }

// The name in the module's list of type names; empty for what the list leaves out.
std::string listedName(const Type& type) {
  switch (type.kind) {
    case TypeKind::u8:
      return "U8";
    case TypeKind::u16:
      return "U16";
    case TypeKind::u32:
      return "U32";
    case TypeKind::boolean:
      return {};
    case TypeKind::string:
      return "Tovo::String";
    case TypeKind::seconds:
      return "Tovo::Seconds";
    default:
      return type.qualifiedName;
  }
}

class Tables {
 public:
  Tables(Writer& out, const Module& module) : out_(out), module_(module) {
    for (const Type* type : module.types) {
      if (type->base) reference(*type->base);
      for (const Member& member : type->members) {
        if (member.type) reference(*member.type.type);
        if (member.key) reference(*member.key);
      }
    }
  }

  void emit() {
    const std::string tables = nameOf(module_, Derived::tables);
    out_.line("// One row an item, to be laid beside the description.");
    out_.line("// clang-format off");
    out_.line("#pragma GCC diagnostic push");
    out_.line("#pragma GCC diagnostic ignored \"-Winvalid-offsetof\"");
    out_.line();
    out_.line("struct " + tables + " {");
    out_.indent();
    emitLiterals();
    emitDefaults();
    emitCollections();
    emitRuns();
    emitHooks();
    emitDetails();
    emitAttributes();
    emitTypes();
    emitNames();
    emitReferences();
    emitEntries();
    out_.outdent();
    out_.line("};");
    out_.line();
    out_.line("#pragma GCC diagnostic pop");
    out_.line("// clang-format on");
    out_.line();
    emitRecord(tables);
  }

 private:
  struct Row {
    const Type* type;
    const Member* member;
  };

  void reference(const Type& type) {
    if (!registered(type)) return;
    if (references_.emplace(&type, referenceOrder_.size()).second) referenceOrder_.push_back(&type);
  }

  std::string code(const Type* type) const {
    if (!type) return "0";
    switch (type->kind) {
      case TypeKind::u8:
        return "Tovo::PrimitiveCode::u8";
      case TypeKind::u16:
        return "Tovo::PrimitiveCode::u16";
      case TypeKind::u32:
        return "Tovo::PrimitiveCode::u32";
      case TypeKind::boolean:
        return "Tovo::PrimitiveCode::boolean";
      case TypeKind::string:
        return "Tovo::PrimitiveCode::string";
      case TypeKind::seconds:
        return "Tovo::PrimitiveCode::seconds";
      default:
        return std::to_string(primitiveCodes + references_.at(type));
    }
  }

  // An indexed member is addressed by an octet.
  std::string keyCode(const Member& member) const {
    if (member.kind == MemberKind::indexed) return "Tovo::PrimitiveCode::u8";
    return code(member.key);
  }

  /// The table of a type, or what belongs to one of its members.
  std::string table(const Type& type, const std::string& name) { return unique(type, "/", name); }
  std::string unique(const Type& type, const std::string& name) { return unique(type, "::", name); }

  /// Underscores join the parts; where other parts gave that name already, more of them end it.
  std::string unique(const Type& type, const std::string& separator, const std::string& name) {
    const auto [at, added] = tableNames_.emplace(type.qualifiedName + separator + name, "");
    if (!added) return at->second;
    std::string flat;
    for (const char c : type.qualifiedName) {
      if (c != ':') {
        flat += c;
      } else if (flat.back() != '_') {
        flat += '_';
      }
    }
    flat += "_" + name;
    while (!takenTables_.insert(flat).second) flat += '_';
    return at->second = flat;
  }

  void emitLiterals() {
    for (const Type* type : module_.types) {
      if (type->kind != TypeKind::enumeration) continue;
      out_.line("static constexpr Tovo::EnumLiteral " + table(*type, "literals") + "[] = {");
      out_.indent();
      for (const Literal& each : type->literals) {
        wrappedRow({std::to_string(each.number), literal(each.name), literal(each.doc)});
      }
      out_.outdent();
      out_.line("};");
    }
    out_.line();
  }

  // One brace-enclosed row; long texts are cut into literals of one line.
  void wrappedRow(const std::vector<std::string>& items) {
    std::vector<std::string> pieces;
    for (size_t i = 0; i < items.size(); ++i) {
      const bool last = i + 1 == items.size();
      const std::string tail = last ? "}," : ",";
      if (items[i].size() <= Writer::width - out_.indentation() - 4 || items[i].front() != '"') {
        pieces.push_back(items[i] + tail);
        continue;
      }
      const std::string text = items[i].substr(1, items[i].size() - 2);
      const std::vector<std::string> lines = wrapped(text, Writer::width - out_.indentation() - 8);
      for (size_t line = 0; line < lines.size(); ++line) {
        const bool end = line + 1 == lines.size();
        pieces.push_back("\"" + lines[line] + (end ? "\"" + tail : " \""));
      }
    }
    wrappedPieces("{", " ", pieces);
  }

  // Begins with `start`, and each further line with `indent`.
  void wrappedPieces(const std::string& start, const std::string& indent,
                     const std::vector<std::string>& pieces) {
    std::string current = start;
    bool first = true;
    for (const std::string& piece : pieces) {
      if (!first && out_.indentation() + current.size() + 1 + piece.size() > Writer::width) {
        out_.line(current);
        current = indent + piece;
      } else {
        current += (first ? "" : " ") + piece;
      }
      first = false;
    }
    out_.line(current);
  }

  static bool hasDefaultObject(const Member& member) {
    const bool starts = member.kind == MemberKind::attribute ||
                        member.kind == MemberKind::counter || member.kind == MemberKind::field ||
                        member.kind == MemberKind::alternative;
    if (!starts) return false;
    const Default::Kind kind = member.initial.kind;
    if (kind == Default::Kind::implicit || kind == Default::Kind::absent) return false;
    return !(kind == Default::Kind::text && member.type.type->kind == TypeKind::string &&
             member.initial.text.empty());
  }

  // A class's own constant would be looked up among all libraries when this one is loaded.
  static bool isCopied(const Member& member) {
    return member.isConstant() && member.type.type->kind != TypeKind::string;
  }

  void emitDefaults() {
    bool any = false;
    forEachRow([&](const Row& row) {
      if (!row.member || !(hasDefaultObject(*row.member) || isCopied(*row.member))) return;
      any = true;
      const Member& member = *row.member;
      const bool string = member.type.type->kind == TypeKind::string;
      out_.line(std::string("static inline ") + (string ? "const " : "constexpr ") +
                cppType(member.type, "") + " " + unique(*row.type, member.name) + " =");
      out_.line("    " +
                (isCopied(member) ? row.type->qualifiedName + "::" + member.name
                                  : initialValue(member, "")) +
                ";");
    });
    if (any) out_.line();
  }

  void emitCollections() {
    bool any = false;
    forEachRow([&](const Row& row) {
      if (!row.member || !row.member->isCollection()) return;
      any = true;
      const Member& member = *row.member;
      const std::string owner = row.type->qualifiedName + "::";
      const char* kind = member.kind == MemberKind::own         ? "ownOps"
                         : member.kind == MemberKind::reference ? "refOps"
                         : member.kind == MemberKind::map       ? "valueOps"
                                                                : "selfKeyedOps";
      out_.line("static constexpr Tovo::CollectionOps " + unique(*row.type, member.name) + " =");
      out_.line("    Frame::" + std::string(kind) + "<" + owner + nameOf(member, Derived::node) +
                ", &" + owner + member.name + "Is,");
      out_.line("        &" + owner + member.name + "Del>();");
    });
    if (any) out_.line();
  }

  // Attributes with values of fixed size and no other ones that travel between them.
  static std::vector<std::vector<const Member*>> runsOf(const Type& type) {
    std::vector<std::vector<const Member*>> runs(1);
    for (const Member& member : type.members) {
      const bool isValue =
          member.kind == MemberKind::attribute || member.kind == MemberKind::counter;
      if (isValue && !member.type.optional && !member.wire32 && member.type.type->encodedSize) {
        runs.back().push_back(&member);
      } else if (isValue || member.kind == MemberKind::pointer || member.isCollection()) {
        runs.emplace_back();
      }
    }
    std::erase_if(runs, [](const auto& run) { return run.size() < 2; });
    return runs;
  }

  void emitRuns() {
    for (const Type* type : module_.types) {
      if (!type->isEntity()) continue;
      const auto runs = runsOf(*type);
      if (runs.empty()) continue;
      out_.line("static constexpr Tovo::NboAttrLog::ValueRun " + table(*type, "runs") + "[] = {");
      out_.indent();
      for (const auto& run : runs) {
        std::vector<std::string> pieces = {std::to_string(run.front()->id) + ",",
                                           std::to_string(run.back()->id) + ","};
        for (const Member* member : run) {
          const bool last = member == run.back();
          pieces.push_back("&" + type->qualifiedName + "::" + nameOf(*member, Derived::storage) +
                           (last ? ">()," : ","));
        }
        wrappedPieces("Frame::valueRun<", "    ", pieces);
      }
      out_.outdent();
      out_.line("};");
      out_.line();
    }
  }

  void emitHooks() {
    bool any = false;
    for (const Type* type : module_.types) {
      if (!type->isEntity()) continue;
      any = true;
      const std::string name = type->qualifiedName;
      out_.line("static constexpr Tovo::EntityHooks " + table(*type, "hooks") + " =");
      out_.line("    Frame::entityHooks<" + name + ", " + name + "::" + EntityNames::flowOut.name +
                ",");
      out_.line("        &" + name + "::" + nameOf(*type, Derived::creator) + ">(" +
                (runsOf(*type).empty() ? "" : table(*type, "runs")) + ");");
    }
    if (any) out_.line();
  }

  template <class Visit>
  void forEachRow(const Visit& visit) const {
    for (const Type* type : module_.types) {
      if (type->isEntity() && !type->base) {
        if (!type->keyMember()) visit(Row{type, nullptr});
        visit(Row{type, nullptr});
      }
      for (const Member& member : type->members) visit(Row{type, &member});
    }
  }

  static std::string accessFunction(const Type& type, const Member& member) {
    const std::string get = "&" + type.qualifiedName + "::" + member.name;
    switch (member.kind) {
      case MemberKind::query:
        return "&Frame::queryAccess<" + get + ">";
      case MemberKind::bits:
        return "&Frame::viewAccess<" + get + ", " + get + "Is>";
      case MemberKind::indexed:
        return "&Frame::indexedAccess<" + type.qualifiedName + ", " + get + ", " + get + "Is, " +
               get + "Del>";
      case MemberKind::alternative: {
        const auto stored = type.stored();
        const auto index = std::find(stored.begin(), stored.end(), &member) - stored.begin();
        return "&Frame::alternativeAccess<" + get + ", " + get + "Is, " + std::to_string(index) +
               ">";
      }
      default:
        return "nullptr";
    }
  }

  static std::string text(const std::string& value) {
    return value.empty() ? "nullptr" : literal(value);
  }

  void emitDetails() {
    out_.line("static constexpr Tovo::AttributeDetail details[] = {");
    out_.indent();
    if (!runtimeRows().empty()) {
      out_.line(
          "{nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, "
          "nullptr,");
      out_.line(" nullptr},");
    }
    forEachRow([&](const Row& row) {
      if (!row.member) return;
      const Member& member = *row.member;
      const Type& type = *row.type;
      std::vector<std::string> items;
      items.push_back(special(member) ? "&Tovo::ValueOpsOf<" + specialType(type, member) +
                                            wireForm(member) + ">::table"
                                      : "nullptr");
      std::string value = "nullptr";
      if (member.isConstant()) value = "&" + type.qualifiedName + "::" + member.name;
      if (hasDefaultObject(member) || isCopied(member)) value = "&" + unique(type, member.name);
      items.push_back(value);
      items.push_back(member.initial.origin ? literal(member.initial.origin->name) : "nullptr");
      items.push_back(member.range ? std::to_string(member.range->low.value) : "0");
      items.push_back(member.range ? std::to_string(member.range->high.value) : "0");
      const auto constant = [&](const Bound* bound) {
        return bound && bound->constant ? literal(bound->constant->name) : std::string("nullptr");
      };
      items.push_back(constant(member.range ? &member.range->low : nullptr));
      items.push_back(constant(member.range ? &member.range->high : nullptr));
      items.push_back(member.range
                          ? type.qualifiedName + "::" + nameOf(member, Derived::rangeMessage)
                          : "nullptr");
      items.push_back(text(member.unit));
      items.push_back(text(member.doc));
      items.push_back(member.isCollection() ? "&" + unique(type, member.name) : "nullptr");
      items.push_back(accessFunction(type, member));
      wrappedRow(items);
    });
    out_.outdent();
    out_.line("};");
    out_.line();
  }

  std::vector<Row> runtimeRows() const {
    std::vector<Row> rows;
    forEachRow([&](const Row& row) {
      if (!row.member) rows.push_back(row);
    });
    return rows;
  }

  static bool special(const Member& member) {
    return member.type.optional || member.wire32 || member.kind == MemberKind::list;
  }
  static std::string specialType(const Type& type, const Member& member) {
    if (member.kind != MemberKind::list) return cppType(member.type, "");
    return "Pelmo::BasicVector<" + cppType(member.type, "") + ", " + type.qualifiedName +
           "::" + nameOf(member, Derived::elementTag) + ">";
  }

  static std::string kindName(const Member& member) {
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

  static std::string flags(const Member& member) {
    std::vector<std::string> names;
    if (member.readonly || member.fixed) names.emplace_back("readOnly");
    if (member.type.optional) names.emplace_back("optional");
    if (member.kind == MemberKind::list) names.emplace_back("list");
    if (member.kind == MemberKind::counter) names.emplace_back("counter");
    if (member.constTarget) names.emplace_back("toConst");
    if (member.range) names.emplace_back("ranged");
    if (member.nocompare) names.emplace_back("noCompare");
    if (member.fixed) names.emplace_back("fixed");
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : " | ") + name;
    return text.empty() ? "0" : text;
  }

  size_t nameOffset(const std::string& name) {
    const auto [at, inserted] = nameOffsets_.emplace(name, nameBytes_);
    if (inserted) {
      names_.push_back(name);
      nameBytes_ += name.size() + 1;
    }
    return at->second;
  }

  void emitAttributes() {
    out_.line("using Kind = Tovo::AttributeKind;");
    for (const char* flag : {"readOnly", "optional", "list", "counter", "toConst", "ranged",
                             "noCompare", "fixed", "notStored"}) {
      out_.line(std::string("static constexpr auto ") + flag +
                " = Tovo::AttributeDescriptor::" + flag + ";");
    }
    out_.line();
    out_.line("static constexpr Tovo::AttributeDescriptor attributes[] = {");
    out_.indent();
    size_t detail = runtimeRows().empty() ? 0 : 1;
    const Type* current = nullptr;
    bool nameNext = false;
    forEachRow([&](const Row& row) {
      if (row.type != current) {
        current = row.type;
        firstRow_[current] = rows_;
        out_.line("// " + current->qualifiedName);
        nameNext = !row.member && !current->keyMember();
      }
      ++rows_;
      if (!row.member) {
        const bool name = nameNext;
        nameNext = false;
        wrappedRow({name ? "Tovo::nameId" : "Tovo::nameStringId",
                    name ? "Kind::name" : "Kind::nameString", "readOnly",
                    "Tovo::PrimitiveCode::string", "0",
                    std::to_string(nameOffset(name ? "name" : "nameString")), "notStored", "0"});
        return;
      }
      const Member& member = *row.member;
      const bool stored = member.isStored() && row.type->kind != TypeKind::unionType;
      const std::string offset = stored ? "offsetof(" + row.type->qualifiedName + ", " +
                                              nameOf(member, Derived::storage) + ")"
                                        : "notStored";
      wrappedRow({std::to_string(member.id), "Kind::" + kindName(member), flags(member),
                  code(member.type.type), keyCode(member), std::to_string(nameOffset(member.name)),
                  offset, std::to_string(detail++)});
    });
    if (rows_ == 0) {
      out_.line("{0, Kind::constant, 0, 0, 0, 0, notStored, 0},");
      nameOffset("");
    }
    out_.outdent();
    out_.line("};");
    out_.line();
  }

  void emitTypes() {
    out_.line("using Type = Tovo::TypeDescriptor;");
    out_.line("static constexpr Type types[] = {");
    out_.indent();
    for (const Type* type : module_.types) {
      const bool isEnum = type->kind == TypeKind::enumeration;
      const size_t first = firstRow_.contains(type) ? firstRow_[type] : 0;
      const size_t count = ownRows(*type);
      size_t inherited = 0;
      for (const Type* base = type->base; base; base = base->base) inherited += ownRows(*base);
      std::string size = "Type::variableSize";
      if (isEnum) {
        size = std::to_string(type->width);
      } else if (type->encodedSize) {
        size = std::to_string(*type->encodedSize);
      }
      const char* kind = isEnum                              ? "enumeration"
                         : type->kind == TypeKind::unionType ? "unionValue"
                         : type->isEntity()                  ? "entity"
                                                             : "value";
      std::vector<std::string> flags;
      if (type->hashable) flags.emplace_back("Type::hashable");
      if (type->order != Order::none) flags.emplace_back("Type::ordered");
      if (type->factory) flags.emplace_back("Type::exportedFactory");
      if (type->isEntity() && type->keyMember()) flags.emplace_back("Type::keyedByParameter");
      if (takesNoArguments(*type)) flags.emplace_back("Type::noArguments");
      if (textByFields(*type)) flags.emplace_back("Type::textByFields");
      if (holdsEntities(*type)) flags.emplace_back("Type::holdsEntities");
      std::string flagText;
      for (const std::string& flag : flags) flagText += (flagText.empty() ? "" : " | ") + flag;
      wrappedRow({literal(type->qualifiedName), literal(type->doc),
                  isEnum ? table(*type, "literals") : "nullptr",
                  std::to_string(type->literals.size()), std::to_string(first),
                  std::to_string(count), size, code(type->base),
                  "Tovo::TypeKind::" + std::string(kind), flagText.empty() ? "0" : flagText,
                  std::to_string(inherited)});
    }
    out_.outdent();
    out_.line("};");
    out_.line();
  }

  /// Entities have their name, or only its text, besides what the description says.
  static size_t ownRows(const Type& type) {
    const bool named = type.isEntity() && !type.base;
    return type.members.size() + (!named ? 0 : type.keyMember() ? 1 : 2);
  }

  static bool textByFields(const Type& type) {
    const bool anyField =
        std::any_of(type.members.begin(), type.members.end(),
                    [](const Member& member) { return member.kind == MemberKind::field; });
    return type.kind == TypeKind::value && !type.handParse && anyField;
  }

  static bool holdsEntities(const Type& type) {
    const auto holds = [](const Member& member) {
      return member.kind == MemberKind::own || member.kind == MemberKind::reference ||
             member.kind == MemberKind::pointer;
    };
    return std::any_of(type.members.begin(), type.members.end(), holds) ||
           (type.base && holdsEntities(*type.base));
  }

  static bool takesNoArguments(const Type& type) {
    if (type.isEntity()) return false;
    if (type.noArguments || type.kind == TypeKind::unionType || type.isEnumeration()) return true;
    bool fixed = false;
    bool list = false;
    for (const Member* member : type.stored()) {
      fixed = fixed || member->fixed;
      list = list || member->kind == MemberKind::list;
    }
    return type.stored().empty() || (list && !fixed);
  }

  void emitStrings(const std::string& name, const std::vector<std::string>& strings) {
    out_.line("static constexpr char " + name + "[] =");
    if (strings.empty()) out_.line("    \"\";");
    for (size_t i = 0; i < strings.size(); ++i) {
      out_.line("    \"" + strings[i] + "\\0\"" + (i + 1 == strings.size() ? ";" : ""));
    }
    out_.line();
  }

  void emitNames() {
    std::set<std::string> types;
    for (const Type* type : module_.types) {
      types.insert(type->qualifiedName);
      if (type->isEntity() && !type->keyMember()) types.insert("Tovo::String");
      for (const Member& member : type->members) {
        const bool listed = member.isStored() && type->kind != TypeKind::unionType;
        if (!listed) continue;
        types.insert(listedName(*member.type.type));
        if (member.key) types.insert(listedName(*member.key));
      }
    }
    types.erase("");
    emitStrings("typeNames", {types.begin(), types.end()});
    emitStrings("attributeNames", names_);
  }

  void emitReferences() {
    if (referenceOrder_.empty()) return;
    out_.line("static constexpr Tovo::TovoTypeBase references[] = {");
    out_.indent();
    for (const Type* type : referenceOrder_) {
      out_.line("{&" + recordName(*type->module) + ", " + std::to_string(type->index) + "},");
    }
    out_.outdent();
    out_.line("};");
    out_.line();
  }

  void emitEntries() {
    out_.line("static constexpr Tovo::GenericIfEntry entries[] = {");
    out_.indent();
    for (const Type* type : module_.types) {
      if (type->isEntity()) {
        out_.line("Frame::entityEntry(" + table(*type, "hooks") + "),");
      } else if (type->isEnumeration()) {
        out_.line("Tovo::enumEntry<" + type->qualifiedName + ">(),");
      } else {
        out_.line("Tovo::valueEntry<" + type->qualifiedName + ">(),");
      }
    }
    out_.outdent();
    out_.line("};");
  }

  void emitRecord(const std::string& tables) {
    const std::string record = recordName(module_);
    out_.line("constinit const Tovo::TovoModule " + record + " = {");
    out_.indent();
    const std::string scope = tables + "::";
    const std::string references = referenceOrder_.empty() ? "nullptr" : scope + "references";
    for (const std::string& part :
         {scope + "types", scope + "attributes", scope + "details", scope + "typeNames",
          scope + "attributeNames", references, scope + "entries",
          std::to_string(module_.types.size()), literal(record)}) {
      out_.line("  " + part + ",");
    }
    out_.outdent();
    out_.line("};");
    out_.line();
    out_.line("namespace {");
    out_.line();
    out_.line("// Modules register in the order of their numbers, whatever the order of linking.");
    constexpr unsigned firstPriority = 1000;
    out_.list("[[gnu::init_priority(" + std::to_string(firstPriority + module_.order) +
                  ")]] const Frame::Registration registration(",
              {record}, ");");
    out_.line();
    out_.line("}  // namespace");
  }

  Writer& out_;
  const Module& module_;
  std::map<const Type*, size_t> references_;
  std::vector<const Type*> referenceOrder_;
  std::map<std::string, std::string> tableNames_;
  std::set<std::string> takenTables_;
  std::map<std::string, size_t> nameOffsets_;
  std::vector<std::string> names_;
  size_t nameBytes_ = 0;
  size_t rows_ = 0;
  std::map<const Type*, size_t> firstRow_;
};

}  // namespace

void emitTables(Writer& out, const Module& module) { Tables(out, module).emit(); }

}  // namespace tdc
