// Observers that do, while they are told, whatever they may: in trees of every type, at the last
// notifications of what dies, and at mirrors in the middle of a turn.
//
// An input is some bytes of circumstances and then decisions, of the steps and of the observers
// that these call, as they come. It must hold:
//
//   - each publication belongs to its source, and what it leads to is there to the end of the call
//   - what was published last of anything is what is there
//   - when all observers have gone and nothing is under way, mirrors equal what they mirror, at
//     once where nobody wrote what does not travel, and when their connections were made again
//   - nothing is left alive
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Pelmo/ThreadControl.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "Tovo/AttrLog/BigEndian.h"
#include "Tovo/AttrLog/Connection.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/AttrLog/Link.h"
#include "Tovo/Directory.h"
#include "fuzz/Hand.h"
#include "fuzz/Input.h"
#include "fuzz/TreeState.h"
#include "fuzz/Witness.h"

namespace {

using fuzz::Entities;
using fuzz::Hand;
using fuzz::Input;
using Pelmo::Ptr;
using Pelmo::Publisher;
using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Directory;
using Tovo::Entity;
using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::Limits;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkObserver;
using Tovo::NboAttrLog::LinkOptions;
using Tovo::NboAttrLog::MountSide;
using Tovo::NboAttrLog::StreamAdapter;

void demand(bool holds, const char* what, const std::string& where = {}) {
  if (holds) return;
  std::fprintf(stderr, "it does not hold that %s %s\n", what, where.c_str());
  std::abort();
}

struct Ends {
  Ends() { demand(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0, "there are sockets"); }
  int fds[2];
};

bool readable(int fd) {
  pollfd ready{fd, POLLIN, 0};
  return fd >= 0 && ::poll(&ready, 1, 0) > 0;
}

bool isBusy(const Connection* connection) {
  return connection && !connection->closed() &&
         (readable(connection->readFd()) || connection->wantsWrite());
}

// One end of a log without a connection: what it sends is kept here.
class Adapter final : public StreamAdapter {
 public:
  ~Adapter() override { unbindAll(); }
  std::string take() {
    std::string sent(bytes_.data(), room_ ? reinterpret_cast<char*>(room_) : bytes_.data());
    room_ = roomEnd_ = nullptr;
    return sent;
  }

 protected:
  bool makeRoom(size_t bytes) override {
    char* const room = reinterpret_cast<char*>(room_);
    const size_t used = room ? static_cast<size_t>(room - bytes_.data()) : 0;
    bytes_.resize(used + 2 * bytes);
    room_ = reinterpret_cast<uint8_t*>(bytes_.data()) + used;
    roomEnd_ = room_ + 2 * bytes;
    return true;
  }

 private:
  std::string bytes_;
};

// A process with a directory: the origin of some trees, or a mirror of the place above it, by a
// connection or by a link.
struct Place {
  Place* above = nullptr;
  bool readOnly = true;
  Limits limits;
  Directory directory;
  std::vector<Ptr<Entity>> held;       // whatever else the process knows
  std::unique_ptr<Connection> server;  // in the place above
  std::unique_ptr<Connection> client;  // here
  std::unique_ptr<Link> link;          // or this one
  bool meddled = false;                // what was done here need not be as it is above

  Connection* connection() { return link ? link->connection() : client.get(); }
};

class World;

class Actor final : public Pelmo::Observer {
 public:
  explicit Actor(World& world) : world_(world) {}
  void handleChange(const Pelmo::Change& change) override;
  void handlePublisherGone() override;

  Tovo::TovoTypeBase type;  // of the entity that it observes

 private:
  World& world_;
};

struct Thrown : std::runtime_error {
  Thrown() : std::runtime_error("an observer of the test") {}
};

class World : private LinkObserver {
 public:
  World(Input& input, Input& last) : input_(&input), last_(last) {
    const uint8_t circumstances = input.byte();
    const size_t roots = 1 + circumstances % 2;
    places_.resize(1 + (circumstances / 2) % 4);
    for (auto& place : places_) place = std::make_unique<Place>();
    for (size_t i = 0; i < roots; ++i) {
      origin().held.push_back(make());
      origin().directory.mount(pathAt(i), origin().held.back());
      for (size_t changes = input.byte() % 16; changes > 0; --changes) {
        perform([&] { change(); });
      }
    }
    for (size_t i = 1; i < places_.size(); ++i) {
      Place& place = *places_[i];
      const uint8_t traits = input.byte();
      place.above = places_[traits % 2 == 0 ? i - 1 : 0].get();
      place.readOnly = traits / 2 % 2 == 0;
      static constexpr size_t outputs[] = {1, 100, 4000, 64 * 1024};
      place.limits.outputBytes = outputs[traits / 4 % 4];
      if (traits / 16 % 2 == 0) {
        connect(place);
      } else {
        linkUp(place);
      }
    }
  }

  void play() {
    constexpr size_t mostSteps = 300;
    for (size_t steps = 0; !input_->empty() && steps < mostSteps; ++steps) {
      step();
      if (steps % 4 == 0) checkWitnesses();
    }
    checkWitnesses();
    settleAndCompare();
    end();
  }

  // --- what observers are told ------------------------------------------------------------------

  void told(const Actor& actor, const Pelmo::Change& change) {
    const bool isOwn = &change.source == actor.observed();
    demand(isOwn || actor.observed(), "who is told is attached");
    checkPublication(change);
    if (isOwn && actor.type) {
      const Entity& source = Tovo::entityOf(change.source);
      demand(source.tovoType() == actor.type,
             "an entity keeps its type to its end:", Tovo::typeName(actor.type));
    }
    if (depth_ < mostDepth) {
      const Told now(*this, &change.source == free_.get() ? nullptr : &change.source);
      deeds();
    }
    checkPublication(change);
  }

  void gone(const Actor& actor) {
    demand(!actor.observed(), "who is told of an end is detached");
    if (depth_ >= mostDepth) return;
    const Told now(*this, nullptr);
    deeds();
  }

 private:
  static constexpr size_t mostDepth = 4;
  static constexpr size_t mostDeeds = 3000;

  // While an observer is told.
  class Told {
   public:
    Told(World& world, Publisher* source) : world_(world) {
      ++world_.depth_;
      world_.sources_.push_back(source ? dynamic_cast<Entity*>(&source->node()) : nullptr);
    }
    ~Told() {
      --world_.depth_;
      world_.sources_.pop_back();
    }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

   private:
    World& world_;
  };

  void checkPublication(const Pelmo::Change& change) const {
    if (&change.source == free_.get()) return;
    const auto* source = dynamic_cast<const Entity*>(&change.source.node());
    if (!source) return;
    const Attribute attribute = attributeById(source->tovoType(), change.attribute);
    demand(attribute && attribute.isLogged(), "the attribute is one of the source");
    demand(attribute.isCollection() == (change.key != nullptr), "collections have keys");
    demand(attribute.isCollection() || change.previous, "a scalar was something before");
    if (change.key) Tovo::valueText(attribute.keyOps(), change.key);
    if (!change.previous) return;
    if (attribute.kind() == AttributeKind::pointer ||
        attribute.kind() == AttributeKind::ownCollection ||
        attribute.kind() == AttributeKind::refCollection) {
      const Ptr<Entity>& before = fuzz::pointerAt(change.previous);
      demand(before || attribute.kind() == AttributeKind::pointer, "an entry was no null");
      if (before) Tovo::pathOf(*before);
    } else {
      Tovo::valueText(attribute.ops(), change.previous);
    }
  }

  // --- who is there -----------------------------------------------------------------------------

  Place& origin() { return *places_.front(); }
  Place& anyPlace() { return *places_[input_->below(places_.size())]; }
  static std::string pathAt(size_t number) { return "/root" + std::to_string(number); }

  static Entities entitiesOf(const Place& place) {
    Entities tops;
    for (const auto& [path, root] : place.directory.mounts()) tops.push_back(root.get());
    for (const Ptr<Entity>& each : place.held) tops.push_back(each.get());
    Entities all;
    std::unordered_set<const Entity*> known;
    for (Entity* top : tops) {
      if (known.contains(top)) continue;
      const size_t before = all.size();
      fuzz::addTree(all, *top);
      for (size_t i = before; i < all.size(); ++i) known.insert(all[i]);
    }
    return all;
  }

  // Mostly what is being told of, or near that.
  Entity* pick() {
    const uint8_t how = input_->byte();
    if (!sources_.empty() && how % 2 == 0) {
      Entity* source =
          sources_[sources_.size() - 1 - how / 2 % std::min<size_t>(2, sources_.size())];
      if (source && how / 8 % 3 == 1) source = source->parent();
      return source;
    }
    const Entities all = entitiesOf(anyPlace());
    return all.empty() ? nullptr : all[input_->below(all.size())];
  }

  Place* placeOf(const Entity& entity) {
    for (const auto& place : places_) {
      const Entities all = entitiesOf(*place);
      if (std::find(all.begin(), all.end(), &entity) != all.end()) return place.get();
    }
    return nullptr;
  }

  Ptr<Entity> make() {
    const auto& types = input_->byte() % 2 == 0 ? Hand::types() : Hand::ownerTypes();
    return Hand(*input_).make(types[input_->below(types.size())]);
  }

  // What dies can be kept only by who is told of its last changes.
  void hold(Place& place, Entity& entity) const {
    constexpr size_t most = 8;
    const bool keeps = entity.nodeFlag(Pelmo::Node::flagLive) ||
                       std::find(sources_.begin(), sources_.end(), &entity) != sources_.end();
    if (keeps && place.held.size() < most) place.held.emplace_back(&entity);
  }

  // --- connections ------------------------------------------------------------------------------

  void connect(Place& place) {
    const Ends ends;
    place.server = std::make_unique<Connection>(ends.fds[0], place.above->directory, place.limits);
    place.client = std::make_unique<Connection>(ends.fds[1], place.directory, place.limits);
    for (const auto& [path, root] : place.above->directory.mounts()) {
      place.client->mount(path, place.readOnly);
    }
  }

  void linkUp(Place& place) {
    LinkOptions options;
    options.limits = place.limits;
    options.seed = 1;
    place.link = std::make_unique<Link>(
        [&place] {
          const Ends ends;
          place.server =
              std::make_unique<Connection>(ends.fds[0], place.above->directory, place.limits);
          return Link::Stream{ends.fds[1], ends.fds[1]};
        },
        place.directory, options);
    place.link->observerIs(this);
    place.link->mountAll(place.readOnly);
  }

  void handleLinkState(Link&) override { foreign(); }
  void handleMounted(Link&, const std::string&, Entity&, bool) override { foreign(); }
  void handleUnmounted(Link&, const std::string&, const std::string&) override { foreign(); }
  // Called by something else than a publisher.
  void foreign() {
    if (depth_ >= mostDepth) return;
    const Told now(*this, nullptr);
    perform([&] { deeds(); });
  }

  // Any of these may be destroyed by an observer that it tells.
  void work(Place& place) {
    if (place.server) place.server->handleReadable();
    if (place.server) place.server->flush();
    if (place.link) place.link->handle(now_);
    if (place.client) place.client->handleReadable();
    if (place.client) place.client->flush();
  }

  void settle() {
    constexpr int patience = 3000;
    int quiet = 0;
    for (int round = 0; quiet < 3; ++round) {
      demand(round < patience, "all comes to rest");
      bool busy = false;
      for (const auto& place : places_) {
        work(*place);
        busy = busy || isBusy(place->server.get()) || isBusy(place->connection());
      }
      quiet = busy ? 0 : quiet + 1;
    }
  }

  static void drop(Place& place) {
    place.link.reset();
    place.client.reset();
    place.server.reset();
  }

  // --- a log without a connection ---------------------------------------------------------------

  struct Direct {
    Adapter from;
    Adapter to;
    std::string under;  // way
  };

  // Carries a tree of the origin to another one, which the last place holds.
  void carry() {
    if (direct_ || origin().directory.mounts().empty()) return;
    Entity& root = *origin().directory.mounts().begin()->second;
    const Ptr<Entity> mirror = likeOf(root);
    hold(*places_.back(), *mirror);
    direct_ = std::make_unique<Direct>();
    ++directs_;
    const uint32_t number = direct_->from.bind(root, {MountSide::host, true}, 0);
    direct_->to.bind(*mirror, {MountSide::guest, true}, Tovo::NboAttrLog::FlowOut::startNowhere,
                     number | StreamAdapter::ofPeer);
  }

  static Ptr<Entity> likeOf(const Entity& entity) {
    const Tovo::EntityHooks& hooks = *Tovo::entityHooks(entity.tovoType());
    std::string bytes(hooks.attrLogSizeCtorParams(entity), '\0');
    Tovo::NboAttrLog::Out out({reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
    hooks.serializeConstructorParams(out, entity);
    Tovo::NboAttrLog::In in({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    return hooks.newEntityForAttrLog(entity.tovoType(), &in);
  }

  // In the order in which it was sent, also when an observer goes on with it.
  void deliver() {
    if (!direct_) return;
    const uint64_t number = directs_;
    const auto isThere = [&] { return direct_ && directs_ == number; };
    direct_->from.pump();
    if (isThere()) direct_->under += direct_->from.take();
    while (isThere() && !direct_->under.empty()) {
      const std::string& under = direct_->under;
      const auto* bytes = reinterpret_cast<const uint8_t*>(under.data());
      const size_t size = StreamAdapter::frameHeader + Tovo::NboAttrLog::load<uint32_t>(bytes);
      const std::string frame =
          under.substr(StreamAdapter::frameHeader, size - StreamAdapter::frameHeader);
      direct_->under.erase(0, size);
      const auto* message = reinterpret_cast<const uint8_t*>(frame.data());
      const uint32_t entity = direct_->to.received(Tovo::NboAttrLog::load<uint32_t>(message));
      const auto id = Tovo::NboAttrLog::load<uint16_t>(message + sizeof entity);
      direct_->to.handleMessage(
          entity, id, Tovo::NboAttrLog::In({message, frame.size()}, StreamAdapter::messageHeader));
    }
    if (isThere()) direct_->to.endTurn();
  }

  // --- what happens -----------------------------------------------------------------------------

  void step() {
    switch (input_->byte() % 4) {
      case 0:
        return perform([&] { deed(); });
      case 1:
        return work(anyPlace());
      case 2:
        for (const auto& place : places_) work(*place);
        return;
      default:
        attach();
        return perform([&] { deed(); });
    }
  }

  // What is refused, and what observers throw, goes no further. An assertion that says why it
  // always fails is a refusal too.
  template <class Action>
  static void perform(const Action& action) {
    try {
      action();
    } catch (const Tovo::AssertionError& failure) {
      const std::string what = failure.what();
      demand(what.starts_with("assertion 'false && "), "all assertions hold:", what);
    } catch (...) {
      return;
    }
  }

  void deeds() {
    for (size_t left = input_->byte() % 4; left > 0 && deedsDone_ < mostDeeds; --left) {
      const bool passOn = input_->byte() % 4 == 0;
      ++deedsDone_;
      if (passOn) {
        deed();
      } else {
        perform([&] { deed(); });
      }
    }
  }

  void deed() {
    switch (input_->byte() % 16) {
      case 0:
      case 1:
      case 2:
      case 3:
        return change();
      case 4:
        if (const Entity* entity = pick()) Hand::read(*entity);
        return;
      case 5:
        return attach();
      case 6:
        if (Actor* actor = anyActor().get()) actor->detach();
        return;
      case 7:
        anyActor().reset();
        return;
      case 8:
        return keep();
      case 9: {
        Place& place = anyPlace();
        if (place.held.empty()) return;
        const size_t which = input_->below(place.held.size());
        const Ptr<Entity> last = std::exchange(place.held[which], place.held.back());
        place.held.pop_back();
        return;
      }
      case 10:
        return mountOrUnmount();
      case 11:
        return useConnection();
      case 12:
        return work(anyPlace());
      case 13:
        if (!direct_) return carry();
        if (input_->byte() % 8 != 0) return deliver();
        direct_.reset();
        return;
      case 14:
        if (depth_ == 0) return;
        throwSomething();
        return;
      default:
        return usePlain();
    }
  }

  // What publishes and is no entity.
  void usePlain() {
    switch (input_->byte() % 3) {
      case 0:
        return free_->publishChangeRecursive(1, nullptr, nullptr, nullptr);
      case 1:
        return plain_->nodePublisher().publishChangeRecursive(1, nullptr, nullptr, nullptr);
      default:
        plain_ = Ptr<Plain>::adopt(new Plain);
    }
  }

  void throwSomething() {
    if (input_->byte() % 2 == 0) throw Thrown();
    throw 42;
  }

  void change() {
    Entity* entity = pick();
    if (!entity) return;
    Place* place = placeOf(*entity);
    const Ptr<Entity> kept(entity);
    // It travels upwards until somebody may only read.
    Place* last = place;
    while (last && last->above && !last->readOnly) last = last->above;
    if (last && last->above) last->meddled = true;
    Hand(*input_).change(*entity, entitiesOf(place ? *place : origin()));
  }

  std::unique_ptr<Actor>& anyActor() { return actors_[input_->below(actors_.size())]; }

  void attach() {
    std::unique_ptr<Actor>& actor = anyActor();
    const uint8_t where = input_->byte();
    Publisher* to = nullptr;
    Tovo::TovoTypeBase type{};
    if (where % 16 == 0) to = free_.get();
    if (where % 16 == 1) to = &plain_->nodePublisher();
    if (!to) {
      Entity* entity = pick();
      if (!entity) return;
      to = &entity->publisher();
      type = entity->tovoType();
    }
    if (!actor) actor = std::make_unique<Actor>(*this);
    actor->type = type;
    if (where / 16 % 2 == 0) {
      actor->observeRecursive(*to);
    } else {
      actor->observe(*to);
    }
  }

  void keep() {
    Place& place = anyPlace();
    if (input_->byte() % 2 == 0) {
      const Ptr<Entity> made = make();
      hold(place, *made);
      return;
    }
    const Entities all = entitiesOf(place);
    Entity* entity = sources_.empty() ? nullptr : sources_.back();
    const bool own = entity && placeOf(*entity) == &place;
    if (!own) entity = all.empty() ? nullptr : all[input_->below(all.size())];
    if (entity) hold(place, *entity);
  }

  void mountOrUnmount() {
    Place& place = anyPlace();
    place.meddled = true;
    const std::string at = pathAt(input_->below(3));
    if (place.directory.mounted(at)) {
      const Ptr<Entity> root = place.directory.unmount(at);
      return;
    }
    for (const Ptr<Entity>& each : place.held) {
      if (each->parent() || place.directory.mountPath(*each)) continue;
      return place.directory.mount(at, each);
    }
  }

  void useConnection() {
    Place& place = anyPlace();
    if (!place.above) return;
    const uint8_t which = input_->byte();
    Connection* connection = which % 2 == 0 ? place.connection() : place.server.get();
    if (!connection) return;
    const std::string at = pathAt(which / 2 % 3);
    switch (input_->byte() % 14) {
      case 0:
        place.meddled = true;
        return connection->close("enough");
      case 1:
        place.meddled = true;
        return drop(place);
      case 2:
        place.meddled = true;
        drop(place);
        return connect(place);
      case 3:
        place.meddled = true;
        drop(place);
        return linkUp(place);
      case 4:
        connection->ping();
        return;
      case 5:
        connection->askMounts();
        return connection->followMounts();
      case 6: {
        place.meddled = place.above->meddled = true;
        const auto& types = Hand::types();
        return connection->create(at, Tovo::typeName(types[input_->below(types.size())]));
      }
      case 7:
        place.meddled = place.above->meddled = true;
        if (const Entity* entity = pick()) connection->create(at, *entity);
        return;
      case 8:
        place.meddled = place.above->meddled = true;
        return connection->remove(at);
      case 9: {
        place.meddled = place.above->meddled = true;
        const Entities all = entitiesOf(*place.above);
        const bool below = which >= 128 && !all.empty();
        return connection->mount(below ? Tovo::pathOf(*all[input_->below(all.size())]) : at,
                                 place.readOnly);
      }
      case 10:
        demand(connection->figures().entities == connection->boundCount(), "figures add up");
        return;
      case 11:
        return connection->appliedIs([this](std::span<const uint8_t>) { foreign(); });
      case 12:
        connection->statusProviderIs([this] {
          foreign();
          return std::string("well");
        });
        return connection->askStatus();
      default:
        now_ += std::chrono::milliseconds(10 * which);
        connection->tick(now_);
    }
  }

  // --- what must hold ---------------------------------------------------------------------------

  void checkWitnesses() {
    std::erase_if(witnesses_, [](const auto& each) { return !each->observed(); });
    for (const auto& witness : witnesses_) {
      const std::string where = witness->difference();
      demand(where.empty(), "what is there was published last:", where);
    }
    for (const auto& place : places_) {
      for (const auto& [path, root] : place->directory.mounts()) {
        const Publisher* publisher = &root->publisher();
        const bool known = std::any_of(witnesses_.begin(), witnesses_.end(), [&](const auto& each) {
          return each->observed() == publisher;
        });
        if (!known) witnesses_.push_back(std::make_unique<fuzz::Witness>(*root));
      }
    }
  }

  // What is mounted at both; a client asks only for what was there when it connected.
  static void compare(const Place& place, const char* what) {
    const fuzz::State above = fuzz::stateOf(place.above->directory);
    fuzz::State here = fuzz::stateOf(place.directory);
    for (const auto& [path, state] : above) {
      const Entity* mirror = place.directory.mounted(path);
      if (!mirror || here[path] == state) continue;
      std::string where;
      sameTree(*place.above->directory.mounted(path), *mirror, where);
      demand(false, what, where);
    }
  }

  // Parts of a tree, which stand where the tree is to be mounted.
  static void unmountParts(Place& place) {
    std::vector<std::string> parts;
    for (const auto& [path, root] : place.directory.mounts()) {
      if (path.rfind('/') != 0) parts.push_back(path);
    }
    for (const std::string& path : parts) place.directory.unmount(path);
  }

  void settleAndCompare() {
    for (auto& actor : actors_) actor.reset();
    input_ = &nothing_;
    settle();
    checkWitnesses();
    for (size_t i = 1; i < places_.size(); ++i) {
      Place& place = *places_[i];
      const Connection* connection = place.connection();
      const bool open = connection && !connection->closed() && !place.server->closed();
      if (open && !place.meddled && !place.above->meddled)
        compare(place, "a mirror equals its host:");
    }
    for (const auto& place : places_) {
      drop(*place);
      unmountParts(*place);
    }
    for (size_t i = 1; i < places_.size(); ++i) {
      Place& place = *places_[i];
      connect(place);
      settle();
      demand(!place.server->closed() && !place.client->closed(), "a new connection stays open");
      for (const auto& [path, root] : place.above->directory.mounts()) {
        demand(place.directory.mounted(path), "what is asked for is mounted:", path);
      }
      compare(place, "a mirror whose connection was made again equals its host:");
    }
    checkWitnesses();
  }

  // Everything goes while observers of the rest of the input are told of it; they may make more,
  // and hear of the end of whatever they observe.
  void end() {
    witnesses_.clear();
    input_ = &last_;
    for (size_t i = 0; i < actors_.size(); ++i) attach();
    sweep();
    input_ = &nothing_;
    sweep();
    for (const auto& actor : actors_) {
      const Publisher* observed = actor ? actor->observed() : nullptr;
      demand(!observed || observed == free_.get() || observed == &plain_->nodePublisher(),
             "whoever observes is told of the end");
    }
  }

  void sweep() {
    for (const auto& place : places_) {
      drop(*place);
      while (!place->held.empty()) {
        const Ptr<Entity> last = std::move(place->held.back());
        place->held.pop_back();
      }
      unmountParts(*place);
      for (size_t i = 0; i < 3; ++i) place->directory.unmount(pathAt(i));
    }
    direct_.reset();
  }

  Input* input_;
  Input& last_;
  Input nothing_{nullptr, 0};
  Link::Clock::time_point now_ = Link::Clock::now();
  std::vector<std::unique_ptr<Place>> places_;
  std::unique_ptr<Direct> direct_;
  struct Plain final : Pelmo::ObservableNode {};
  Ptr<Plain> plain_ = Ptr<Plain>::adopt(new Plain);
  const std::unique_ptr<Publisher> free_ = std::make_unique<Publisher>();  // part of no node
  std::array<std::unique_ptr<Actor>, 6> actors_;
  std::vector<std::unique_ptr<fuzz::Witness>> witnesses_;
  std::vector<Entity*> sources_;  // of the notifications that are going on; null: of no entity
  size_t depth_ = 0;
  uint64_t directs_ = 0;
  size_t deedsDone_ = 0;
};

void Actor::handleChange(const Pelmo::Change& change) { world_.told(*this, change); }
void Actor::handlePublisherGone() { world_.gone(*this); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // As in a process with threads: what is told is kept by references.
  Pelmo::ThreadControl::tsp_ = std::getenv("STP_FUZZ_THREADS") != nullptr;
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  constexpr size_t longest = 4096;
  if (size > longest) return 0;
  const size_t most = size - size / 4;
  Input input(data, most);
  Input last(data + most, size - most);
  {
    World world(input, last);
    world.play();
  }
  demand(Tovo::AllocTrackTypeInfo::totalLiveObjects() == 0, "nothing is left alive");
  return 0;
}
