#include "Simulation.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "../Support.h"
#include "Faults.h"
#include "Mirror/Link.h"
#include "Mirror/wire/Budget.h"
#include "Mirror/wire/DescriptorStream.h"
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"

namespace Mirror {

namespace {

using std::chrono::milliseconds;
using Tovo::NboAttrLog::Budget;
using Tovo::NboAttrLog::DescriptorStream;
using Tovo::NboAttrLog::Figures;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkObserver;
using Tovo::NboAttrLog::LinkOptions;
using Tovo::NboAttrLog::LinkState;
using Tovo::NboAttrLog::Stream;

const char* const treeTypes[] = {"Stp::Hw",
                                 "Stp::Status",
                                 "Stp::Config",
                                 "Stp::Input::Config",
                                 "Stp::PortCounterDir",
                                 "Stp::OCMstiConfigDir",
                                 "Stp::OCInterfaceStateDir"};
// Those in which something refers to something.
const char* const referringTypes[] = {"Stp::Status", "Stp::Config", "Stp::Input::Config"};
// Worlds from this number on are of these more often, and more of them are written by mirrors.
constexpr uint64_t firstReferring = 1u << 31;
constexpr const char* rootPath = "/root";
constexpr const char* besidePath = "/beside";
constexpr uint32_t mostPlaces = 6;

uint32_t chosen(std::minstd_rand& random, uint32_t bound) {
  return std::uniform_int_distribution<uint32_t>(0, bound - 1)(random);
}

// ------------------------------------------------------------------------------------ the places

// While all of the memory that was asked for is there, entities end between turns.
uint64_t failuresBefore = 0;

class Ending : public Pelmo::Observer {
 public:
  explicit Ending(Entity& entity) { observe(entity.nodePublisher()); }
  void handleChange(const Pelmo::Change&) override {}
  void handlePublisherGone() override {
    EXPECT_TRUE(!Pelmo::Publisher::catcher() || Faults::failures() != failuresBefore)
        << "an entity has ended inside a turn";
  }
};

// Knows a tree by its publications. What it remembers is not the library's: it does not run out of
// memory.
class Witness : public Replay {
 public:
  explicit Witness(Entity& root) : Replay(root) { watchEnds(root); }
  void handleChange(const Pelmo::Change& change) override {
    const Faults::Pause pause;
    Replay::handleChange(change);
    Entity& owner = Tovo::entityOf(change.source);
    const Attribute attribute = attributeById(owner.tovoType(), change.attribute);
    if (attribute.kind() != AttributeKind::ownCollection || change.previous) return;
    const void* const element = collectionFind(owner, attribute, change.key);
    if (element) watchEnds(*Tovo::elementEntity(element));
  }
  void turnIsOver() {
    const Faults::Pause pause;
    Replay::turnIsOver();
    std::erase_if(endings_, [](const Ending& ending) { return !ending.observed(); });
  }

 private:
  void watchEnds(Entity& tree) {
    for (Entity* entity : entitiesOf(tree)) endings_.emplace_back(*entity);
  }

  std::list<Ending> endings_;
};

// A process with a directory: the origin of the tree, or a mirror of the place above it. It serves
// whoever connects.
class Place : private LinkObserver {
 public:
  struct Traits {
    Limits limits;
    bool writes = false;
  };

  Place(Place* above, const Traits& traits, Link::Clock::time_point& now, uint64_t seed)
      : above_(above), traits_(traits), now_(now), seed_(seed) {
    start();
  }

  void start() {
    directory_ = std::make_unique<Directory>();
    if (!above_) return;
    LinkOptions options;
    options.limits = traits_.limits;
    options.seed = ++seed_;
    const auto connect = [this] {
      std::unique_ptr<Stream> stream = above_->accept();
      host_ = above_->clients_.back().get();
      return stream;
    };
    link_ = std::make_unique<Link>(connect, *directory_, options);
    link_->observerIs(this);
    link_->mount(rootPath, !traits_.writes);
    if (mirrorsBeside_) link_->mount(besidePath, !traits_.writes);
  }
  void mirrorBeside() {
    if (link_) link_->mount(besidePath, !traits_.writes);
    mirrorsBeside_ = true;
  }
  // As the system ends a process: nothing is said to anybody.
  void kill() {
    for (const auto& client : clients_) ::shutdown(client->writeFd(), SHUT_RDWR);
    if (link_ && link_->connection()) ::shutdown(link_->connection()->writeFd(), SHUT_RDWR);
    link_.reset();
    clients_.clear();
    witnesses_.clear();
    directory_.reset();
  }

  Entity* root(const char* path = rootPath) const { return directory_->mounted(path); }
  Directory& directory() { return *directory_; }
  const Link* link() const { return link_.get(); }
  bool writes() const noexcept { return traits_.writes || !above_; }

  void work() {
    if (link_) workOnLink();
    turnsAreOver();
    for (const auto& client : clients_) {
      client->handleReadable();
      turnsAreOver();
      client->flush();
    }
    std::erase_if(clients_, [](const auto& client) { return client->closed(); });
  }
  // Bytes may still be under way to it.
  bool isBusy() const {
    if (link_ && link_->connection()) {
      if (readable(link_->connection()->readFd()) || link_->connection()->wantsWrite()) return true;
    }
    return std::any_of(clients_.begin(), clients_.end(), [](const auto& client) {
      return readable(client->readFd()) || client->wantsWrite();
    });
  }
  void cut(uint32_t how) {
    Connection* mine = link_ ? link_->connection() : nullptr;
    if (!mine || mine->closed()) return;
    switch (how % 4) {
      case 0:
        return mine->close("enough");
      case 1:
        ::shutdown(mine->writeFd(), SHUT_RDWR);
        return;
      case 2:
        ::shutdown(mine->writeFd(), SHUT_WR);
        return;
      default:
        for (const auto& client : above_->clients_) client->close("enough of all");
    }
  }
  void write(uint32_t seed) {
    if (!writes() || !root()) return;
    std::minstd_rand random(seed);
    Writer(*root(), seed, root(besidePath)).steps(static_cast<int>(1 + chosen(random, 12)));
  }
  // Values of one entity together, all references, lives that follow one another, the other tree.
  void writeMore(uint32_t seed) {
    std::minstd_rand random(seed);
    const char* const paths[] = {rootPath, besidePath};
    const uint32_t first = chosen(random, 2);
    Entity* const tree = root(paths[first]);
    if (!writes() || !tree) return;
    Writer writer(*tree, seed, root(paths[1 - first]));
    for (uint32_t i = chosen(random, 4); i > 0; --i) {
      writer.steps(static_cast<int>(chosen(random, 6)));
      switch (chosen(random, 4)) {
        case 0:
          writer.burst();
          break;
        case 2:
          writer.fill(1);
          break;
        case 1:
          writer.changeAll(true);
          break;
        default:
          writer.remake();
      }
    }
  }
  void changeAll() {
    for (const char* path : {rootPath, besidePath}) {
      if (root(path)) Writer(*root(path), ++seed_, beside(path)).changeAll();
    }
  }
  void clearDangling() {
    for (const char* path : {rootPath, besidePath}) {
      if (root(path)) Writer(*root(path), 1, beside(path)).clearDangling();
    }
  }
  void mount(const char* path, const Ptr<Entity>& tree) {
    directory_->mount(path, tree);
    watch(path, *tree);
  }
  // What the other tree says of this one it says no more.
  Ptr<Entity> unmount(const char* path) {
    witnesses_.erase(path);
    const Ptr<Entity> gone = directory_->unmount(path);
    clearDangling();
    return gone;
  }
  // From now on, or not any more.
  void watchIs(bool watched) {
    watched_ = watched;
    if (!watched) return witnesses_.clear();
    for (const auto& [path, tree] : directory_->mounts()) watch(path, *tree);
  }
  bool watched() const noexcept { return watched_; }
  void watch(const std::string& path, Entity& tree) {
    const Faults::Pause pause;
    if (watched_) witnesses_[path] = std::make_unique<Witness>(tree);
  }
  void expectPublished() const {
    for (const auto& [path, witness] : witnesses_) witness->expectComplete();
  }
  // What both ends of a connection say of themselves, with nothing under way.
  void expectFigures() const {
    const auto mine = link_->connection()->figures();
    const auto peers = host_->figures();
    const auto expectAgree = [](const Figures& sender, const Figures& receiver) {
      EXPECT_EQ(sender.messagesSent, receiver.messagesReceived);
      EXPECT_EQ(sender.turnsSent, receiver.turnsReceived);
      EXPECT_EQ(sender.bytesSent, receiver.bytesReceived);
      EXPECT_EQ(sender.bytesWaiting + sender.dirty.attributes + sender.dirty.keys, 0u);
      EXPECT_EQ(sender.unknownAttributes + sender.unknownControls, 0u);
    };
    expectAgree(mine, peers);
    expectAgree(peers, mine);
    EXPECT_EQ(mine.entities, peers.entities);
    if (!traits_.writes) {
      EXPECT_EQ(mine.unknownEntities, 0u);
    }
    EXPECT_EQ(peers.flows, peers.entities);
    EXPECT_EQ(mine.flows, traits_.writes ? mine.entities : 0);
    ASSERT_EQ(mine.mounts.size(), directory_->mounts().size());
    ASSERT_EQ(peers.mounts.size(), mine.mounts.size());
    for (const auto* mounts : {&mine.mounts, &peers.mounts}) {
      for (const auto& mount : *mounts) EXPECT_EQ(mount.readOnly, !traits_.writes) << mount.path;
    }
  }
  void expectNothing() const {
    EXPECT_TRUE(directory_->mounts().empty());
    for (const auto& client : clients_) expectNothingHeld(*client);
    if (link_) expectNothingHeld(*link_->connection());
  }
  const Budget& budget() const noexcept { return budget_; }

 private:
  std::unique_ptr<Stream> accept() {
    const Sockets sockets;
    const int smallest = 1;
    for (const int fd : {sockets.a, sockets.b}) {
      ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
    }
    try {
      clients_.push_back(std::make_unique<Connection>(sockets.a, *directory_, traits_.limits));
      clients_.back()->budgetIs(clientBudget_);
    } catch (...) {
      ::close(sockets.a);
      ::close(sockets.b);
      throw;
    }
    return std::make_unique<DescriptorStream>(sockets.b);
  }
  void handleMounted(Link&, const std::string& path, Entity& entity, bool isNew) override {
    if (isNew || !witnesses_.contains(path)) watch(path, entity);
  }
  void handleUnmounted(Link&, const std::string& path, const std::string&) override {
    witnesses_.erase(path);
  }
  // What is mirrored changes turn by turn.
  void workOnLink() {
    Connection* const connection = link_->connection();
    const bool wasSynced = link_->state() == LinkState::synced;
    const uint64_t turns = connection ? connection->incoming().turns() : 0;
    const size_t changes = published();
    link_->handle(now_);
    if (!wasSynced || link_->state() != LinkState::synced ||
        connection->incoming().turns() != turns)
      return;
    EXPECT_LE(published(), changes) << "a part of a turn";
  }
  size_t published() const {
    size_t sum = 0;
    for (const auto& [path, witness] : witnesses_) sum += witness->changes();
    return sum;
  }
  void turnsAreOver() {
    for (const auto& [path, witness] : witnesses_) witness->turnIsOver();
  }
  Entity* beside(const char* path) const { return root(path == rootPath ? besidePath : rootPath); }
  static void expectNothingHeld(const Connection& connection) {
    EXPECT_EQ(connection.log().numbers().count() + connection.log().numbers().flowCount(), 0u);
    EXPECT_EQ(connection.log().carrier().queue().heldBytes(), 0u);
    EXPECT_EQ(connection.held().entities + connection.held().requests, 0u);
  }

  Place* above_;
  Traits traits_;
  Link::Clock::time_point& now_;
  uint64_t seed_;
  bool mirrorsBeside_ = false;
  bool watched_ = true;
  Budget budget_{"the place", SIZE_MAX};
  Budget clientBudget_{"its clients", SIZE_MAX, &budget_};
  std::unique_ptr<Directory> directory_;
  std::unique_ptr<Link> link_;
  Connection* host_ = nullptr;  // the other end of the link's
  std::map<std::string, std::unique_ptr<Witness>> witnesses_;
  std::list<std::unique_ptr<Connection>> clients_;
};

// --------------------------------------------------------------------------------------- the world

class World {
 public:
  explicit World(uint64_t seed) : random_(static_cast<uint32_t>(seed % 2147483646 + 1)) {
    refers_ = seed >= firstReferring;
    type_ = treeTypes[below(std::size(treeTypes))];
    if (refers_ && below(2) == 0) type_ = referringTypes[below(std::size(referringTypes))];
    const uint32_t count = 2 + below(mostPlaces - 1);
    const bool chain = below(3) == 0;
    const bool writable = below(refers_ ? 2 : 3) == 0;
    static constexpr size_t outputs[] = {1, 40, 300, 4000, 256 * 1024};
    for (uint32_t i = 0; i < count; ++i) {
      Place::Traits traits;
      traits.limits.outputBytes = outputs[below(std::size(outputs))];
      traits.writes = i == 0 || (writable && below(2) == 0);
      const uint32_t above = i == 0 ? 0 : chain ? i - 1 : below(i);
      // Below a reader nobody writes.
      if (i != 0 && !places_[above]->writes()) traits.writes = false;
      places_.push_back(
          std::make_unique<Place>(i == 0 ? nullptr : places_[above].get(), traits, now_, seed + i));
    }
    newTree(static_cast<uint32_t>(seed));
  }

  void happen(const Step& step) {
    Place& place = *places_[step.a % places_.size()];
    std::minstd_rand random(step.b);
    failuresBefore = Faults::failures();
    switch (step.kind) {
      case 'w':
        return place.write(step.b);
      case 'x': {
        Faults::Plan plan;
        plan.failingAllocation = 1 + chosen(random, 1u << (1 + chosen(random, 9)));
        const Faults faults(plan);
        try {
          place.write(step.b);
        } catch (const std::bad_alloc&) {
          // What it was told and could not do it may do some other time.
        }
        return;
      }
      case 'k':
        return place.work();
      case 'f': {
        static constexpr uint32_t sizes[] = {1, 3, 17, 100, 4096, 1 << 20};
        Faults::Plan plan;
        plan.seed = step.b;
        plan.readMost = sizes[chosen(random, std::size(sizes))];
        plan.writeMost = sizes[chosen(random, std::size(sizes))];
        plan.interrupts = chosen(random, 30);
        plan.busy = chosen(random, 30);
        plan.broken = chosen(random, 4) == 0 ? 50 : 0;
        const Faults faults(plan);
        for (uint32_t i = 1 + chosen(random, 8); i > 0; --i) place.work();
        return;
      }
      case 'm': {
        Faults::Plan plan;
        plan.failingAllocation = 1 + chosen(random, 1u << (1 + chosen(random, 9)));
        const Faults faults(plan);
        return place.work();
      }
      case 'c':
        return place.cut(step.b);
      case 't':
        now_ += milliseconds(chosen(random, 2000));
        return;
      case 'r':
        place.kill();
        place.start();
        if (&place == places_.front().get()) newTree(step.b);
        return;
      case 'u':
        if (shelved_) {
          origin().mount(rootPath, std::exchange(shelved_, nullptr));
        } else {
          shelved_ = origin().unmount(rootPath);
        }
        return;
      case 'b':
        if (step.b % 2 == 0) return place.writeMore(step.b);
        // Mostly they meet at the same places.
        for (const auto& each : places_) each->writeMore(step.b);
        return;
      case 'p':
        return &place == &origin() ? changeBeside(step.b) : place.mirrorBeside();
      case 'o':
        return place.watchIs(!place.watched());
      case 'a':
        return allWork(1 + chosen(random, 4));
      default:
        throw std::invalid_argument(std::string("no step is called ") + step.kind);
    }
  }

  // Which of the allocations of all that work together fails.
  void failingIs(uint64_t allocation) { failing_ = allocation; }

  // Until nothing is under way, with nothing going wrong any more. What the trees are then they are
  // by what they know of each other: so each of their places is changed once more, by the origin
  // and then by all. In the end the trees go, and leave nothing behind.
  void settle() {
    failuresBefore = Faults::failures();
    if (shelved_) origin().mount(rootPath, std::exchange(shelved_, nullptr));
    if (origin().root(besidePath)) {
      for (const auto& place : places_) place->mirrorBeside();
    }
    ASSERT_NO_FATAL_FAILURE(expectEqual());
    origin().changeAll();
    ASSERT_NO_FATAL_FAILURE(expectEqual());
    for (const auto& place : places_) {
      if (place->writes()) place->changeAll();
    }
    ASSERT_NO_FATAL_FAILURE(expectEqual());
    for (const char* path : {rootPath, besidePath}) origin().unmount(path);
    quieten();
    for (const auto& place : places_) {
      place->expectNothing();
      place->kill();
      EXPECT_EQ(place->budget().held(), 0u);
    }
  }

 private:
  Place& origin() { return *places_.front(); }
  uint32_t below(size_t bound) { return chosen(random_, static_cast<uint32_t>(bound)); }

  void allWork(uint32_t times) {
    Faults::Plan plan;
    plan.failingAllocation = failing_;
    const Faults faults(plan);
    for (; times > 0; --times) {
      for (const auto& each : places_) each->work();
    }
    failing_ -= std::min(failing_, Faults::allocations());
  }

  void newTree(uint32_t seed) {
    shelved_ = nullptr;
    const Ptr<Entity> tree = origin().directory().newEntity(rootPath, type_);
    origin().watch(rootPath, *tree);
    Writer writer(*tree, seed);
    if (refers_) writer.fill(static_cast<int>(seed % 3));
    writer.steps(static_cast<int>(seed % (refers_ ? 10 : 60)));
  }

  // The tree beside the first one comes, its references leading to that and the other way round,
  // refers to other elements, changes places with it, or goes.
  void changeBeside(uint32_t seed) {
    Directory& directory = origin().directory();
    if (!origin().root(besidePath)) {
      const char* const types[] = {type_, "Stp::Status", "Stp::Config", "Stp::QuiesceConfig"};
      const Ptr<Entity> tree = directory.newEntity(besidePath, types[seed % std::size(types)]);
      origin().watch(besidePath, *tree);
      Writer(*tree, seed, origin().root()).fill(static_cast<int>(1 + seed % 2));
    } else if (!origin().root() || seed % 4 == 0) {
      origin().unmount(besidePath);
    } else if (seed % 4 != 1) {
      Writer(*origin().root(), seed, origin().root(besidePath)).changeAll(true);
    } else {
      const Ptr<Entity> first = origin().unmount(rootPath);
      const Ptr<Entity> second = origin().unmount(besidePath);
      origin().mount(rootPath, second);
      origin().mount(besidePath, first);
    }
  }

  void expectEqual() {
    quieten();
    // Mirrors that write may have deleted what others refer to.
    origin().clearDangling();
    quieten();
    origin().expectPublished();
    for (size_t i = 1; i < places_.size(); ++i) {
      const Place& place = *places_[i];
      SCOPED_TRACE("place " + std::to_string(i));
      ASSERT_EQ(place.link()->state(), LinkState::synced) << place.link()->reason();
      for (const auto& [path, tree] : origin().directory().mounts()) {
        ASSERT_NE(place.root(path.c_str()), nullptr);
        std::string difference;
        EXPECT_TRUE(sameTree(*tree, *place.root(path.c_str()), difference)) << difference;
      }
      place.expectPublished();
      place.expectFigures();
    }
  }

  void quieten() {
    constexpr int patience = 20000;
    int quiet = 0;
    const Directory::Mounts& mounts = origin().directory().mounts();
    for (int round = 0; quiet < 3 && round < patience; ++round) {
      bool busy = false;
      for (const auto& place : places_) {
        place->work();
        busy = busy || place->isBusy();
      }
      const bool synced = std::all_of(places_.begin(), places_.end(), [&](const auto& place) {
        return !place->link() || (place->link()->state() == LinkState::synced &&
                                  std::all_of(mounts.begin(), mounts.end(), [&](const auto& mount) {
                                    return place->link()->isMirrored(mount.first);
                                  }));
      });
      if (!synced && !busy) now_ += milliseconds(500);
      quiet = synced && !busy ? quiet + 1 : 0;
    }
    ASSERT_EQ(quiet, 3) << "it does not come to rest";
  }

  std::minstd_rand random_;
  uint64_t failing_ = 0;
  Link::Clock::time_point now_ = Link::Clock::now();
  bool refers_ = false;
  const char* type_ = nullptr;
  std::vector<std::unique_ptr<Place>> places_;
  Ptr<Entity> shelved_;
};

}  // namespace

// ----------------------------------------------------------------------------------------- running

Schedule scheduleOf(uint64_t seed) {
  // Worlds of numbers that lie side by side would be alike: the generator begins near its seed.
  Schedule schedule{firstReferring + seed * 1327217885 % 2147483646, {}};
  std::minstd_rand random(static_cast<uint32_t>(seed * 7919 % 2147483646 + 1));
  // Each kind as often as it stands here; some worlds are quiet but for one kind of trouble.
  static constexpr std::string_view mixes[] = {
      "wwwkkkkkaa",   "wwbkkkffffaap", "wbkkkccttaap",      "wbkkmmmttaap", "wxxbkkkttaap",
      "wbkkrrttaaup", "wbbbkkkkaappo", "wbbxkkkfmcttruapo", "bbbkkkffaap",  "bbkkkaappu"};
  const std::string_view kinds = mixes[chosen(random, std::size(mixes))];
  const uint32_t count = 20 + chosen(random, 120);
  for (uint32_t i = 0; i < count; ++i) {
    const char kind = kinds[chosen(random, static_cast<uint32_t>(kinds.size()))];
    // Most places only read.
    const bool anywhere =
        std::string_view("wxbp").find(kind) == std::string_view::npos || chosen(random, 2) == 0;
    schedule.steps.push_back(
        {kind, anywhere ? chosen(random, mostPlaces) : 0, 1 + chosen(random, 1000000)});
  }
  return schedule;
}

std::string textOf(const Schedule& schedule) {
  std::string text = std::to_string(schedule.seed);
  for (const Step& step : schedule.steps) {
    text += ' ';
    text += step.kind;
    text += std::to_string(step.a) + "." + std::to_string(step.b);
  }
  return text;
}

Schedule scheduleFrom(std::string_view text) {
  Schedule schedule;
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto number = [&](auto& value) {
    const auto [next, error] = std::from_chars(at, end, value);
    if (error != std::errc()) throw std::invalid_argument("no schedule: " + std::string(text));
    at = next;
  };
  const auto skip = [&](char expected) {
    if (at == end || *at++ != expected) {
      throw std::invalid_argument("no schedule: " + std::string(text));
    }
  };
  number(schedule.seed);
  while (at != end) {
    skip(' ');
    if (at == end) break;
    Step step{*at++, 0, 0};
    number(step.a);
    skip('.');
    number(step.b);
    schedule.steps.push_back(step);
  }
  return schedule;
}

std::optional<std::string> run(const Schedule& schedule, const Trouble& trouble) {
  ::testing::TestPartResultArray results;
  {
    const ::testing::ScopedFakeTestPartResultReporter reporter(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
    try {
      World world(schedule.seed);
      {
        std::optional<Cut> cut;
        if (trouble.cutAfter) cut.emplace(*trouble.cutAfter);
        world.failingIs(trouble.failingAllocation.value_or(0));
        for (const Step& step : schedule.steps) world.happen(step);
      }
      world.settle();
    } catch (const std::exception& failure) {
      ADD_FAILURE() << "thrown: " << failure.what();
    }
  }
  for (int i = 0; i < results.size(); ++i) {
    const ::testing::TestPartResult& result = results.GetTestPartResult(i);
    if (result.failed()) return result.message();
  }
  return std::nullopt;
}

// -------------------------------------------------------------------------------------- minimising

namespace {

bool failsInAProcess(const Schedule& schedule) {
  const pid_t child = ::fork();
  if (child == 0) {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDERR_FILENO);
    ::alarm(20);
    ::_exit(run(schedule) ? 1 : 0);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status != 0;
}

}  // namespace

Schedule minimised(const Schedule& failing) {
  Schedule best = failing;
  // Parts are left out, first large ones, as long as it still fails.
  for (size_t part = std::max<size_t>(best.steps.size() / 2, 1);;) {
    bool shorter = false;
    for (size_t at = 0; at < best.steps.size();) {
      Schedule attempt = best;
      const auto from = attempt.steps.begin() + static_cast<std::ptrdiff_t>(at);
      const size_t end = std::min(at + part, best.steps.size());
      attempt.steps.erase(from, from + static_cast<std::ptrdiff_t>(end - at));
      if (failsInAProcess(attempt)) {
        best = std::move(attempt);
        shorter = true;
      } else {
        at += part;
      }
    }
    if (part == 1 && !shorter) return best;
    if (part > 1) part /= 2;
  }
}

}  // namespace Mirror
