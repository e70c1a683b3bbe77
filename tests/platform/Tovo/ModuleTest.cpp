#include "Tovo/Module.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Bridging/Modules.h"
#include "Interface/Modules.h"
#include "Nelka/Modules.h"
#include "SampleModule.h"
#include "Tovo/ValueOps.h"

namespace Tovo {
namespace {

TEST(Module, TheFiveForeignRecords) {
  const struct {
    const TovoModule* module;
    std::string name, hash;
    std::vector<std::string> types;
  } records[] = {
      {&_EthAddr_5ea519cab6df4342_tovoModule, "EthAddr", "5ea519cab6df4342", {"Nelka::EthAddr"}},
      {&_NetU_4b711a431b8364f1_tovoModule, "NetU", "4b711a431b8364f1", {"Nelka::NetU8"}},
      {&_IntfId_638f3da9b062f5a9_tovoModule, "IntfId", "638f3da9b062f5a9", {"Nelka::IntfId"}},
      {&_VlanId_e770293df0b4c7dc_tovoModule,
       "VlanId",
       "e770293df0b4c7dc",
       {"Bridging::VlanId", "Bridging::VlanIdRange", "Bridging::VlanIdOrNone"}},
      {&_Intf_9f670657c72a539c_tovoModule,
       "Intf",
       "9f670657c72a539c",
       {"Interface::IntfLoggingMode"}},
  };
  for (const auto& each : records) {
    SCOPED_TRACE(each.name);
    EXPECT_EQ(each.module->name, "_" + each.name + "_" + each.hash + "_tovoModule");
    EXPECT_EQ(moduleName(*each.module), each.name);
    EXPECT_EQ(moduleHash(*each.module), each.hash);
    ASSERT_EQ(each.module->typeCount, each.types.size());
    for (uint32_t index = 0; index < each.types.size(); ++index) {
      const TovoTypeBase type{each.module, index};
      EXPECT_EQ(typeName(type), each.types[index]);
      EXPECT_EQ(typeByName(each.types[index]), type);
      EXPECT_FALSE(baseType(type));
      EXPECT_TRUE(ownAttributes(type).empty());
      // What the descriptor says is what the operations do.
      const ValueOps& ops = *valueOps(type);
      const TypeDescriptor& descriptor = typeDescriptor(type);
      EXPECT_EQ(ops.encodedSize, descriptor.encodedSize);
      if (descriptor.kind == TypeKind::value) {
        EXPECT_EQ(ops.hash != nullptr, (descriptor.flags & TypeDescriptor::hashable) != 0);
        EXPECT_EQ(ops.less != nullptr, (descriptor.flags & TypeDescriptor::ordered) != 0);
      }
    }
    EXPECT_EQ(std::count(tovoModules().begin(), tovoModules().end(), each.module), 1);
  }
}

TEST(Module, NamesThatNoTypeHas) {
  for (const char* name : {"", "EthAddr", "Nelka::EthAdd", "Nelka::EthAddr ", "nelka::EthAddr"}) {
    EXPECT_FALSE(typeByName(name)) << name;
  }
}

TEST(Module, AttributesByIdAndName) {
  const TovoTypeBase type = Sample::Mark::tovoStaticType();
  const char* const names[] = {"level", "label", "at", "limit", "colour"};
  const char* const types[] = {"Sample::Level", "String", "Seconds", "u16", "Sample::Colour"};
  for (uint32_t ordinal = 0; ordinal < 5; ++ordinal) {
    const auto id = static_cast<AttributeId>(ordinal + 2);
    const Attribute attribute = attributeById(type, id);
    ASSERT_TRUE(attribute);
    EXPECT_STREQ(attribute.name(), names[ordinal]);
    EXPECT_STREQ(attribute.typeName(), types[ordinal]);
    EXPECT_EQ(attribute.field().fieldId(), id);
    EXPECT_EQ(attributeByName(type, names[ordinal]).id(), id);
    EXPECT_EQ(attributeOrdinal(type, id), ordinal);
    EXPECT_EQ(attributeAt(type, ordinal).id(), id);
  }
  EXPECT_EQ(attributeTotal(type), 5u);
  for (const AttributeId id : {0, 1, 7, 0xffff}) EXPECT_FALSE(attributeById(type, id)) << id;
  EXPECT_FALSE(attributeByName(type, "Level"));
  EXPECT_FALSE(attributeById(Sample::Nothing::tovoStaticType(), 2));
}

}  // namespace
}  // namespace Tovo
