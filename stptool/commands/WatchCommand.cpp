// stptool watch: each change of a live tree as it arrives.
#include <chrono>
#include <ctime>
#include <list>

#include "Pelmo/Publisher.h"
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"
#include "stptool/session/StopSignals.h"
#include "stptool/text/Output.h"
#include "stptool/text/Printable.h"
#include "stptool/text/Style.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;

std::string milliseconds(std::chrono::system_clock::time_point time) {
  const auto count =
      std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  return "." + std::to_string(1000 + count % 1000).substr(1);
}

// "12:34:56.789", where the person is.
std::string localTime() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[16];
  return std::string(text, std::strftime(text, sizeof text, "%H:%M:%S", &parts)) +
         milliseconds(now);
}

// "2024-05-06T12:34:56.789Z", for programs.
std::string universalTime() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts)) +
         milliseconds(now) + "Z";
}

// One change in words and as JSON; empty texts where a side has no value.
struct Event {
  enum class Kind { set, insert, remove } kind;
  std::string path;
  std::string attribute;
  std::string key;  // of an entry that is no entity
  std::string before;
  std::string after;
  Json jsonBefore;
  Json jsonAfter;
};

const Entity* pointee(const void* pointer) {
  return pointer ? static_cast<const Pelmo::Ptr<Entity>*>(pointer)->get() : nullptr;
}

std::string pointerText(const Entity* entity) { return entity ? Tovo::pathOf(*entity) : "None"; }

Json pointerJson(const Entity* entity) { return entity ? Json(Tovo::pathOf(*entity)) : Json(); }

Event scalarEvent(const Entity& entity, Attribute attribute, const void* previous) {
  Event event{Event::Kind::set, Tovo::pathOf(entity), attribute.name(), {}, {}, {}, {}, {}};
  if (attribute.kind() == AttributeKind::pointer) {
    event.before = pointerText(pointee(previous));
    event.jsonBefore = pointerJson(pointee(previous));
  } else if (previous) {
    event.before = Tovo::valueText(attribute.ops(), previous);
    event.jsonBefore = toJson(shapeOf(attribute), previous);
  }
  event.after = Tovo::attributeText(entity, attribute);
  event.jsonAfter = dumpAttribute(entity, attribute);
  return event;
}

Event entryEvent(const Entity& entity, Attribute collection, const void* key,
                 const void* previous) {
  const void* item = Tovo::collectionFind(entity, collection, key);
  const std::string keyText = typedText(collection.keyOps(), key);
  // Another element under the same key is a removal and an insertion.
  const bool owned = collection.kind() == AttributeKind::ownCollection;
  Event event{!previous        ? Event::Kind::insert
              : !item || owned ? Event::Kind::remove
                               : Event::Kind::set,
              Tovo::pathOf(entity),
              collection.name(),
              keyText,
              {},
              {},
              {},
              {}};
  switch (collection.kind()) {
    case AttributeKind::ownCollection:
      // The element's own path says it all.
      event.path += "/" + event.attribute;
      Tovo::appendKey(event.path, keyText);
      event.attribute.clear();
      event.key.clear();
      break;
    case AttributeKind::refCollection:
      if (previous) {
        event.before = pointerText(pointee(previous));
        event.jsonBefore = pointerJson(pointee(previous));
      }
      if (item) {
        event.after = pointerText(Tovo::elementEntity(item));
        event.jsonAfter = pointerJson(Tovo::elementEntity(item));
      }
      break;
    default:
      if (previous) {
        event.before = Tovo::valueText(collection.ops(), previous);
        event.jsonBefore = toJson(shapeOf(collection), previous);
      }
      if (item) {
        event.after = Tovo::valueText(collection.ops(), item);
        event.jsonAfter = toJson(shapeOf(collection), item);
      }
      break;
  }
  return event;
}

std::string wholePath(const Event& event) {
  std::string path = event.path;
  if (!event.attribute.empty()) path += "/" + event.attribute;
  if (!event.key.empty()) Tovo::appendKey(path, event.key);
  return path;
}

std::string eventJson(const Event& event) {
  static constexpr const char* kinds[] = {"set", "insert", "remove"};
  Json json = Json::object();
  json["time"] = universalTime();
  json["change"] = kinds[static_cast<int>(event.kind)];
  json["path"] = event.path;
  if (!event.attribute.empty()) json["attribute"] = event.attribute;
  if (!event.key.empty()) json["key"] = event.key;
  if (!event.before.empty()) json["old"] = event.jsonBefore;
  if (!event.after.empty()) json["new"] = event.jsonAfter;
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string eventText(const Event& event) {
  std::string line = styled(Style::number, localTime()) + "  ";
  if (event.kind == Event::Kind::insert) line += styled(Style::added, "+") + " ";
  if (event.kind == Event::Kind::remove) line += styled(Style::removed, "-") + " ";
  line += printable(event.path);
  if (!event.attribute.empty()) {
    std::string attribute = event.attribute;
    if (!event.key.empty()) attribute += "[" + event.key + "]";
    line += "  " + styled(Style::name, printable(attribute));
  }
  if (!event.before.empty() || !event.after.empty()) {
    line += "  " + styled(Style::removed, printable(event.before));
    if (!event.before.empty() && !event.after.empty()) line += " -> ";
    line += styled(Style::added, printable(event.after));
  }
  return line + "\n";
}

class Watch {
 public:
  explicit Watch(const WatchOptions& options) : options_(options), session_(options.session) {
    session_.mirrorOrAll(options.path, Access::read);
    if (!options.path.empty() && options.path != "/") {
      path_ = canonical(options.path);
    }
    for (const auto& [path, root] : session_.directory().mounts()) observe(*root);
    session_.follow([this](Entity& root) { observe(root); });
  }

  void run() {
    using Clock = std::chrono::steady_clock;
    const StopSignals signals;
    const auto start = Clock::now();
    complain("watching " + (path_.empty() ? "everything" : path_) + " on " + session_.socket());
    while (!finished()) {
      int wait = -1;
      if (options_.seconds) {
        const double left =
            *options_.seconds - std::chrono::duration<double>(Clock::now() - start).count();
        if (left <= 0) break;
        wait = static_cast<int>(std::min(left * 1000 + 1, 1e9));
      }
      if (!session_.work(signals, wait)) break;
    }
    if (options_.dumpAtEnd.empty()) return;
    // Up to date with what the server had when it was asked.
    session_.sync();
    writeFile(options_.dumpAtEnd, dumpText(dumpDirectory(session_.directory())));
  }

 private:
  class RootObserver : public Pelmo::Observer {
   public:
    explicit RootObserver(Watch& watch) : watch_(watch) {}
    void handleChange(const Pelmo::Change& change) override { watch_.show(change); }

   private:
    Watch& watch_;
  };

  void observe(Entity& root) {
    observers_.remove_if([](const RootObserver& observer) { return !observer.observed(); });
    observers_.emplace_back(*this).observeRecursive(root.nodePublisher());
  }

  std::string canonical(const std::string& path) {
    const Tovo::PathTarget target = Tovo::resolvePath(session_.directory(), path);
    if (!target.attribute) return Tovo::pathOf(*target.entity);
    std::string text = Tovo::pathOf(*target.entity, target.attribute.name());
    if (target.hasKey) Tovo::appendKey(text, target.keyText);
    return text;
  }

  bool finished() const noexcept {
    return readerGone_ || (options_.count && shown_ >= *options_.count);
  }

  bool isWatched(const std::string& path) const {
    if (!path.starts_with(path_)) return false;
    return path.size() == path_.size() || path_.empty() || path[path_.size()] == '/' ||
           path[path_.size()] == '[';
  }

  void show(const Pelmo::Change& change) {
    if (finished()) return;
    const Entity& entity = Tovo::entityOf(change.source);
    const Attribute attribute = Tovo::attributeById(entity.tovoType(), change.attribute);
    if (!attribute) return;
    const Event event = change.key ? entryEvent(entity, attribute, change.key, change.previous)
                                   : scalarEvent(entity, attribute, change.previous);
    if (!isWatched(wholePath(event))) return;
    ++shown_;
    readerGone_ = !writeOut(options_.json ? eventJson(event) : eventText(event));
  }

  const WatchOptions& options_;
  ClientSession session_;
  std::string path_;  // empty: everything
  std::list<RootObserver> observers_;
  uint64_t shown_ = 0;
  bool readerGone_ = false;
};

}  // namespace

void runWatch(const WatchOptions& options) {
  Watch watch(options);
  watch.run();
}

}  // namespace stptool
