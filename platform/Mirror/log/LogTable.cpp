#include "Mirror/log/LogTable.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>

#include "Mirror/log/FlatMap.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

namespace {

using Tables = FlatMap<const TypeDescriptor*, const LogTable*>;

// Readers need no lock: a new type makes a new map. Nothing of it is ever destroyed; what other
// statics hold may still look into its table at exit.
std::atomic<const Tables*> newest = nullptr;

struct Everything {
  std::mutex lock;
  std::vector<std::unique_ptr<const Tables>> maps;
  std::vector<std::unique_ptr<const LogTable>> tables;
};

Everything& everything() {
  static auto& instance = *new Everything;
  return instance;
}

}  // namespace

const LogTable& LogTable::of(TovoTypeBase type) {
  const TypeDescriptor* const key = &typeDescriptor(type);
  if (const Tables* tables = newest.load(std::memory_order_acquire)) {
    if (const LogTable* const* known = tables->find(key)) return **known;
  }
  Everything& all = everything();
  const std::lock_guard guard(all.lock);
  const Tables* before = newest.load(std::memory_order_relaxed);
  if (const LogTable* const* known = before ? before->find(key) : nullptr) return **known;
  all.tables.emplace_back(new LogTable(type));
  auto after = before ? std::make_unique<Tables>(*before) : std::make_unique<Tables>();
  (*after)[key] = all.tables.back().get();
  newest.store(after.get(), std::memory_order_release);
  all.maps.push_back(std::move(after));
  return *all.tables.back();
}

LogTable::LogTable(TovoTypeBase type) : type_(type), hooks_(entityHooks(type)) {
  attributes_.reserve(attributeTotal(type));
  if ((typeDescriptor(type).flags & TypeDescriptor::keyedByParameter) == 0) {
    constructor_.push_back({&primitiveOps(PrimitiveCode::string), AttributeDescriptor::notStored});
  }
  forEachAttribute(type, [&](Attribute attribute) {
    LogAttribute entry{attribute,
                       nullptr,
                       nullptr,
                       total_++,
                       attribute.descriptor().offset,
                       TypeDescriptor::variableSize,
                       attribute.id(),
                       attribute.kind(),
                       attribute.isLogged()};
    switch (attribute.kind()) {
      case AttributeKind::attribute:
        entry.ops = &attribute.ops();
        entry.encodedSize = entry.ops->encodedSize;
        entry.encode = entry.ops->encode;
        entry.decode = entry.ops->decode;
        break;
      case AttributeKind::pointer:
        entry.encodedSize = sizeof(uint32_t);
        break;
      case AttributeKind::valueCollection:
      case AttributeKind::selfKeyedCollection:
        entry.ops = &attribute.ops();
        [[fallthrough]];
      case AttributeKind::ownCollection:
      case AttributeKind::refCollection:
        entry.keyOps = &attribute.keyOps();
        break;
      case AttributeKind::parameter:
        constructor_.push_back({&attribute.ops(), entry.offset});
        break;
      default:
        break;
    }
    if (entry.logged && entry.ordinal < 64) {
      const uint64_t bit = uint64_t{1} << entry.ordinal;
      loggedBits_ |= bit;
      if (entry.encode) fixedBits_ |= bit;
    }
    attributes_.push_back(entry);
  });
  for (const LogAttribute& entry : attributes_) {
    if (!entry.logged) continue;
    if (byId_.empty()) firstId_ = entry.id;
    byId_.resize(std::max<size_t>(byId_.size(), entry.id - firstId_ + 1), nullptr);
    byId_[entry.id - firstId_] = &entry;
  }
  findRuns();
}

void LogTable::findRuns() {
  runs_.reserve(attributes_.size());
  for (TovoTypeBase type = type_; type; type = baseType(type)) {
    for (const ValueRun& run : entityHooks(type)->runs) {
      auto* const first = const_cast<LogAttribute*>(logged(run.first));
      const LogAttribute* const last = logged(run.last);
      // A run whose bits lie in two words would need two tests each time; its values travel alone.
      if (first->ordinal / 64 != last->ordinal / 64) continue;
      uint64_t bits = 0;
      for (const LogAttribute* at = first; at <= last; ++at) {
        if (at->logged) bits |= uint64_t{1} << (at->ordinal % 64);
      }
      runs_.push_back({run, bits, first->ordinal / 64});
      first->run = &runs_.back();
    }
  }
}

}  // namespace Tovo::NboAttrLog
