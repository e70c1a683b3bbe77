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

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Pelmo/ThreadControl.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "fuzz/Input.h"
#include "fuzz/Place.h"
#include "fuzz/Rules.h"

namespace {

using fuzz::demand;
using fuzz::Entities;
using fuzz::Hand;
using fuzz::Input;
using fuzz::Place;
using Pelmo::Ptr;
using Tovo::Directory;
using Tovo::Entity;
using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkObserver;

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
        place.connect();
      } else {
        place.linkUp(*this);
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
    fuzz::checkPublication(change);
    demand(!isOwn || Tovo::entityOf(change.source).tovoType() == actor.type,
           "an entity keeps its type to its end:", Tovo::typeName(actor.type));
    if (depth_ < mostDepth) {
      const Told now(*this, &Tovo::entityOf(change.source));
      deeds();
    }
    fuzz::checkPublication(change);
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
    Told(World& world, Entity* source) : world_(world) {
      ++world_.depth_;
      world_.sources_.push_back(source);
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

  // --- who is there -----------------------------------------------------------------------------

  Place& origin() { return *places_.front(); }
  Place& anyPlace() { return *places_[input_->below(places_.size())]; }
  static std::string pathAt(size_t number) { return "/root" + std::to_string(number); }

  // Mostly what is being told of, or near that.
  Entity* pick() {
    const uint8_t how = input_->byte();
    if (!sources_.empty() && how % 2 == 0) {
      Entity* source =
          sources_[sources_.size() - 1 - how / 2 % std::min<size_t>(2, sources_.size())];
      if (source && how / 8 % 3 == 1) source = source->parent();
      return source;
    }
    const Entities all = anyPlace().entities();
    return all.empty() ? nullptr : all[input_->below(all.size())];
  }

  Place* placeOf(const Entity& entity) {
    for (const auto& place : places_) {
      const Entities all = place->entities();
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

  void handleLinkState(Link&) override { foreign(); }
  void handleMounted(Link&, const std::string&, Entity&, bool) override { foreign(); }
  void handleUnmounted(Link&, const std::string&, const std::string&) override { foreign(); }
  // Called by something else than a publisher.
  void foreign() {
    if (depth_ >= mostDepth) return;
    const Told now(*this, nullptr);
    perform([&] { deeds(); });
  }

  void settle() {
    constexpr int patience = 3000;
    int quiet = 0;
    for (int round = 0; quiet < 3; ++round) {
      demand(round < patience, "all comes to rest");
      bool busy = false;
      for (const auto& place : places_) {
        place->work(now_);
        busy = busy || place->isBusy();
      }
      quiet = busy ? 0 : quiet + 1;
    }
  }

  // --- what happens -----------------------------------------------------------------------------

  void step() {
    switch (input_->byte() % 4) {
      case 0:
        return perform([&] { deed(); });
      case 1:
        return anyPlace().work(now_);
      case 2:
        for (const auto& place : places_) place->work(now_);
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
        return anyPlace().work(now_);
      case 13:
        return useConnection();
      default:
        if (depth_ == 0) return;
        if (input_->byte() % 2 == 0) throw Thrown();
        throw 42;
    }
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
    Hand(*input_).change(*entity, (place ? *place : origin()).entities());
  }

  std::unique_ptr<Actor>& anyActor() { return actors_[input_->below(actors_.size())]; }

  void attach() {
    std::unique_ptr<Actor>& actor = anyActor();
    const bool recursive = input_->byte() / 16 % 2 == 0;
    Entity* entity = pick();
    if (!entity) return;
    if (!actor) actor = std::make_unique<Actor>(*this);
    actor->type = entity->tovoType();
    if (recursive) {
      actor->observeRecursive(entity->publisher());
    } else {
      actor->observe(entity->publisher());
    }
  }

  void keep() {
    Place& place = anyPlace();
    if (input_->byte() % 2 == 0) {
      const Ptr<Entity> made = make();
      hold(place, *made);
      return;
    }
    const Entities all = place.entities();
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
        return place.drop();
      case 2:
        place.meddled = true;
        place.drop();
        return place.connect();
      case 3:
        place.meddled = true;
        place.drop();
        return place.linkUp(*this);
      case 4:
        connection->questions().ping();
        return;
      case 5:
        connection->guest().roots().ask();
        return connection->guest().roots().follow();
      case 6: {
        place.meddled = place.above->meddled = true;
        const auto& types = Hand::types();
        return connection->guest().create(at, Tovo::typeName(types[input_->below(types.size())]));
      }
      case 7:
        place.meddled = place.above->meddled = true;
        if (const Entity* entity = pick()) connection->guest().create(at, *entity);
        return;
      case 8:
        place.meddled = place.above->meddled = true;
        return connection->guest().remove(at);
      case 9: {
        place.meddled = place.above->meddled = true;
        const Entities all = place.above->entities();
        const bool below = which >= 128 && !all.empty();
        return connection->guest().mount(below ? Tovo::pathOf(*all[input_->below(all.size())]) : at,
                                         place.readOnly);
      }
      case 10:
        demand(connection->figures().entities == connection->log().numbers().count(),
               "figures add up");
        return;
      case 11:
        return connection->incoming().appliedIs([this](std::span<const uint8_t>) { foreign(); });
      case 12:
        connection->questions().statusProviderIs([this] {
          foreign();
          return std::string("well");
        });
        return connection->questions().askStatus();
      default:
        now_ += std::chrono::milliseconds(10 * which);
        connection->tick(now_);
    }
  }

  // --- what must hold ---------------------------------------------------------------------------

  void checkWitnesses() {
    std::vector<const Directory*> all;
    for (const auto& place : places_) all.push_back(&place->directory);
    witnesses_.check(all);
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
        fuzz::demandSame(place.above->directory, place.directory, "a mirror equals its host:");
    }
    for (const auto& place : places_) {
      place->drop();
      place->unmountParts();
    }
    for (size_t i = 1; i < places_.size(); ++i) {
      Place& place = *places_[i];
      place.connect();
      settle();
      demand(!place.server->closed() && !place.client->closed(), "a new connection stays open");
      for (const auto& [path, root] : place.above->directory.mounts()) {
        demand(place.directory.mounted(path), "what is asked for is mounted:", path);
      }
      fuzz::demandSame(place.above->directory, place.directory,
                       "a mirror whose connection was made again equals its host:");
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
      demand(!actor || !actor->observed(), "whoever observes is told of the end");
    }
  }

  void sweep() {
    for (const auto& place : places_) {
      place->drop();
      while (!place->held.empty()) {
        const Ptr<Entity> last = std::move(place->held.back());
        place->held.pop_back();
      }
      place->unmountParts();
      for (size_t i = 0; i < 3; ++i) place->directory.unmount(pathAt(i));
    }
  }

  Input* input_;
  Input& last_;
  Input nothing_{nullptr, 0};
  Link::Clock::time_point now_ = Link::Clock::now();
  std::vector<std::unique_ptr<Place>> places_;
  std::array<std::unique_ptr<Actor>, 6> actors_;
  fuzz::Witnesses witnesses_;
  std::vector<Entity*> sources_;  // of the notifications that are going on; null: of no entity
  size_t depth_ = 0;
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
