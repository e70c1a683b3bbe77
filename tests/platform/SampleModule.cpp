#include "SampleModule.h"

#include <cstddef>

#include "Tovo/Exceptions.h"
#include "Tovo/ForeignModule.h"

namespace {

using namespace Sample;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::PrimitiveCode::count;

constexpr Tovo::EnumLiteral colours[] = {{0, "red", ""}, {5, "green", ""}, {-1, "blue", ""}};

// Which attributes a type has: the place of the first one, and how many.
constexpr Tovo::TypeDescriptor withFields(Tovo::TypeDescriptor type, uint32_t first,
                                          uint32_t number) {
  type.firstAttribute = first;
  type.attributeCount = number;
  type.flags &= static_cast<uint8_t>(~Tovo::TypeDescriptor::noArguments);
  return type;
}

constexpr Tovo::TypeDescriptor types[] = {
    withFields(Tovo::foreignValue("Sample::Nothing", "", 0, 0), 0, 0),
    withFields(Tovo::foreignValue("Sample::Level", "", 1, Tovo::TypeDescriptor::ordered), 0, 1),
    withFields(Tovo::foreignValue("Sample::Mark", "", 0, 0), 1, 5),
    Tovo::foreignEnum("Sample::Colour", "", colours, 4),
    {"Sample::Thing", "", nullptr, 0, 0, 0, 0, 0, Tovo::TypeKind::entity, 0},
};

// offsetof is enough here, although the types are not of standard layout.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
constexpr AttributeDescriptor attributes[] = {
    {2, AttributeKind::field, AttributeDescriptor::ranged, 1, 0, 0, offsetof(Level, level), 1},
    {2, AttributeKind::field, 0, count + 1, 0, 0, offsetof(Mark, level), 0},
    {3, AttributeKind::field, 0, 5, 0, 6, offsetof(Mark, label), 0},
    {4, AttributeKind::field, AttributeDescriptor::readOnly, 6, 0, 12, offsetof(Mark, at), 0},
    {5, AttributeKind::constant, 0, 2, 0, 15, AttributeDescriptor::notStored, 2},
    {6, AttributeKind::field, 0, count, 0, 21, offsetof(Mark, colour), 0},
};
constexpr char attributeNames[] = "level\0label\0at\0limit\0colour\0";

const Tovo::AttributeDetail details[] = {
    {},
    {nullptr, nullptr, nullptr, 1, 200, nullptr, nullptr, "a level is 1 to 200", nullptr, nullptr,
     nullptr, nullptr},
    {nullptr, &Mark::limit, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
     nullptr},
};

const Tovo::TovoTypeBase referenced[] = {{&_Sample_0123456789abcdef_tovoModule, 3},
                                         {&_Sample_0123456789abcdef_tovoModule, 1}};

constexpr Tovo::GenericIfEntry thingEntry{
    [](Tovo::TovoTypeBase type, const Pelmo::String& name, Tovo::ConstructorArguments arguments) {
      if (!arguments.empty()) Tovo::throwNewEntityArgsException(*type.module, 0);
      return Pelmo::Ptr<Tovo::Entity>::adopt(new Thing(name));
    },
    nullptr,
    &Tovo::GenericIfImpl::GenericIfPtrInterfaceMethods<Tovo::Entity>::table,
    nullptr,
    nullptr,
    nullptr};

const Tovo::GenericIfEntry entries[] = {Tovo::valueEntry<Nothing>(), Tovo::valueEntry<Level>(),
                                        Tovo::valueEntry<Mark>(), Tovo::enumEntry<Colour>(),
                                        thingEntry};

}  // namespace

const Tovo::TovoModule _Sample_0123456789abcdef_tovoModule{
    types,
    attributes,
    details,
    "Sample::Colour\0Sample::Level\0Sample::Mark\0Sample::Nothing\0Sample::Thing\0",
    attributeNames,
    referenced,
    entries,
    5,
    "_Sample_0123456789abcdef_tovoModule"};

static const Tovo::ModuleRegistration registration{&_Sample_0123456789abcdef_tovoModule};
