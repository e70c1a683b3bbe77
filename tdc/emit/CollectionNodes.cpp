#include "tdc/emit/CollectionNodes.h"

#include "tdc/emit/CppNames.h"
#include "tdc/emit/Function.h"

namespace tdc {

namespace {

void declareNode(Writer& out, const Member& member, const std::string& base) {
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

}  // namespace

void declareNodes(Writer& out, const Type& type) {
  const std::string& space = type.nameSpace;
  bool any = false;
  for (const Member& member : type.members) {
    if (!member.isCollection()) continue;
    any = true;
    const std::string element = typeName(*member.type.type, space);
    const std::string key = typeName(*member.key, space);
    std::string node;
    switch (member.kind) {
      case MemberKind::own:
        out.doc("Where an element of " + member.name + " has its key.");
        out.line("struct " + nameOf(member, Derived::keyFunktor) + " {");
        out.line("  const " + key + "& operator()(const " + element + "& element) const noexcept;");
        out.line("};");
        node =
            "OwnedNode<" + element + ", " + key + ", " + nameOf(member, Derived::keyFunktor) + ">";
        break;
      case MemberKind::reference:
        node = "RefNode<" + nameOf(member, Derived::node) + ", " + key + ", " + element + ">";
        break;
      case MemberKind::map:
        node = "ValueNode<" + nameOf(member, Derived::node) + ", " + key + ", " +
               cppType(member.type, space) + ">";
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

void defineFunktors(Writer& out, const Type& type) {
  const std::string& space = type.nameSpace;
  for (const Member& member : type.members) {
    if (member.kind != MemberKind::own) continue;
    const std::string key = typeName(*member.key, space);
    Function functor;
    functor.result = "inline const " + key + "&";
    functor.name = within(within(type.name, nameOf(member, Derived::keyFunktor)), "operator()");
    functor.parameters = {"const " + typeName(*member.type.type, space) + "& element"};
    functor.suffix = "const noexcept";
    functor.body = {"return element." + keyName(member.keyMember) + "();"};
    printDeclaration(out, functor);
    out.line();
  }
}

}  // namespace tdc
