#include <algorithm>

#include "tdc/emit/ClassModel.h"
#include "tdc/emit/ClassParts.h"
#include "tdc/emit/CppNames.h"
#include "tdc/emit/Function.h"

namespace tdc {

namespace {

using Place = Function::Place;

class EntityClass {
 public:
  explicit EntityClass(const Type& type) : type_(type), space_(type.nameSpace) {
    addConstruction();
    for (const Member& member : type.members) addMember(member);
    addIdentity();
  }

  void declare(Writer& out) const {
    openClass(out, type_,
              "public " + (type_.base ? typeName(*type_.base, space_) : "Tovo::Entity"));
    declareConstants(out);
    declareNodes(out);
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

  /// Functors must be known before the maps that use them.
  void defineFunktors(Writer& out) const {
    for (const Member& member : type_.members) {
      if (member.kind != MemberKind::own) continue;
      const std::string key = keyType(member);
      Function functor;
      functor.result = "inline const " + key + "&";
      functor.name = within(within(type_.name, nameOf(member, Derived::keyFunktor)), "operator()");
      functor.parameters = {"const " + typeName(*member.type.type, space_) + "& element"};
      functor.suffix = "const noexcept";
      functor.body = {"return element." + keyName(member.keyMember) + "();"};
      printDeclaration(out, functor);
      out.line();
    }
  }

 private:
  void add(Function function, const Member* member = nullptr) {
    functions_.add(std::move(function), member);
  }

  static std::string flowOf(const std::string& entity) {
    return within(entity, EntityNames::flowOut.name);
  }
  std::string keyType(const Member& member) const { return typeName(*member.key, space_); }
  std::string keyParameter(const Member& member) const {
    return parameterType({member.key, false}, space_) + " key";
  }

  static std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
    return text;
  }

  Function factory() const {
    Function make;
    make.doc = "Makes a " + type_.name + "; the caller holds the first reference.";
    make.prefix = "TDL_EXPORT";
    make.result = "Pelmo::Ptr<" + type_.name + ">";
    make.name = nameOf(type_, Derived::factory);
    make.parameters = constructorParameters(type_, space_);
    make.body = {"return " + within(type_.name, nameOf(type_, Derived::creator)) + "(" +
                 joined(constructorArguments(type_)) + ");"};
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
                                  joined(constructorArguments(*type_.base)) + ")"};
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
                    joined(constructorArguments(type_)) + "));"};
    creator.place = Place::source;
    add(creator);
  }

  void addValidation(const Type& level, std::vector<std::string>& body) const {
    for (const Member& member : level.members) {
      if (!member.range) continue;
      body.push_back("Frame::checkRange<" + boundExpression(member.range->low) + ", " +
                     boundExpression(member.range->high) + ">(" + member.name + "(), " +
                     nameOf(member, Derived::rangeMessage) + ");");
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
        return addOwn(member);
      case MemberKind::reference:
        return addReference(member);
      case MemberKind::map:
      case MemberKind::set:
        return addValues(member);
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
      set.body = {"Frame::rangedAttributeIs<" + boundExpression(member.range->low) + ", " +
                  boundExpression(member.range->high) + ">(*this, " + stored + ", value, " + id +
                  ", " + nameOf(member, Derived::rangeMessage) + ");"};
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

  Function collectionFunction(const std::string& doc, const std::string& result,
                              const std::string& name, std::vector<std::string> parameters,
                              const std::string& suffix, const std::string& body) const {
    Function function;
    function.doc = doc;
    function.result = result;
    function.name = name;
    function.parameters = std::move(parameters);
    function.suffix = suffix;
    function.body = {body};
    function.place = Place::source;
    return function;
  }

  void addView(const Member& member, const std::string& view) {
    Function all = collectionFunction(
        documentation(member), "Frame::" + view + "<" + nameOf(member, Derived::node) + ">",
        member.name, {}, "const noexcept",
        "return Frame::" + view + "<" + nameOf(member, Derived::node) + ">(" +
            nameOf(member, Derived::storage) + ");");
    all.place = Place::header;
    add(all, &member);
    add(collectionFunction("Whether there is an entry.", "bool", nameOf(member, Derived::contains),
                           {keyParameter(member)}, "const",
                           "return " + nameOf(member, Derived::storage) + ".find(key) != nullptr;"),
        &member);
  }

  void addDelAll(const Member& member) {
    add(collectionFunction("Removes one after the other, each published.", "void",
                           nameOf(member, Derived::clearer), {}, "",
                           "Frame::eraseAll(" + nameOf(member, Derived::storage) + ", [this](" +
                               parameterType({member.key, false}, space_) + " key) { " +
                               nameOf(member, Derived::eraser) + "(key); });"),
        &member);
  }

  std::string ownerArguments(const Member& member) const {
    return "*this, " + nameOf(member, Derived::storage) + ", " + std::to_string(member.id) + ", ";
  }

  void addOwn(const Member& member) {
    const Type& element = *member.type.type;
    const std::string elementType = typeName(element, space_);
    const std::string pointer = "Pelmo::Ptr<" + elementType + ">";
    const std::string stored = nameOf(member, Derived::storage);
    addView(member, "EntityView");
    add(collectionFunction("The element under a key, or null.", pointer, member.name,
                           {keyParameter(member)}, "const",
                           "return Frame::elementOf(" + stored + ", key);"),
        &member);

    Function make;
    make.doc = "The element under a key, made when it is not there.";
    make.result = pointer;
    make.name = nameOf(member, Derived::setter);
    const std::string key = besideParameters(member, "key");
    const std::string existing = besideParameters(member, "existing");
    make.parameters = {parameterType({member.key, false}, space_) + " " + key};
    std::string arguments = key;
    for (const Member* parameter : member.parameters) {
      make.parameters.push_back(parameterType(parameter->type, space_) + " " + parameter->name);
      arguments += ", " + parameter->name;
    }
    const bool compares = !member.parameters.empty() && !member.nocompare;
    if (compares) {
      make.doc +=
          " Throws Tovo::MutatorReinstantiatingException when it is there with other "
          "parameters; then nothing has changed.";
      make.body = {"if (" + pointer + " " + existing + " = Frame::elementOf(" + stored + ", " +
                   key + ")) {"};
      for (const Member* parameter : member.parameters) {
        make.body.push_back("  Frame::requireSame<" + cppType(parameter->type, space_) + ">(*" +
                            existing + ", " + std::to_string(parameter->id) + ", " + existing +
                            "->" + parameter->name + "(), " + parameter->name + ");");
      }
      make.body.insert(make.body.end(), {"  return " + existing + ";", "}"});
    } else {
      if (member.nocompare) make.doc += " An existing one is returned whatever its parameters.";
      make.body = {"if (" + pointer + " " + existing + " = Frame::elementOf(" + stored + ", " +
                   key + ")) return " + existing + ";"};
    }
    make.body.push_back("return Frame::insertOwned(" + ownerArguments(member) +
                        within(elementType, nameOf(element, Derived::creator)) + "(" + arguments +
                        "));");
    make.place = Place::source;
    add(make, &member);

    add(collectionFunction("Removes an element and returns it, or null when it was not there.",
                           pointer, nameOf(member, Derived::eraser), {keyParameter(member)}, "",
                           "return Frame::eraseOwned(" + ownerArguments(member) + "key);"),
        &member);
    addDelAll(member);
  }

  void addReference(const Member& member) {
    const std::string pointer = "Pelmo::Ptr<" + typeName(*member.type.type, space_) + ">";
    addView(member, "NodeView");
    add(collectionFunction(
            "The entity under a key, or null.", pointer, member.name, {keyParameter(member)},
            "const", "return Frame::targetOf(" + nameOf(member, Derived::storage) + ", key);"),
        &member);
    add(collectionFunction("Refers to an entity that lives elsewhere; null removes the entry.",
                           "void", nameOf(member, Derived::setter),
                           {keyParameter(member), "const " + pointer + "& target"}, "",
                           "Frame::referenceIs(" + ownerArguments(member) + "key, target);"),
        &member);
    add(collectionFunction("False when it was not there.", "bool", nameOf(member, Derived::eraser),
                           {keyParameter(member)}, "",
                           "return Frame::referenceDel(" + ownerArguments(member) + "key);"),
        &member);
    addDelAll(member);
  }

  void addValues(const Member& member) {
    const std::string value = cppType(member.type, space_);
    addView(member, "NodeView");
    if (member.type.type->kind == TypeKind::boolean) {
      add(collectionFunction(
              "The flag under a key; false when there is none.", "bool", member.name,
              {keyParameter(member)}, "const",
              "return Frame::flagOf(" + nameOf(member, Derived::storage) + ", key);"),
          &member);
    } else {
      add(collectionFunction(
              "The value under a key, if there is one.", "std::optional<" + value + ">",
              member.name, {keyParameter(member)}, "const",
              "return Frame::valueOf(" + nameOf(member, Derived::storage) + ", key);"),
          &member);
    }
    if (member.kind == MemberKind::set) {
      add(collectionFunction("Stores a value under its own " + member.keyMember->name + ".", "void",
                             nameOf(member, Derived::setter),
                             {parameterType(member.type, space_) + " value"}, "",
                             "Frame::selfKeyedIs(" + ownerArguments(member) + "value." +
                                 member.keyMember->name + "(), value);"),
          &member);
    } else {
      add(collectionFunction("Stores a value; the same value again changes nothing.", "void",
                             nameOf(member, Derived::setter),
                             {keyParameter(member), parameterType(member.type, space_) + " value"},
                             "", "Frame::valueIs(" + ownerArguments(member) + "key, value);"),
          &member);
    }
    add(collectionFunction("False when it was not there.", "bool", nameOf(member, Derived::eraser),
                           {keyParameter(member)}, "",
                           "return Frame::valueDel(" + ownerArguments(member) + "key);"),
        &member);
    addDelAll(member);
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

  void declareConstants(Writer& out) const {
    bool any = false;
    for (const Member& member : type_.members) {
      if (!member.isConstant()) continue;
      any = true;
      out.doc(documentation(member));
      out.assignment("static constexpr " + cppType(member.type, space_) + " " + member.name,
                     initialValue(member, space_));
    }
    for (const Member& member : type_.members) {
      if (!member.range) continue;
      any = true;
      declareRangeMessage(out, member);
    }
    if (any) out.line();
  }

  void declareNodes(Writer& out) const {
    bool any = false;
    for (const Member& member : type_.members) {
      if (!member.isCollection()) continue;
      any = true;
      const std::string element = typeName(*member.type.type, space_);
      const std::string key = keyType(member);
      std::string node;
      switch (member.kind) {
        case MemberKind::own:
          out.doc("Where an element of " + member.name + " has its key.");
          out.line("struct " + nameOf(member, Derived::keyFunktor) + " {");
          out.line("  const " + key + "& operator()(const " + element +
                   "& element) const noexcept;");
          out.line("};");
          node = "OwnedNode<" + element + ", " + key + ", " + nameOf(member, Derived::keyFunktor) +
                 ">";
          break;
        case MemberKind::reference:
          node = "RefNode<" + nameOf(member, Derived::node) + ", " + key + ", " + element + ">";
          break;
        case MemberKind::map:
          node = "ValueNode<" + nameOf(member, Derived::node) + ", " + key + ", " +
                 cppType(member.type, space_) + ">";
          break;
        default:
          out.doc("Where a value of " + member.name + " has its key.");
          out.line("struct " + nameOf(member, Derived::keyFunktor) + " {");
          out.line("  " + key + " operator()(const " + element + "& value) const { return value." +
                   member.keyMember->name + "(); }");
          out.line("};");
          node = "SelfKeyedNode<" + nameOf(member, Derived::node) + ", " + element + ", " + key +
                 ", " + nameOf(member, Derived::keyFunktor) + ">";
      }
      declareNode(out, member, node);
    }
    if (any) out.line();
  }

  static void declareNode(Writer& out, const Member& member, const std::string& base) {
    out.doc("An entry of " + member.name + ".");
    const bool empty = member.kind == MemberKind::own;
    const std::string end = empty ? " {};" : " {";
    const std::string head = "class " + nameOf(member, Derived::node);
    const std::string derived = ": public Frame::" + base + end;
    if (out.indentation() + head.size() + 1 + derived.size() <= Writer::width) {
      out.line(head + " " + derived);
    } else {
      out.line(head);
      constexpr size_t continuation = 4;
      const bool fits = out.indentation() + continuation + derived.size() <= Writer::width;
      out.line("    " + (fits ? derived : derived.substr(0, derived.size() - 2)));
      if (!fits) out.line("};");
    }
    if (empty) return;
    const std::string name = base.substr(0, base.find('<'));
    out.line(" public:");
    out.line("  using " + name + "::" + name + ";");
    out.line("};");
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
};

}  // namespace

void emitEntity(Output& out, const Type& type) {
  const EntityClass entity(type);
  entity.declare(out.header);
  entity.defineFunktors(out.source);
  entity.define(out.source);
}

}  // namespace tdc
