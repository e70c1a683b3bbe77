// A module whose members are called like everything in the runtime that tdc does not refuse.
#include <gtest/gtest.h>

#include "Tovo/AllocTrack.h"
#include "Tovo/Entity.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "Tovo/ValueOps.h"
#include "names/Names.h"

namespace {

const Tovo::TovoModule& module() { return *Names::Fields0::tovoStaticType().module; }

uint8_t operation(Tovo::TovoTypeBase type, void* object, Tovo::AttributeId id, uint32_t code,
                  uint16_t* result, const uint16_t* argument) {
  const Pelmo::FieldDescriptor field(&id);
  return genericIf(type).genericIfAttributeOp(type, result, object, &field, code, nullptr,
                                              argument);
}

class Counter : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change&) override { ++changes; }
  void handlePublisherGone() override { gone = true; }
  size_t changes = 0;
  bool gone = false;
};

// Objects are counted, observed, set, read and destroyed by the runtime's own functions.
TEST(RuntimeNames, HideNothingFromTheRuntime) {
  const size_t before = Tovo::AllocTrackTypeInfo::totalLiveObjects();
  size_t attributes = 0;
  for (uint32_t index = 0; index < module().typeCount; ++index) {
    const Tovo::TovoTypeBase type{&module(), index};
    if (typeDescriptor(type).kind != Tovo::TypeKind::entity) continue;
    SCOPED_TRACE(typeName(type));
    Counter counter;
    {
      const Pelmo::String name("one");
      const auto entity = genericIf(type).newEntityForDir(type, name, {});
      EXPECT_EQ(entity->references(), 1u);
      EXPECT_EQ(entity->name(), name);
      EXPECT_EQ(entity->tovoType(), type);
      EXPECT_EQ(entity->parent(), nullptr);
      counter.observe(entity->publisher());
      size_t set = 0;
      for (const Tovo::AttributeDescriptor& own : Tovo::ownAttributes(type)) {
        if (own.kind != Tovo::AttributeKind::attribute) continue;
        const auto value = static_cast<uint16_t>(1000 + own.id);
        uint16_t read = 0;
        EXPECT_EQ(operation(type, entity.get(), own.id, Tovo::OperationCode::set, nullptr, &value),
                  0);
        EXPECT_EQ(operation(type, entity.get(), own.id, Tovo::OperationCode::get, &read, nullptr),
                  0);
        EXPECT_EQ(read, value);
        EXPECT_EQ(counter.changes, ++set);
      }
      attributes += set;
    }
    EXPECT_TRUE(counter.gone);
  }
  EXPECT_GT(attributes, 200u);
  EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), before);
}

// They are compared, hashed, printed and read as any value is.
TEST(RuntimeNames, HideNothingFromValues) {
  for (uint32_t index = 0; index < module().typeCount; ++index) {
    const Tovo::TovoTypeBase type{&module(), index};
    if (typeDescriptor(type).kind != Tovo::TypeKind::value) continue;
    const Tovo::ValueOps& ops = *Tovo::valueOps(type);
    std::string text;
    Tovo::ValueBuffer initial(ops);
    initial.constructDefault();
    ops.print(text, initial.get());
    Tovo::CharRange range(text);
    Tovo::ValueBuffer parsed(ops);
    parsed.parse(range);
    EXPECT_TRUE(ops.equal(initial.get(), parsed.get())) << text;
    EXPECT_EQ(ops.hash(initial.get()), ops.hash(parsed.get())) << text;
  }
}

}  // namespace
