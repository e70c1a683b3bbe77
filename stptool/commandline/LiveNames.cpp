#include "stptool/commandline/LiveNames.h"

#include <optional>

#include "Tovo/Collection.h"
#include "Tovo/Path.h"
#include "stptool/model/ElementOrder.h"
#include "stptool/model/Explain.h"
#include "stptool/session/ClientSession.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::TovoTypeBase;

constexpr double patience = 3;  // seconds

// A path as far as reflection follows it: the last entity, and the collection behind it.
struct Place {
  std::string entityPath;
  TovoTypeBase type;
  Attribute collection{};  // whose key is being typed
  std::string typed;       // of a name or a key
};

// The end of a key that starts at `from`: before a slash, or behind a closed bracket.
size_t keyEnd(const std::string& path, size_t from) {
  if (path[from - 1] == '/') return std::min(path.find('/', from), path.size());
  for (size_t at = from; at < path.size(); ++at) {
    if (path[at] == '\\') {
      ++at;
    } else if (path[at] == ']') {
      return at + 1;
    }
  }
  return std::string::npos;
}

std::optional<Place> placeOf(const std::string& path, const std::string& root, TovoTypeBase type) {
  Place place{root, type, {}, {}};
  size_t at = root.size();
  while (at < path.size()) {
    if (path[at] != '/') return std::nullopt;
    const size_t end = std::min(path.find_first_of("/[", at + 1), path.size());
    place.typed = path.substr(at + 1, end - at - 1);
    if (end == path.size()) return place;
    const Attribute attribute = Tovo::attributeByName(place.type, place.typed);
    if (!attribute || !attribute.isCollection()) return std::nullopt;
    const size_t next = keyEnd(path, end + 1);
    if (next == std::string::npos || next == path.size() ||
        attribute.kind() != AttributeKind::ownCollection) {
      place.collection = attribute;
      place.typed = path.substr(end + 1);
      return place;
    }
    place.entityPath = path.substr(0, next);
    place.type = attribute.type();
    place.typed.clear();
    at = next;
  }
  return place;
}

bool owns(TovoTypeBase type) {
  bool any = false;
  Tovo::forEachAttribute(type, [&](Attribute attribute) { any = any || attribute.isCollection(); });
  return any;
}

// A name of an attribute, or a key with everything that stands before it.
void addNames(const Place& place, std::vector<Candidate>& candidates) {
  Tovo::forEachAttribute(place.type, [&](Attribute attribute) {
    if (attribute.kind() == AttributeKind::constant) return;
    if (!std::string_view(attribute.name()).starts_with(place.typed)) return;
    candidates.push_back(
        {place.entityPath + "/" + attribute.name() + (attribute.isCollection() ? "/" : ""),
         firstSentence(attribute.detail().doc)});
  });
}

void addKeys(const Place& place, const Tovo::Entity& entity, std::vector<Candidate>& candidates) {
  const bool owning = place.collection.kind() == AttributeKind::ownCollection;
  const char* goesOn = owning && owns(place.collection.type()) ? "/" : "";
  for (const Element& element : sortedElements(entity, place.collection)) {
    if (!element.key.starts_with(place.typed)) continue;
    std::string path = place.entityPath + "/" + place.collection.name();
    Tovo::appendKey(path, element.key);
    candidates.push_back({path + goesOn});
  }
}

}  // namespace

LiveNames::LiveNames(std::string socket) : socket_(std::move(socket)) {}

std::vector<Candidate> LiveNames::paths(const std::string& typed) const {
  ClientSession session({socket_, patience, 0});
  std::vector<Candidate> candidates;
  for (const auto& [path, typeName] : session.remoteMounts()) {
    const TovoTypeBase type = Tovo::typeByName(typeName);
    if (path.starts_with(typed)) {
      candidates.push_back({path + (type && owns(type) ? "/" : ""), typeName});
    } else if (type && typed.starts_with(path)) {
      const std::optional<Place> place = placeOf(typed, path, type);
      if (!place) continue;
      if (!place->collection) {
        addNames(*place, candidates);
        continue;
      }
      session.mirrorOnly(place->entityPath);
      const Tovo::PathTarget target = Tovo::resolvePath(session.directory(), place->entityPath);
      addKeys(*place, *target.entity, candidates);
      return candidates;
    }
  }
  return candidates;
}

TovoTypeBase LiveNames::typeAt(const std::string& path) const {
  ClientSession session({socket_, patience, 0});
  for (const auto& [mounted, typeName] : session.remoteMounts()) {
    const TovoTypeBase type = Tovo::typeByName(typeName);
    if (!type || !path.starts_with(mounted)) continue;
    const std::optional<Place> place = placeOf(path + "/", mounted, type);
    if (place && !place->collection) return place->type;
  }
  return {};
}

}  // namespace stptool
