#include "tdc/model/AccessorNames.h"

namespace tdc {

std::vector<std::string> accessorNames(const Member& member) {
  const std::string& name = member.name;
  std::vector<std::string> names = {name};
  auto add = [&](const char* suffix) { names.push_back(name + suffix); };
  switch (member.kind) {
    case MemberKind::constant:
    case MemberKind::query:
    case MemberKind::parameter:
    case MemberKind::key:
      break;
    case MemberKind::field:
      if (!member.fixed) {
        add("Is");
      }
      break;
    case MemberKind::attribute:
    case MemberKind::pointer:
    case MemberKind::bits:
    case MemberKind::alternative:
      add("Is");
      break;
    case MemberKind::counter:
      add("Is");
      add("Inc");
      break;
    case MemberKind::list:
      for (const char* suffix : {"Is", "Push", "Pop", "PopAll"}) {
        add(suffix);
      }
      break;
    case MemberKind::indexed:
      add("Is");
      add("Del");
      break;
    case MemberKind::own:
    case MemberKind::reference:
    case MemberKind::map:
    case MemberKind::set: {
      for (const char* suffix : {"Is", "Del", "DelAll", "Contains"}) {
        add(suffix);
      }
      std::string capital = name;
      capital[0] = capital[0] >= 'a' && capital[0] <= 'z'
                       ? static_cast<char>(capital[0] - 'a' + 'A')
                       : capital[0];
      names.push_back("HN_" + capital);
      break;
    }
  }
  return names;
}

std::vector<std::string> reservedNames(const Type& type) {
  std::vector<std::string> names = {type.name};
  if (type.isEntity()) {
    names.insert(names.end(), {"nameString", "typeData", "publisher", "FlowOut"});
    if (type.keyMember() == nullptr) {
      names.emplace_back("name");
    }
  }
  return names;
}

}  // namespace tdc
