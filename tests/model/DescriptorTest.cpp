// The modules' records against the expected model: everything that reflection says of a type.
#include <algorithm>
#include <map>
#include <set>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpProtoStatus.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpQuiesceStatus.h"
#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "Support.h"
#include "Tovo/Inspect.h"

namespace {

using ExpectedModel::Member;
using ExpectedModel::Type;
using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::TypeDescriptor;

std::vector<std::string> names(const char* list) {
  std::vector<std::string> all;
  for (; *list; list += all.back().size() + 1) all.emplace_back(list);
  return all;
}

const Tovo::TovoModule& moduleNamed(const std::string& name) {
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    if (moduleName(*module) == name) return *module;
  }
  throw std::logic_error("no module " + name);
}

AttributeKind kindOf(const std::string& kind) {
  static const std::map<std::string, AttributeKind> kinds = {
      {"field", AttributeKind::field},         {"list", AttributeKind::field},
      {"const", AttributeKind::constant},      {"bits", AttributeKind::bits},
      {"indexed", AttributeKind::indexed},     {"query", AttributeKind::query},
      {"alt", AttributeKind::alternative},     {"param", AttributeKind::parameter},
      {"key", AttributeKind::parameter},       {"attr", AttributeKind::attribute},
      {"ptr", AttributeKind::pointer},         {"cptr", AttributeKind::pointer},
      {"own", AttributeKind::ownCollection},   {"ref", AttributeKind::refCollection},
      {"map", AttributeKind::valueCollection}, {"set", AttributeKind::selfKeyedCollection}};
  return kinds.at(kind);
}

// A field that counts is a field, an attribute that counts is an attribute.
AttributeKind kindOf(const Type& type, const Member& member) {
  if (member.kind == "counter") {
    return type.kind == "entity" ? AttributeKind::attribute : AttributeKind::field;
  }
  return kindOf(member.kind);
}

void expectMember(const Type& type, const Member& member, Attribute attribute) {
  EXPECT_EQ(attribute.id(), member.id);
  EXPECT_STREQ(attribute.name(), member.name.c_str());
  EXPECT_EQ(attribute.kind(), kindOf(type, member));
  EXPECT_EQ(attribute.typeName(), member.type);
  EXPECT_EQ(attribute.has(AttributeDescriptor::optional), member.optional);
  EXPECT_EQ(attribute.has(AttributeDescriptor::list), member.kind == "list");
  EXPECT_EQ(attribute.has(AttributeDescriptor::counter), member.kind == "counter");
  EXPECT_EQ(attribute.has(AttributeDescriptor::toConst), member.kind == "cptr");
  EXPECT_EQ(attribute.has(AttributeDescriptor::noCompare), member.noCompare);
  if (attribute.isCollection()) {
    EXPECT_EQ(attribute.keyTypeName(), member.key);
  }
  // What no set could change by its kind needs no mark.
  EXPECT_EQ(attribute.has(AttributeDescriptor::readOnly), member.readOnly);
  EXPECT_EQ(attribute.has(AttributeDescriptor::fixed), member.fixed);

  const bool ranged = !member.low.empty();
  ASSERT_EQ(attribute.has(AttributeDescriptor::ranged), ranged);
  if (ranged) {
    EXPECT_EQ(attribute.detail().low, bound(type, member.low));
    EXPECT_EQ(attribute.detail().high, bound(type, member.high));
    EXPECT_EQ(attribute.detail().rangeMessage, rangeMessage(type, member));
  }
  if (member.text && !member.optional) {
    EXPECT_EQ(Tovo::defaultText(attribute), *member.text);
  }
}

TEST(Descriptor, HoldsEveryMemberOfEveryType) {
  for (const Type& expected : ExpectedModel::types()) {
    SCOPED_TRACE(expected.name);
    const Tovo::TovoTypeBase type = Tovo::typeByName(expected.name);
    ASSERT_TRUE(type);
    EXPECT_EQ(moduleName(*type.module), expected.module);
    if (expected.index >= 0) {
      EXPECT_EQ(type.index, static_cast<uint32_t>(expected.index));
    }
    const Tovo::TovoTypeBase base = baseType(type);
    EXPECT_EQ(base ? typeName(base) : "", expected.base);

    size_t next = 0;
    const bool entity = expected.kind == "entity";
    const bool keyed =
        entity && !expected.members.empty() && expected.members.front().kind == "key";
    for (const AttributeDescriptor& own : ownAttributes(type)) {
      const Attribute attribute(*type.module, own);
      SCOPED_TRACE(attribute.name());
      if (own.id < Tovo::firstAttributeId && entity) {
        // The name and its text, read-only; types with a key have the text alone.
        EXPECT_TRUE(own.id == 155 || (own.id == 154 && !keyed && expected.base.empty()));
        EXPECT_TRUE(attribute.has(AttributeDescriptor::readOnly));
        continue;
      }
      ASSERT_LT(next, expected.members.size());
      expectMember(expected, expected.members[next++], attribute);
    }
    EXPECT_EQ(next, expected.members.size());
    EXPECT_EQ(static_cast<bool>(attributeById(type, 154)), entity && !keyed);
    EXPECT_EQ(static_cast<bool>(attributeById(type, 155)), entity);
  }
}

TEST(Descriptor, SaysWhatTypesCanDo) {
  for (const Type& expected : ExpectedModel::types()) {
    SCOPED_TRACE(expected.name);
    const TypeDescriptor& descriptor = typeDescriptor(typeNamed(expected.name));
    const bool value = expected.kind == "value" || expected.kind == "union";
    EXPECT_EQ(descriptor.kind == Tovo::TypeKind::entity, expected.kind == "entity");
    EXPECT_EQ(descriptor.kind == Tovo::TypeKind::enumeration, expected.kind == "enum");
    EXPECT_EQ(descriptor.kind == Tovo::TypeKind::unionValue, expected.kind == "union");
    EXPECT_EQ((descriptor.flags & TypeDescriptor::exportedFactory) != 0, expected.factory);
    if (value) {
      EXPECT_EQ(descriptor.encodedSize,
                expected.varies ? TypeDescriptor::variableSize : expected.bytes.size() / 2);
      EXPECT_EQ((descriptor.flags & TypeDescriptor::hashable) != 0, expected.hash != "none");
      EXPECT_EQ((descriptor.flags & TypeDescriptor::ordered) != 0, expected.order != "none");
    }
    if (expected.kind == "enum") {
      EXPECT_EQ(descriptor.encodedSize, expected.wide ? 4u : 1u);
      ASSERT_EQ(descriptor.literalCount, expected.literals.size());
      for (size_t i = 0; i < expected.literals.size(); ++i) {
        EXPECT_EQ(descriptor.literals[i].name, expected.literals[i].name);
        EXPECT_EQ(descriptor.literals[i].value, expected.literals[i].number);
      }
    }
  }
}

TEST(Descriptor, CountsAreThoseOfTheWholeModel) {
  size_t types = 0, attributes = 0, constants = 0, literals = 0, factories = 0;
  for (const ExpectedModel::Module& module : ExpectedModel::modules()) {
    const Tovo::TovoModule& record = moduleNamed(module.name);
    EXPECT_EQ(record.typeCount, module.types) << module.name;
    types += record.typeCount;
    for (uint32_t index = 0; index < record.typeCount; ++index) {
      const Tovo::TovoTypeBase type{&record, index};
      literals += typeDescriptor(type).literalCount;
      factories += (typeDescriptor(type).flags & TypeDescriptor::exportedFactory) != 0;
      for (const AttributeDescriptor& own : ownAttributes(type)) {
        if (own.kind == AttributeKind::constant) {
          ++constants;
        } else if (typeDescriptor(type).kind == Tovo::TypeKind::entity && own.id >= 258) {
          ++attributes;
        }
      }
    }
  }
  EXPECT_EQ(types, 97u);
  EXPECT_EQ(attributes, 249u);
  EXPECT_EQ(constants, 77u);
  EXPECT_EQ(literals, 69u);
  EXPECT_EQ(factories, 25u);
  EXPECT_EQ(ExpectedModel::types().size(), types);
}

// ------------------------------------------------------------------------------------ the records

TEST(Record, NamesAndOrderOfRegistration) {
  std::vector<std::string> registered;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) registered.emplace_back(module->name);
  std::vector<std::string> expected;
  for (const ExpectedModel::Module& module : ExpectedModel::modules()) {
    expected.push_back("_" + module.name + "_" + module.record + "_tovoModule");
  }
  ASSERT_EQ(registered.size(), 15u);
  const auto own = registered.begin() + 5;
  EXPECT_EQ(std::vector<std::string>(own, registered.end()), expected);
  EXPECT_EQ((std::set<std::string>(registered.begin(), own)),
            (std::set<std::string>{
                "_EthAddr_5ea519cab6df4342_tovoModule", "_NetU_4b711a431b8364f1_tovoModule",
                "_IntfId_638f3da9b062f5a9_tovoModule", "_Intf_9f670657c72a539c_tovoModule",
                "_VlanId_e770293df0b4c7dc_tovoModule"}));
}

TEST(Record, TypeNameListIsSortedAndHoldsWhatTheModuleStores) {
  const auto types = names(_StpTypes_7e58f2dcd85a6064_tovoModule.typeNames);
  // All types of the module, the address and three widths. Not the union's alternatives, not the
  // String of a constant, and no bool.
  std::set<std::string> expected = {"Nelka::EthAddr", "U16", "U32", "U8"};
  for (const Type& type : ExpectedModel::types()) {
    if (type.module == "StpTypes") expected.insert(type.name);
  }
  EXPECT_EQ(types, std::vector<std::string>(expected.begin(), expected.end()));
  EXPECT_EQ(types.size(), 29u);
  EXPECT_EQ(types[1], "Stp::BridgeId");
  EXPECT_EQ(types[25], "Stp::VlanIdOrRange");

  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    SCOPED_TRACE(module->name);
    const auto list = names(module->typeNames);
    EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
    EXPECT_EQ(std::adjacent_find(list.begin(), list.end()), list.end());
    EXPECT_EQ(std::count(list.begin(), list.end(), "bool"), 0);
    for (uint32_t index = 0; index < module->typeCount; ++index) {
      EXPECT_TRUE(std::binary_search(list.begin(), list.end(), module->types[index].name));
    }
  }
  EXPECT_EQ(names(_StpQuiesceStatus_53e362083029e8d0_tovoModule.typeNames),
            (std::vector<std::string>{"Stp::QuiesceStatus", "Tovo::String"}));
  EXPECT_EQ(names(_StpQuiesceConfig_f7fd46ffb3a3478f_tovoModule.typeNames),
            (std::vector<std::string>{"Stp::Config", "Stp::QuiesceConfig", "Tovo::Seconds",
                                      "Tovo::String"}));
}

TEST(Record, AttributeNamesAndReferencedTypes) {
  EXPECT_EQ(names(_StpQuiesceStatus_53e362083029e8d0_tovoModule.attributeNames),
            (std::vector<std::string>{"name", "nameString", "quiesceMode"}));
  for (const ExpectedModel::Module& expected : ExpectedModel::modules()) {
    const Tovo::TovoModule& module = moduleNamed(expected.name);
    EXPECT_EQ(module.referencedTypes == nullptr, expected.name == "StpQuiesceStatus")
        << expected.name;
    EXPECT_EQ(moduleHash(module), expected.record);
  }
  static_assert(sizeof(AttributeDescriptor) == 20);
  static_assert(offsetof(AttributeDescriptor, id) == 0);
  // A field descriptor made from a record reads its id.
  const Attribute digest = attributeByName(typeNamed("Stp::Status"), "mstpConfigDigest");
  EXPECT_EQ(digest.field().fieldId(), 262);
}

TEST(Record, TypesOfClassesResolve) {
  EXPECT_EQ(Stp::BridgeId::tovoStaticType(),
            (Tovo::TovoTypeBase{&_StpTypes_7e58f2dcd85a6064_tovoModule, 4}));
  EXPECT_EQ(Stp::PortId::tovoStaticType(),
            (Tovo::TovoTypeBase{&_StpTypes_7e58f2dcd85a6064_tovoModule, 7}));
  EXPECT_EQ(Tovo::TypeOf<Stp::Version>::type(), typeNamed("Stp::Version"));
  EXPECT_EQ(Tovo::TypeOf<Stp::PortState>::type().index, 1u);
  EXPECT_TRUE(isDerived(typeNamed("Stp::Input::ExternalConfig"), typeNamed("Stp::ConfigBase")));
  EXPECT_FALSE(isDerived(typeNamed("Stp::Config"), typeNamed("Stp::Input::Config")));
}

TEST(Record, FactoriesMakeTheirTypes) {
  using Made = Pelmo::Ptr<Tovo::Entity>;
  const Pelmo::String n = "n";
  const std::vector<std::pair<const char*, Made>> made = {
      {"Stp::BackupIntfConfig", Stp::backupIntfConfigFactory(n, "b")},
      {"Stp::Config", Stp::configFactory(n)},
      {"Stp::Hw", Stp::hwFactory(n)},
      {"Stp::MstiHw", Stp::mstiHwFactory(n)},
      {"Stp::MstiPortHw", Stp::mstiPortHwFactory(n)},
      {"Stp::OCGlobalConfig", Stp::oCGlobalConfigFactory(n)},
      {"Stp::OCGlobalState", Stp::oCGlobalStateFactory(n)},
      {"Stp::OCInterfaceConfigDir", Stp::oCInterfaceConfigDirFactory(n)},
      {"Stp::OCInterfaceStateDir", Stp::oCInterfaceStateDirFactory(n)},
      {"Stp::OCMstiConfigDir", Stp::oCMstiConfigDirFactory(n)},
      {"Stp::OCMstiStateDir", Stp::oCMstiStateDirFactory(n)},
      {"Stp::PortCounterDir", Stp::portCounterDirFactory(n)},
      {"Stp::ProtoStatus", Stp::protoStatusFactory(n)},
      {"Stp::QuiesceConfig", Stp::quiesceConfigFactory(n)},
      {"Stp::QuiesceStatus", Stp::quiesceStatusFactory(n)},
      {"Stp::StableControlStatus", Stp::stableControlStatusFactory(n)},
      {"Stp::StableCounterSyncer", Stp::stableCounterSyncerFactory(n)},
      {"Stp::StandbyStatus", Stp::standbyStatusFactory(n)},
      {"Stp::Status", Stp::statusFactory(n)},
      {"Stp::Input::Config", Stp::Input::configFactory(n)},
      {"Stp::Input::ExternalConfig", Stp::Input::externalConfigFactory(n)},
      {"Stp::Input::ConfigReq", Stp::Input::configReqFactory(n)},
      {"Stp::Input::PortConfig", Stp::Input::portConfigFactory(n)},
      {"Stp::Input::StpiConfig", Stp::Input::stpiConfigFactory(n)},
      {"Stp::Topology::Status", Stp::Topology::statusFactory(n)},
  };
  for (const auto& [name, entity] : made) {
    EXPECT_STREQ(typeName(entity->tovoType()), name);
    EXPECT_EQ(entity->name(), n);
    EXPECT_EQ(entity->references(), 1u);
    EXPECT_TRUE(ExpectedModel::type(name).factory);
  }
}

}  // namespace
