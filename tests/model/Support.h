// What the tests of the model share: reflection by name, random values, recorded changes.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Mirror/log/StreamAdapter.h"
#include "Pelmo/Publisher.h"
#include "Tovo/Assert.h"
#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/ValueOps.h"

/// Checks after each test that nothing is left alive.
class ModelTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

 private:
  size_t liveBefore_ = 0;
};

using Buffer = std::unique_ptr<Tovo::ValueBuffer>;

/// Fails the test when the type is not registered.
Tovo::TovoTypeBase typeNamed(std::string_view name);

/// The types of these kinds in the ten modules, in order.
std::vector<Tovo::TovoTypeBase> modelTypes(std::initializer_list<Tovo::TypeKind> kinds);

/// Calls body(type) for each of them.
template <class Body>
void forEachType(std::initializer_list<Tovo::TypeKind> kinds, const Body& body) {
  for (const Tovo::TovoTypeBase type : modelTypes(kinds)) {
    SCOPED_TRACE(typeName(type));
    body(type);
  }
}

std::string text(const Tovo::ValueOps& ops, const void* value);
std::string hex(std::span<const uint8_t> bytes);
std::vector<uint8_t> bytesOfHex(std::string_view hex);
/// The log form, in exactly as many bytes as attrLogSize says.
std::vector<uint8_t> encoded(const Tovo::ValueOps& ops, const void* value);

template <class T>
std::string hexOf(const T& value) {
  return hex(encoded(Tovo::ValueOpsOf<T>::table, &value));
}
template <class T>
T fromHex(std::string_view digits) {
  const std::vector<uint8_t> bytes = bytesOfHex(digits);
  Tovo::NboAttrLog::In in(bytes);
  return T(&in, Tovo::StreamBogon{});
}

/// genericIfAttributeOp with an id instead of a descriptor.
uint8_t attributeOp(Tovo::TovoTypeBase type, void* result, void* object, unsigned id, uint32_t code,
                    const void* other = nullptr, const void* argument = nullptr);
/// The same without a field.
uint8_t wholeOp(Tovo::TovoTypeBase type, bool& result, const void* object, uint32_t code,
                const void* other = nullptr);
/// An attribute read by reflection, as text; "(1)" or "(2)" where that is the answer.
std::string gotFrom(Tovo::TovoTypeBase type, void* object, Tovo::Attribute attribute);
std::string got(Tovo::Entity& entity, unsigned id);

/// Values of any registered type, made through reflection.
class Samples {
 public:
  explicit Samples(uint64_t seed) : random_(seed) {}
  Buffer any(Tovo::TovoTypeBase type);
  /// Inside the attribute's range, if it has one.
  Buffer any(Tovo::Attribute attribute);
  uint64_t number(uint64_t low, uint64_t high) {
    return std::uniform_int_distribution<uint64_t>(low, high)(random_);
  }

 private:
  Buffer primitive(const Tovo::ValueOps& ops, std::string_view name);
  Buffer imported(const Tovo::ValueOps& ops, std::string_view name);

  std::mt19937_64 random_;
};

/// "sw.maxAge was 20", "sw.disabledVlan[10] added", "sw.disabledVlan[10] was true".
class Recorder : public Pelmo::Observer {
 public:
  explicit Recorder(Tovo::Entity& entity) { observeRecursive(entity.publisher()); }
  void handleChange(const Pelmo::Change& change) override;
  /// What came in since the last call.
  std::vector<std::string> take();
  std::function<void(const Pelmo::Change&)> then;

 private:
  std::vector<std::string> seen_;
};

using Lines = std::vector<std::string>;

/// Creates an entity as a directory does: the name (or key) "1", parameters from `samples`.
Pelmo::Ptr<Tovo::Entity> newEntity(Tovo::TovoTypeBase type, Samples& samples);

/// The text of a key of a collection, for each number another one.
std::string keyText(Tovo::Attribute collection, int number);

/// The receiving end of an attribute log that carries one entity.
class Receiver {
 public:
  explicit Receiver(Tovo::Entity& entity);
  void apply(unsigned id, std::string_view payload);

 private:
  Tovo::NboAttrLog::Output nothing_{0, 0, nullptr};
  Tovo::NboAttrLog::StreamAdapter log_{nothing_};
  uint32_t id_;
};

/// Failed assertions throw Tovo::AssertionError while one of these lives.
class AssertionsThrow {
 public:
  AssertionsThrow();
  ~AssertionsThrow();

 private:
  Tovo::AssertionHandler previous_;
};

/// The message of the RangeException that `action` throws; "none" when it throws nothing.
template <class Action>
std::string rangeError(const Action& action) {
  try {
    action();
  } catch (const Tovo::RangeException& error) {
    return error.what();
  }
  return "none";
}
