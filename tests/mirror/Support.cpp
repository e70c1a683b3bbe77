#include "Support.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"

namespace Mirror {

using Tovo::ValueBuffer;
using Tovo::ValueOps;

namespace {

std::string encoded(const ValueOps& ops, const void* value) {
  std::string bytes(ops.attrLogSize(value), '\0');
  Tovo::NboAttrLog::Out out({reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
  ops.write(out, value);
  return bytes;
}

const Entity* pointerAt(const Entity& entity, Attribute attribute) {
  return static_cast<const Ptr<Entity>*>(storage(entity, attribute))->get();
}

// How targets of references are told apart: by path, which differs between ends that are not
// equal, or as objects, because the path of one that leaves its collection changes.
using TargetText = std::string (*)(const Entity* target);

std::string byPath(const Entity* target) { return target ? pathOf(*target) : "none"; }
std::string byIdentity(const Entity* target) {
  return std::to_string(reinterpret_cast<uintptr_t>(target));
}

std::string entryKey(Attribute collection, const void* key) {
  return "{" + hex(encoded(collection.keyOps(), key)) + "}";
}

std::string itemText(Attribute collection, const void* item, TargetText targetText) {
  switch (collection.kind()) {
    case AttributeKind::ownCollection:
      return "element";
    case AttributeKind::refCollection:
      return targetText(Tovo::elementEntity(item));
    default:
      return hex(encoded(collection.ops(), item));
  }
}

void addPlain(const Entity& entity, Plain& plain, TargetText targetText) {
  const std::string own = pathOf(entity) + "/";
  forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    const std::string path = own + attribute.name();
    if (attribute.isCollection()) {
      forEachElement(entity, attribute, [&](const void* key, const void* item) {
        plain[path + entryKey(attribute, key)] = itemText(attribute, item, targetText);
        if (attribute.kind() == AttributeKind::ownCollection) {
          addPlain(*Tovo::elementEntity(item), plain, targetText);
        }
      });
      return;
    }
    if (attribute.kind() == AttributeKind::pointer) {
      plain[path] = targetText(pointerAt(entity, attribute));
    } else if (attribute.kind() == AttributeKind::attribute ||
               attribute.kind() == AttributeKind::parameter) {
      plain[path] = hex(encoded(attribute.ops(), storage(entity, attribute)));
    }
  });
}

}  // namespace

void Test::SetUp() {
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  liveBefore_ = Tovo::AllocTrackTypeInfo::totalLiveObjects();
}

void Test::TearDown() {
  EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), liveBefore_);
  Tovo::assertionHandlerIs(nullptr);
}

Sockets::Sockets() {
  int ends[2] = {-1, -1};
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("socketpair");
  a = ends[0];
  b = ends[1];
}

bool readable(int fd) {
  pollfd ready{fd, POLLIN, 0};
  return fd >= 0 && ::poll(&ready, 1, 0) > 0;
}

Relay::Relay() {
  for (const int fd : {a_.a, a_.b, b_.a, b_.b}) {
    const int smallest = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  }
}

Relay::~Relay() {
  ::close(a_.b);
  ::close(b_.b);
}

bool Relay::move(int from, int to, size_t bytes, std::string& held) {
  char buffer[4096];
  if (held.empty()) {
    const ssize_t got = ::read(from, buffer, std::min(bytes, sizeof buffer));
    if (got > 0) held.assign(buffer, static_cast<size_t>(got));
  }
  if (held.empty()) return false;
  const ssize_t sent = ::send(to, held.data(), held.size(), MSG_NOSIGNAL);
  if (sent > 0) held.erase(0, static_cast<size_t>(sent));
  return sent > 0;
}

Pair::Pair(Limits hostLimits, Limits guestLimits) {
  const Sockets sockets;
  host = std::make_unique<Connection>(sockets.a, hostDirectory, hostLimits);
  guest = std::make_unique<Connection>(sockets.b, guestDirectory, guestLimits);
}

Ptr<Entity> Pair::root(std::string_view path, std::string_view type) {
  return hostDirectory.newEntity(path, type);
}

Entity& Pair::mirror(std::string_view path, bool readOnly) {
  guest->guest().mount(path, readOnly);
  settle();
  Entity* entity = guestDirectory.mounted(path);
  if (!entity) {
    throw std::runtime_error("no mirror of " + std::string(path) + ": " + host->closeReason() +
                             " / " + guest->closeReason());
  }
  return *entity;
}

void Pair::settle() {
  for (int quiet = 0; quiet < 2; ++quiet) {
    if (host) host->flush();
    if (guest) guest->flush();
    for (const std::unique_ptr<Connection>* end : {&host, &guest}) {
      if (!*end || !readable((*end)->readFd())) continue;
      (*end)->handleReadable();
      quiet = -1;
    }
  }
}

void Pair::expectOpen() const {
  EXPECT_FALSE(host->closed()) << host->closeReason();
  EXPECT_FALSE(guest->closed()) << guest->closeReason();
}

namespace {

// Both as "path: value" lines that only one side has.
void expectSamePlain(const Plain& expected, const Plain& found) {
  if (expected == found) return;
  for (const auto& [path, value] : expected) {
    const auto at = found.find(path);
    EXPECT_EQ(at == found.end() ? "nothing" : at->second, value) << path;
  }
  for (const auto& [path, value] : found) {
    EXPECT_TRUE(expected.contains(path)) << path << " is " << value << " and should not be there";
  }
}

}  // namespace

// Compared twice, by the runtime and by this file's own walk.
void expectSame(const Entity& a, const Entity& b) {
  std::string difference;
  EXPECT_TRUE(sameTree(a, b, difference)) << difference;
  EXPECT_EQ(difference, "");
  expectSamePlain(plainOf(a), plainOf(b));
}

std::vector<Entity*> entitiesOf(Entity& root) {
  std::vector<Entity*> all{&root};
  for (size_t i = 0; i < all.size(); ++i) {
    forEachChild(*all[i], [&](Entity& child, Attribute) { all.push_back(&child); });
  }
  return all;
}

Plain plainOf(const Entity& root) {
  Plain plain;
  addPlain(root, plain, byPath);
  return plain;
}

// ------------------------------------------------------------------------------------- writing

// Random bytes as the log would carry them, mostly small, so that lengths and counts fit too. No
// byte begins a number that does not equal itself.
Writer::Value Writer::value(const ValueOps& ops) {
  constexpr uint32_t longest = 48;
  for (int attempt = 0; attempt < 200; ++attempt) {
    std::string bytes(longest, '\0');
    for (char& byte : bytes) {
      const uint32_t choice = below(10);
      byte = static_cast<char>(choice < 5 ? 0 : choice < 8 ? below(4) : below(0x6f));
    }
    Tovo::NboAttrLog::In in({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    auto made = std::make_unique<ValueBuffer>(ops);
    try {
      made->read(in);
      return made;
    } catch (const std::exception&) {
      continue;
    }
  }
  auto made = std::make_unique<ValueBuffer>(ops);
  made->constructDefault();
  return made;
}

// One of few, so that the same key comes again.
Writer::Value Writer::key(const ValueOps& ops) {
  auto made = std::make_unique<ValueBuffer>(ops);
  if (&ops == &Tovo::primitiveOps(Tovo::PrimitiveCode::string)) {
    const Pelmo::String name("Ethernet" + std::to_string(below(7)) + "/1");
    made->constructFrom(&name);
    return made;
  }
  std::string bytes(ops.encodedSize, '\0');
  bytes.back() = static_cast<char>(below(7));
  Tovo::NboAttrLog::In in({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  made->read(in);
  return made;
}

Entity* Writer::target(Attribute attribute) {
  std::vector<Entity*> fitting;
  const auto look = [&](const std::vector<Entity*>& there) {
    for (Entity* entity : there) {
      if (isDerived(entity->tovoType(), attribute.type())) fitting.push_back(entity);
    }
  };
  if (beside_ && below(2) == 0) look(entitiesOf(*beside_));
  if (fitting.empty()) look(all());
  return fitting.empty() ? nullptr : fitting[below(static_cast<uint32_t>(fitting.size()))];
}

void Writer::insert(Entity& owner, Attribute collection) {
  const Value at = key(collection.keyOps());
  if (collection.kind() == AttributeKind::ownCollection) {
    std::vector<Value> values;
    std::vector<const void*> parameters;
    for (const Attribute parameter : constructorParameters(collection.type())) {
      values.push_back(below(2) == 0 ? value(parameter.ops()) : nullptr);
      if (!values.back()) {
        values.back() = std::make_unique<ValueBuffer>(parameter.ops());
        values.back()->constructDefault();
      }
      parameters.push_back(values.back()->get());
    }
    try {
      collectionOps(collection).create(owner, at->get(), parameters);
    } catch (const Tovo::MutatorReinstantiatingException&) {
      remove(owner, collection, at->get());
      collectionOps(collection).create(owner, at->get(), parameters);
    }
    return;
  }
  if (collection.kind() == AttributeKind::refCollection) {
    const Ptr<Entity> to(target(collection));
    if (to) collectionOps(collection).put(owner, at->get(), &to);
    return;
  }
  const Value item = value(collection.ops());
  collectionOps(collection).put(owner, at->get(), item->get());
}

void Writer::remove(Entity& owner, Attribute collection, const void* key, bool references) {
  const void* item = collectionFind(owner, collection, key);
  if (!item) return;
  std::vector<Entity*> gone;
  if (references && collection.kind() == AttributeKind::ownCollection) {
    gone = entitiesOf(*Tovo::elementEntity(item));
  }
  const Ptr<Entity> keep(gone.empty() ? nullptr : gone.front());
  collectionOps(collection).erase(owner, key);
  if (gone.empty()) return;
  clearReferences([&](const Entity* target) {
    return std::find(gone.begin(), gone.end(), target) != gone.end();
  });
}

void Writer::clearDangling() {
  const std::vector<Entity*> there = all();
  clearReferences([&](const Entity* target) {
    return target && std::find(there.begin(), there.end(), target) == there.end();
  });
}

void Writer::clearReferences(const std::function<bool(const Entity*)>& to) {
  for (Entity* holder : all()) {
    forEachAttribute(holder->tovoType(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::pointer) {
        if (to(pointerAt(*holder, attribute))) pointerIs(*holder, attribute, nullptr);
      } else if (attribute.kind() == AttributeKind::refCollection) {
        forEachElement(*holder, attribute, [&](const void* at, const void* target) {
          if (to(Tovo::elementEntity(target))) collectionOps(attribute).erase(*holder, at);
        });
      }
    });
  }
}

void Writer::erase(Entity& owner, Attribute collection) {
  // Mostly one, now and then all.
  uint32_t place = below(8);
  const bool all = place == 7;
  const ValueOps& keyOps = collection.keyOps();
  std::vector<Value> keys;
  forEachElement(owner, collection, [&](const void* at, const void*) {
    if (!all && place-- != 0) return;
    keys.push_back(std::make_unique<ValueBuffer>(keyOps));
    keys.back()->constructFrom(at);
  });
  for (const Value& at : keys) remove(owner, collection, at->get());
}

void Writer::change(Entity& entity, Attribute attribute) {
  if (attribute.isCollection()) {
    if (below(5) < 2) return erase(entity, attribute);
    return insert(entity, attribute);
  }
  if (attribute.kind() == AttributeKind::pointer) {
    return pointerIs(entity, attribute, below(3) == 0 ? nullptr : target(attribute));
  }
  if (attribute.kind() != AttributeKind::attribute) return;
  const Value to = value(attribute.ops());
  const Pelmo::FieldDescriptor field = attribute.field();
  try {
    genericIf(entity.tovoType())
        .genericIfAttributeOp(entity.tovoType(), nullptr, &entity, &field, Tovo::OperationCode::set,
                              nullptr, to->get());
  } catch (const Tovo::RangeException&) {
    return;
  }
}

std::vector<Entity*> Writer::all() const {
  std::vector<Entity*> all = entitiesOf(root_);
  if (!beside_) return all;
  const std::vector<Entity*> more = entitiesOf(*beside_);
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

Entity& Writer::anyEntity() {
  const std::vector<Entity*> all = entitiesOf(root_);
  return *all[below(static_cast<uint32_t>(all.size()))];
}

void Writer::step() {
  Entity& entity = anyEntity();
  std::vector<Attribute> logged;
  forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (!attribute.isLogged()) return;
    // Collections and pointers are few and are where faults hide.
    const int weight = attribute.kind() == AttributeKind::attribute ? 1 : 6;
    for (int i = 0; i < weight; ++i) logged.push_back(attribute);
  });
  change(entity, logged[below(static_cast<uint32_t>(logged.size()))]);
}

void Writer::steps(int count) {
  for (int i = 0; i < count; ++i) step();
}

void Writer::fill(int each) { fillBelow(root_, each); }

void Writer::changeAll(bool referencesOnly) {
  std::vector<Ptr<Entity>> there;
  for (Entity* entity : entitiesOf(root_)) there.emplace_back(entity);
  for (const Ptr<Entity>& entity : there) {
    if (entity.get() != &root_ && !entity->parent()) continue;
    forEachAttribute(entity->tovoType(), [&](Attribute attribute) {
      const bool refers = attribute.kind() == AttributeKind::pointer ||
                          attribute.kind() == AttributeKind::refCollection;
      if (attribute.isLogged() && (refers || !referencesOnly)) change(*entity, attribute);
    });
  }
}

void Writer::burst() {
  Entity& entity = anyEntity();
  forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (attribute.isLogged() && !attribute.isCollection()) change(entity, attribute);
  });
}

void Writer::remake() {
  const Ptr<Entity> before(&anyEntity());
  Entity* const owner = before->parent();
  if (!owner || before.get() == &root_) return;
  forEachAttribute(owner->tovoType(), [&](Attribute collection) {
    if (collection.kind() != AttributeKind::ownCollection) return;
    ValueBuffer key(collection.keyOps());
    bool found = false;
    forEachElement(*owner, collection, [&](const void* at, const void* item) {
      if (item != before.get()) return;
      key.constructFrom(at);
      found = true;
    });
    if (!found) return;
    std::vector<const void*> parameters;
    for (const Attribute parameter : constructorParameters(collection.type())) {
      parameters.push_back(storage(*before, parameter));
    }
    remove(*owner, collection, key.get(), below(2) == 0);
    if (below(4) == 0) return;
    const Ptr<Entity> now = collectionOps(collection).create(*owner, key.get(), parameters);
    Writer below(*now, random_(), &root_);
    below.steps(static_cast<int>(below.below(4)));
  });
}

void Writer::fillBelow(Entity& entity, int each) {
  forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (!attribute.isCollection()) return;
    for (int i = 0; i < each; ++i) insert(entity, attribute);
  });
  forEachChild(entity, [&](Entity& child, Attribute) { fillBelow(child, each); });
  forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (attribute.isLogged() && !attribute.isCollection()) change(entity, attribute);
    if (attribute.kind() == AttributeKind::refCollection) insert(entity, attribute);
  });
}

// ----------------------------------------------------------------------------------- replaying

Replay::Replay(Entity& root) : root_(root) {
  addPlain(root, plain_, byIdentity);
  observeRecursive(root.nodePublisher());
}

void Replay::handleChange(const Pelmo::Change& change) {
  ++changes_;
  Entity& entity = Tovo::entityOf(change.source);
  const Attribute attribute = attributeById(entity.tovoType(), change.attribute);
  ASSERT_TRUE(attribute);
  if (attribute.isCollection()) return collectionChanged(entity, attribute, change);
  const std::string path = pathOf(entity, attribute.name());
  const bool isPointer = attribute.kind() == AttributeKind::pointer;
  const std::string before = isPointer
                                 ? byIdentity(*static_cast<const Entity* const*>(change.previous))
                                 : hex(encoded(attribute.ops(), change.previous));
  const std::string now = isPointer ? byIdentity(pointerAt(entity, attribute))
                                    : hex(encoded(attribute.ops(), storage(entity, attribute)));
  EXPECT_NE(before, now) << path << " has not changed";
  std::string& known = plain_[path];
  if (arrived_.erase(path) == 0) {
    EXPECT_EQ(known, before) << path;
  }
  known = now;
}

// An element arrives with what is in it, which is published behind it as its writer made it.
void Replay::collectionChanged(Entity& owner, Attribute collection, const Pelmo::Change& change) {
  const std::string path = pathOf(owner, collection.name()) + entryKey(collection, change.key);
  const void* item = collectionFind(owner, collection, change.key);
  const bool known = plain_.contains(path);
  if (change.previous || !known) {
    EXPECT_EQ(known, change.previous != nullptr) << path;
  } else {
    EXPECT_EQ(arrived_.erase(path), 1u) << path << " came twice";
  }
  if (collection.kind() == AttributeKind::ownCollection) {
    if (!change.previous) {
      ASSERT_TRUE(item) << path;
      Plain element{{path, "element"}};
      addPlain(*Tovo::elementEntity(item), element, byIdentity);
      if (!known) {
        for (const auto& [at, value] : element) {
          if (at != path) arrived_.insert(at);
        }
      }
      for (auto& [at, value] : element) plain_[at] = value;
      return;
    }
    // Another one may be there already; then it is published next.
    std::string below = pathOf(owner, collection.name());
    Tovo::appendKey(below, Tovo::plainText(collection.keyOps(), change.key));
    plain_.erase(path);
    arrived_.erase(path);
    for (const char next : {'/', '['}) {
      const std::string from = below + next;
      const std::string to = below + static_cast<char>(next + 1);
      plain_.erase(plain_.lower_bound(from), plain_.lower_bound(to));
      arrived_.erase(arrived_.lower_bound(from), arrived_.lower_bound(to));
    }
    return;
  }
  if (item) {
    plain_[path] = itemText(collection, item, byIdentity);
  } else {
    plain_.erase(path);
  }
}

void Replay::expectComplete() const {
  Plain now;
  addPlain(root_, now, byIdentity);
  expectSamePlain(now, plain_);
}

Watch::Watch(Entity& entity, Handler handler, bool recursive) : handler_(std::move(handler)) {
  if (recursive) {
    observeRecursive(entity.nodePublisher());
  } else {
    observe(entity.nodePublisher());
  }
}

void Watch::handleChange(const Pelmo::Change& change) {
  handler_(Tovo::entityOf(change.source), change);
}

Pelmo::String portName(unsigned number) {
  return Pelmo::String("Ethernet" + std::to_string(number));
}

std::string hex(std::string_view bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::string fromHex(std::string_view digits) {
  std::string bytes;
  int high = -1;
  for (const char c : digits) {
    const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
    } else {
      bytes += static_cast<char>(high << 4 | digit);
      high = -1;
    }
  }
  return bytes;
}

}  // namespace Mirror
