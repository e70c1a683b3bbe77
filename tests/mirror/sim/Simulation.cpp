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
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "../Support.h"
#include "Faults.h"
#include "Tovo/AttrLog/Link.h"

namespace Mirror {

namespace {

using std::chrono::milliseconds;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkObserver;
using Tovo::NboAttrLog::LinkOptions;
using Tovo::NboAttrLog::LinkState;

const char* const treeTypes[] = {"Stp::Hw",
                                 "Stp::Status",
                                 "Stp::Config",
                                 "Stp::Input::Config",
                                 "Stp::PortCounterDir",
                                 "Stp::OCMstiConfigDir",
                                 "Stp::OCInterfaceStateDir"};
constexpr const char* rootPath = "/root";
constexpr uint32_t mostPlaces = 6;

uint32_t chosen(std::minstd_rand& random, uint32_t bound) {
  return std::uniform_int_distribution<uint32_t>(0, bound - 1)(random);
}

// ------------------------------------------------------------------------------------ the places

// What it remembers is not the library's: it does not run out of memory.
class SteadyReplay : public Replay {
 public:
  using Replay::Replay;
  void handleChange(const Pelmo::Change& change) override {
    const Faults::Pause pause;
    Replay::handleChange(change);
  }
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
    link_ = std::make_unique<Link>([this] { return above_->accept(); }, *directory_, options);
    link_->observerIs(this);
    link_->mount(rootPath, !traits_.writes);
  }
  // As the system ends a process: nothing is said to anybody.
  void kill() {
    for (const auto& client : clients_) ::shutdown(client->writeFd(), SHUT_RDWR);
    if (link_ && link_->connection()) ::shutdown(link_->connection()->writeFd(), SHUT_RDWR);
    link_.reset();
    clients_.clear();
    replay_.reset();
    directory_.reset();
  }

  Entity* root() const { return directory_->mounted(rootPath); }
  Directory& directory() { return *directory_; }
  const Link* link() const { return link_.get(); }
  bool writes() const noexcept { return traits_.writes || !above_; }

  void work() {
    if (link_) link_->handle(now_);
    for (const auto& client : clients_) {
      client->handleReadable();
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
    Writer(*root(), seed).steps(static_cast<int>(1 + chosen(random, 12)));
  }
  void clearDangling() {
    if (root()) Writer(*root(), 1).clearDangling();
  }
  const Replay* replay() const { return replay_.get(); }

 private:
  Link::Stream accept() {
    const Sockets sockets;
    const int smallest = 1;
    for (const int fd : {sockets.a, sockets.b}) {
      ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
    }
    try {
      clients_.push_back(std::make_unique<Connection>(sockets.a, *directory_, traits_.limits));
    } catch (...) {
      ::close(sockets.a);
      ::close(sockets.b);
      throw;
    }
    return {sockets.b, sockets.b};
  }
  void handleMounted(Link&, const std::string&, Entity& entity, bool isNew) override {
    const Faults::Pause pause;
    if (isNew || !replay_) replay_ = std::make_unique<SteadyReplay>(entity);
  }
  void handleUnmounted(Link&, const std::string&, const std::string&) override { replay_.reset(); }

  Place* above_;
  Traits traits_;
  Link::Clock::time_point& now_;
  uint64_t seed_;
  std::unique_ptr<Directory> directory_;
  std::unique_ptr<Link> link_;
  std::unique_ptr<Replay> replay_;
  std::list<std::unique_ptr<Connection>> clients_;
};

// --------------------------------------------------------------------------------------- the world

class World {
 public:
  explicit World(uint64_t seed) : random_(static_cast<uint32_t>(seed % 2147483646 + 1)) {
    type_ = treeTypes[below(std::size(treeTypes))];
    const uint32_t count = 2 + below(mostPlaces - 1);
    const bool chain = below(3) == 0;
    const bool writable = below(3) == 0;
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
          origin().directory().mount(rootPath, std::exchange(shelved_, nullptr));
        } else {
          shelved_ = origin().directory().unmount(rootPath);
        }
        return;
      case 'a':
        return allWork(1 + chosen(random, 4));
      default:
        throw std::invalid_argument(std::string("no step is called ") + step.kind);
    }
  }

  // Which of the allocations of all that work together fails.
  void failingIs(uint64_t allocation) { failing_ = allocation; }

  // Until nothing is under way, with nothing going wrong any more.
  void settle() {
    if (shelved_) origin().directory().mount(rootPath, std::exchange(shelved_, nullptr));
    quieten();
    // Mirrors that write may have deleted what others refer to.
    origin().clearDangling();
    quieten();
    for (size_t i = 1; i < places_.size(); ++i) {
      const Place& place = *places_[i];
      SCOPED_TRACE("place " + std::to_string(i));
      ASSERT_EQ(place.link()->state(), LinkState::synced) << place.link()->reason();
      ASSERT_NE(place.root(), nullptr);
      expectSame(*origin().root(), *place.root());
      ASSERT_NE(place.replay(), nullptr);
      place.replay()->expectComplete();
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
    Writer(*origin().directory().newEntity(rootPath, type_), seed)
        .steps(static_cast<int>(seed % 60));
  }

  void quieten() {
    constexpr int patience = 20000;
    int quiet = 0;
    for (int round = 0; quiet < 3 && round < patience; ++round) {
      bool busy = false;
      for (const auto& place : places_) {
        place->work();
        busy = busy || place->isBusy();
      }
      const bool synced = std::all_of(places_.begin(), places_.end(), [](const auto& place) {
        return !place->link() ||
               (place->link()->state() == LinkState::synced && place->link()->isMirrored(rootPath));
      });
      if (!synced && !busy) now_ += milliseconds(500);
      quiet = synced && !busy ? quiet + 1 : 0;
    }
    ASSERT_EQ(quiet, 3) << "it does not come to rest";
  }

  std::minstd_rand random_;
  uint64_t failing_ = 0;
  Link::Clock::time_point now_ = Link::Clock::now();
  const char* type_ = nullptr;
  std::vector<std::unique_ptr<Place>> places_;
  Ptr<Entity> shelved_;
};

}  // namespace

// ----------------------------------------------------------------------------------------- running

Schedule scheduleOf(uint64_t seed) {
  Schedule schedule{seed, {}};
  std::minstd_rand random(static_cast<uint32_t>(seed * 7919 % 2147483646 + 1));
  // Each kind as often as it stands here; some worlds are quiet but for one kind of trouble.
  static constexpr std::string_view mixes[] = {"wwwkkkkkaa",     "wwwkkkffffaa", "wwkkkccttaa",
                                               "wwkkmmmttaa",    "wxxkkkttaa",   "wwkkrrttaau",
                                               "wwwxkkkfmcttrua"};
  const std::string_view kinds = mixes[chosen(random, std::size(mixes))];
  const uint32_t count = 20 + chosen(random, 120);
  for (uint32_t i = 0; i < count; ++i) {
    const char kind = kinds[chosen(random, static_cast<uint32_t>(kinds.size()))];
    schedule.steps.push_back({kind, chosen(random, mostPlaces), 1 + chosen(random, 1000000)});
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
