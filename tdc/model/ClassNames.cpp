#include "tdc/model/ClassNames.h"

namespace tdc {

std::string capital(const std::string& name) {
  std::string out = name;
  if (out[0] >= 'a' && out[0] <= 'z') out[0] = static_cast<char>(out[0] - 'a' + 'A');
  return out;
}

std::string lowered(const std::string& name) {
  std::string out = name;
  if (out[0] >= 'A' && out[0] <= 'Z') out[0] = static_cast<char>(out[0] - 'A' + 'a');
  return out;
}

std::string setterName(const Member& member) { return member.name + "Is"; }
std::string incrementName(const Member& member) { return member.name + "Inc"; }
std::string eraserName(const Member& member) { return member.name + "Del"; }
std::string clearerName(const Member& member) { return member.name + "DelAll"; }
std::string containsName(const Member& member) { return member.name + "Contains"; }
std::string pushName(const Member& member) { return member.name + "Push"; }
std::string popName(const Member& member) { return member.name + "Pop"; }
std::string popAllName(const Member& member) { return member.name + "PopAll"; }
std::string rangeName(const Member& member) { return member.name + "Range"; }
std::string storageName(const Member& member) { return member.name + "_"; }
std::string nodeName(const Member& member) { return "HN_" + capital(member.name); }
std::string keyFunktorName(const Member& member) { return capital(member.name) + "KeyFunktor"; }
std::string elementTag(const Member& member) { return "VE_" + capital(member.name); }
std::string factoryName(const Type& entity) { return lowered(entity.name) + "Factory"; }
std::string creatorName(const Type& entity) { return entity.name + "Is"; }
std::string instanceName(const Type& enumeration) { return enumeration.name + "Instance"; }
std::string tablesName(const Module& module) { return module.name + "Tables"; }

std::string writtenName(const Type& type, const std::string& nameSpace) {
  const bool shared = type.nameSpace == nameSpace && !nameSpace.empty();
  return shared ? type.qualifiedName.substr(nameSpace.size() + 2) : type.qualifiedName;
}

bool hasRangeMessage(const Member& member) {
  return member.range || member.owner->number() == &member;
}

std::vector<std::string> memberNames(const Member& member) {
  std::vector<std::string> names = {member.name};
  switch (member.kind) {
    case MemberKind::constant:
    case MemberKind::query:
    case MemberKind::parameter:
    case MemberKind::key:
      break;
    case MemberKind::field:
      if (!member.fixed) names.push_back(setterName(member));
      break;
    case MemberKind::attribute:
    case MemberKind::pointer:
    case MemberKind::bits:
    case MemberKind::alternative:
      names.push_back(setterName(member));
      break;
    case MemberKind::counter:
      names.insert(names.end(), {setterName(member), incrementName(member)});
      break;
    case MemberKind::list:
      names.insert(names.end(), {setterName(member), pushName(member), popName(member),
                                 popAllName(member), elementTag(member)});
      break;
    case MemberKind::indexed:
      names.insert(names.end(), {setterName(member), eraserName(member)});
      break;
    case MemberKind::own:
    case MemberKind::set:
      names.push_back(keyFunktorName(member));
      [[fallthrough]];
    case MemberKind::reference:
    case MemberKind::map:
      names.insert(names.end(), {setterName(member), eraserName(member), clearerName(member),
                                 containsName(member), nodeName(member)});
      break;
  }
  if (member.isStored()) names.push_back(storageName(member));
  if (hasRangeMessage(member)) names.push_back(rangeName(member));
  return names;
}

}  // namespace tdc
