#include "tdc/emit/ClassModel.h"
#include "tdc/emit/ClassParts.h"
#include "tdc/emit/CollectionMembers.h"
#include "tdc/emit/CollectionNodes.h"
#include "tdc/emit/Constants.h"
#include "tdc/emit/CppNames.h"
#include "tdc/emit/Function.h"
#include "words/Phrases.h"

namespace tdc {

namespace {

using Place = Function::Place;

class EntityClass {
 public:
  explicit EntityClass(const Type& type)
      : type_(type), space_(type.nameSpace), collections_(type, functions_) {
    addConstruction();
    for (const Member& member : type.members) addMember(member);
    addIdentity();
  }

  void declare(Writer& out) const {
    openClass(out, type_,
              "public " + (type_.base ? typeName(*type_.base, space_) : "Tovo::Entity"));
    declareConstants(out, type_);
    declareNodes(out, type_);
    functions_.declare(out);
    out.line();
    declareFlow(out);
    out.line("TOVO_SLAB_ALLOCATED;");
    openPrivate(out, type_);
    declareStorage(out);
    closeClass(out);
    for (const Type* nested : type_.nested) declareEnumerationFunctions(out, *nested);
    if (!type_.nested.empty()) out.line();
    if (type_.factory) {
      printDeclaration(out, factory());
      out.line();
    }
  }

  void define(Writer& out) const {
    out.code("TOVO_SLAB_ALLOCATION(" + type_.name + ", " + literal(type_.qualifiedName) + ");");
    if (ownsFlow(type_)) {
      out.code("TOVO_SLAB_ALLOCATION(" + flowOf(type_.name) + ", " +
               literal(flowOf(type_.qualifiedName)) + ");");
    }
    out.line();
    functions_.define(out, type_.name);
    for (const Type* nested : type_.nested) defineEnumeration(out, *nested);
    if (type_.factory) printDefinition(out, factory(), "");
  }

 private:
  void add(Function function, const Member* member = nullptr) {
    functions_.add(std::move(function), member);
  }

  static std::string flowOf(const std::string& entity) {
    return within(entity, EntityNames::flowOut.name);
  }

  Function factory() const {
    Function make;
    make.doc = "Makes a " + type_.name + "; the caller holds the first reference.";
    make.prefix = "TDL_EXPORT";
    make.result = "Pelmo::Ptr<" + type_.name + ">";
    make.name = nameOf(type_, Derived::factory);
    make.parameters = constructorParameters(type_, space_);
    make.body = {"return " + within(type_.name, nameOf(type_, Derived::creator)) + "(" +
                 words::joined(constructorArguments(type_)) + ");"};
    make.place = Place::source;
    return make;
  }

  void addConstruction() {
    const std::vector<std::string> parameters = constructorParameters(type_, space_);
    Function constructor;
    constructor.prefix = parameters.size() == 1 ? "explicit" : "";
    constructor.name = type_.name;
    constructor.parameters = parameters;
    const std::string key = type_.keyMember() ? "Pelmo::String()" : keyName(nullptr);
    if (type_.base) {
      constructor.initializers = {typeName(*type_.base, space_) + "(" +
                                  words::joined(constructorArguments(*type_.base)) + ")"};
    } else {
      constructor.initializers = {"Tovo::Entity(" + key + ")"};
    }
    for (const Member& member : type_.members) {
      if (member.kind == MemberKind::parameter || member.kind == MemberKind::key) {
        constructor.initializers.push_back(nameOf(member, Derived::storage) + "(" + member.name +
                                           ")");
      }
    }
    for (const Type* level = &type_; level;
         level = type_.revalidates && level ? level->base : nullptr) {
      addValidation(*level, constructor.body);
    }
    constructor.doc = "Everything at its default, unobserved, without a parent.";
    if (!constructor.body.empty()) constructor.doc += " Checks what it starts from.";
    constructor.place = Place::source;
    add(constructor);

    Function destructor;
    destructor.name = "~" + type_.name;
    destructor.override_ = "override";
    destructor.body.emplace_back("Tovo::tearDown(*this);");
    destructor.place = Place::source;
    add(destructor);

    Function creator;
    creator.doc = "Makes one; the caller holds the first reference.";
    creator.prefix = "static";
    creator.result = "Pelmo::Ptr<" + type_.name + ">";
    creator.name = nameOf(type_, Derived::creator);
    creator.parameters = parameters;
    creator.body = {"return Pelmo::Ptr<" + type_.name + ">::adopt(new " + type_.name + "(" +
                    words::joined(constructorArguments(type_)) + "));"};
    creator.place = Place::source;
    add(creator);
  }

  void addValidation(const Type& level, std::vector<std::string>& body) const {
    for (const Member& member : level.members) {
      if (!member.range) continue;
      body.push_back(rangeCall(member, "Frame::checkRange", member.name + "()"));
    }
  }

  void addMember(const Member& member) {
    switch (member.kind) {
      case MemberKind::parameter:
      case MemberKind::key:
        return addParameter(member);
      case MemberKind::attribute:
      case MemberKind::counter:
        return addAttribute(member);
      case MemberKind::query:
        return addQuery(member);
      case MemberKind::pointer:
        return addPointer(member);
      case MemberKind::own:
        return collections_.addOwn(member);
      case MemberKind::reference:
        return collections_.addReference(member);
      case MemberKind::map:
      case MemberKind::set:
        return collections_.addValues(member);
      default:
        return;
    }
  }

  void addParameter(const Member& member) {
    Function get;
    get.doc = documentation(member, "Fixed at construction.");
    get.result = member.kind == MemberKind::key ? "const " + cppType(member.type, space_) + "&"
                                                : parameterType(member.type, space_);
    get.name = member.name;
    get.suffix = "const noexcept";
    get.body = {"return " + nameOf(member, Derived::storage) + ";"};
    add(get, &member);
  }

  void addAttribute(const Member& member) {
    const std::string id = std::to_string(member.id);
    const std::string stored = nameOf(member, Derived::storage);
    Function get;
    get.doc = documentation(member);
    get.result = parameterType(member.type, space_);
    get.name = member.name;
    get.suffix = "const noexcept";
    get.body = {"return " + stored + ";"};
    add(get, &member);

    Function set;
    set.doc = "Publishes a changed value.";
    set.result = "void";
    set.name = nameOf(member, Derived::setter);
    set.parameters = {parameterType(member.type, space_) + " value"};
    if (member.range) {
      set.doc += " Throws Tovo::RangeException; then nothing has changed.";
      set.body = {
          rangeCall(member, "Frame::rangedAttributeIs", "*this, " + stored + ", value, " + id)};
    } else {
      set.body = {"Frame::attributeIs(*this, " + stored + ", value, " + id + ");"};
    }
    add(set, &member);
    if (member.kind != MemberKind::counter) return;
    Function inc;
    inc.doc = "Adds, modulo the counter's width, publishes and returns the new value.";
    inc.result = typeName(*member.type.type, space_);
    inc.name = nameOf(member, Derived::increment);
    inc.parameters = {inc.result + " delta"};
    inc.body = {"return Frame::counterInc(*this, " + stored + ", delta, " + id + ");"};
    add(inc, &member);
  }

  void addQuery(const Member& member) {
    Function query;
    query.doc = documentation(member);
    query.result = cppType(member.type, space_);
    query.name = member.name;
    query.suffix = "const";
    query.place = Place::hand;
    add(query, &member);
  }

  void addPointer(const Member& member) {
    const std::string type = storageType(member, space_);
    Function get;
    get.doc = documentation(member, "Initially null; keeps its target alive.");
    get.result = "const " + type + "&";
    get.name = member.name;
    get.suffix = "const noexcept";
    get.body = {"return " + nameOf(member, Derived::storage) + ";"};
    add(get, &member);
    Function set;
    set.doc = "Publishes another target; compares by identity.";
    set.result = "void";
    set.name = nameOf(member, Derived::setter);
    set.parameters = {"const " + type + "& value"};
    set.body = {"Frame::attributeIs(*this, " + nameOf(member, Derived::storage) + ", value, " +
                std::to_string(member.id) + ");"};
    set.place = Place::source;
    add(set, &member);
  }

  void addIdentity() {
    const std::string staticType = EntityNames::tovoStaticType.name;
    Function module;
    module.result = "const Tovo::TovoModule*";
    module.name = EntityNames::typeData.name;
    module.suffix = "const noexcept";
    module.override_ = "override";
    module.body = {"return &" + recordName(*type_.module) + ";"};
    module.place = Place::source;
    add(module);
    Function type = module;
    type.result = "Tovo::TovoTypeBase";
    type.name = EntityNames::tovoType.name;
    type.body = {"return " + staticType + "();"};
    add(type);
    Function identity = type;
    identity.doc = "The type that this class stands for.";
    identity.prefix = "static";
    identity.name = staticType;
    identity.suffix = "noexcept";
    identity.override_.clear();
    identity.body = {"return {&" + recordName(*type_.module) + ", " + std::to_string(type_.index) +
                     "};"};
    add(identity);
  }

  void declareFlow(Writer& out) const {
    if (!ownsFlow(type_)) return;
    const std::string base =
        flowOf(type_.base ? typeName(*type_.base, space_) : "Tovo::NboAttrLog");
    out.doc("What one connection still has to be told of one " + type_.name + ".");
    out.line(std::string("class TDL_EXPORT ") + EntityNames::flowOut.name + " : public " + base +
             " {");
    out.line(" public:");
    out.line("  using " + flowOf(base) + ";");
    out.indent();
    Function identity;
    identity.doc = "The type of the entities that it serves.";
    identity.prefix = "static";
    identity.result = "Tovo::TovoTypeBase";
    identity.name = EntityNames::tovoStaticType.name;
    identity.suffix = "noexcept";
    identity.body = {"return " + within(type_.name, identity.name) + "();"};
    printDeclaration(out, identity);
    out.outdent();
    out.line("  TOVO_SLAB_ALLOCATED;");
    out.line("};");
    out.line();
  }

  void declareStorage(Writer& out) const {
    for (const Member* member : type_.stored()) {
      std::string initial;
      if (member->kind == MemberKind::attribute || member->kind == MemberKind::counter) {
        initial = initialValue(*member, space_);
      }
      out.assignment(storageType(*member, space_) + " " + nameOf(*member, Derived::storage),
                     initial);
    }
  }

  const Type& type_;
  std::string space_;
  MemberFunctions functions_;
  CollectionMembers collections_;
};

}  // namespace

void emitEntity(Output& out, const Type& type) {
  const EntityClass entity(type);
  entity.declare(out.header);
  defineFunktors(out.source, type);
  entity.define(out.source);
}

}  // namespace tdc
