#include "Tovo/Path.h"

#include <algorithm>
#include <vector>

#include "Tovo/CharRange.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/Printable.h"
#include "Tovo/ValueOps.h"
#include "words/Phrases.h"

namespace Tovo {

namespace {

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// Splits the part of a path below a mount into names and keys.
class Steps {
 public:
  explicit Steps(std::string_view rest) : rest_(rest) {}

  bool done() const noexcept { return rest_.empty() || rest_ == "/"; }

  std::string name() {
    if (rest_.front() != '/') {
      throw PathException("a path goes on with a slash before " + quoted(rest_));
    }
    rest_.remove_prefix(1);
    return take(rest_.find_first_of("/["));
  }

  /// The key behind a collection's name, if there is one.
  bool key(std::string& out) {
    if (done()) return false;
    if (rest_.front() != '[') {
      rest_.remove_prefix(1);
      out = take(rest_.find('/'));
      return true;
    }
    out.clear();
    for (size_t at = 1; at < rest_.size(); ++at) {
      if (rest_[at] == '\\' && at + 1 < rest_.size()) {
        out += rest_[++at];
      } else if (rest_[at] == ']') {
        rest_.remove_prefix(at + 1);
        return true;
      } else {
        out += rest_[at];
      }
    }
    throw PathException("the bracket of " + quoted(rest_) + " is not closed");
  }

 private:
  std::string take(size_t length) {
    std::string part(rest_.substr(0, length));
    rest_.remove_prefix(part.size());
    return part;
  }

  std::string_view rest_;
};

const std::string& findMount(const Directory& directory, std::string_view path) {
  const auto mounted = directory.mountAbove(path);
  if (mounted != directory.mounts().end()) return mounted->first;
  constexpr size_t shownMounts = 16;
  constexpr size_t mostMounts = 10000;  // that somebody may have meant
  std::vector<std::string> known;
  for (const auto& [other, entity] : directory.mounts()) {
    if (known.size() == mostMounts) break;
    known.push_back(other);
  }
  std::vector<std::string> shown(
      known.begin(),
      known.begin() + static_cast<std::ptrdiff_t>(std::min(known.size(), shownMounts)));
  if (known.size() > shownMounts) shown.emplace_back("...");
  throw PathException(
      "nothing is mounted at " + quoted(path) + "; " +
          (known.empty() ? "nothing is mounted at all" : "mounted: " + words::joined(shown)),
      std::string(path), known);
}

Attribute needAttribute(const Entity& entity, const std::string& name) {
  const Attribute attribute = attributeByName(entity.tovoType(), name);
  if (attribute) return attribute;
  std::vector<std::string> names;
  forEachAttribute(entity.tovoType(), [&](Attribute known) {
    if (known.kind() != AttributeKind::constant) names.emplace_back(known.name());
  });
  throw PathException(pathOf(entity) + " (" + typeName(entity.tovoType()) + ") has no " +
                          quoted(name) + "; it has " + words::joined(names),
                      name, names);
}

[[noreturn]] void failKey(const Entity& owner, Attribute collection, const std::string& key) {
  constexpr size_t shownKeys = 7;
  constexpr size_t mostKeys = 10000;  // that somebody may have meant
  std::vector<std::string> keys;
  forEachElement(owner, collection, [&](const void* known, const void*) {
    if (keys.size() < mostKeys) keys.push_back(plainText(collection.keyOps(), known));
  });
  std::vector<std::string> shown(
      keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(std::min(keys.size(), shownKeys)));
  if (keys.size() > shownKeys) shown.emplace_back("...");
  throw PathException(pathOf(owner, collection.name()) + " has no element " + quoted(key) + "; " +
                          (keys.empty() ? "it is empty" : "it has " + words::joined(shown)),
                      key, keys);
}

PathTarget resolve(const Directory& directory, std::string_view path, bool newElement) {
  const std::string& mounted = findMount(directory, path);
  PathTarget target{Pelmo::Ptr<Entity>(directory.mounted(mounted)), {}, {}, false};
  Steps steps(path.substr(mounted.size()));
  while (!steps.done()) {
    const Attribute attribute = needAttribute(*target.entity, steps.name());
    std::string key;
    const bool hasKey = attribute.isCollection() && steps.key(key);
    const bool owning = attribute.kind() == AttributeKind::ownCollection;
    if (!owning || !hasKey || (newElement && steps.done())) {
      if (!steps.done()) {
        throw PathException(pathOf(*target.entity, attribute.name()) + " has nothing below it in " +
                            quoted(path));
      }
      target.attribute = attribute;
      target.keyText = std::move(key);
      target.hasKey = hasKey;
      return target;
    }
    const void* element = findElement(*target.entity, attribute, key);
    if (!element) failKey(*target.entity, attribute, key);
    target.entity = Pelmo::Ptr<Entity>(elementEntity(element));
  }
  return target;
}

}  // namespace

PathTarget resolvePath(const Directory& directory, std::string_view path) {
  return resolve(directory, path, false);
}

PathTarget resolveNewElement(const Directory& directory, std::string_view path) {
  PathTarget target = resolve(directory, path, true);
  if (!target.attribute || !target.hasKey) {
    throw PathException(quoted(path) + " names no element of a collection");
  }
  return target;
}

namespace {

// The name or key as a person types it, so that the path leads back here: in quotes where it begins
// with one, and where it holds what cannot be shown.
std::string typedKey(const Entity& entity) {
  const Pelmo::String name = entity.nameString();
  const std::string_view text = name.view();
  if (isPrintable(text) && !text.starts_with('\'')) return std::string(text);
  std::string quotes;
  appendQuoted(quotes, text);
  return quotes;
}

}  // namespace

std::string pathOf(const Entity& entity) {
  const Entity* above = entity.parent();
  if (!above) {
    for (const Directory* directory = Directory::first(); directory;
         directory = directory->next()) {
      if (const std::string* mounted = directory->mountPath(entity)) return *mounted;
    }
    return "(" + std::string(typeName(entity.tovoType())) + " " +
           std::string(entity.nameString().view()) + ")";
  }
  std::string path = pathOf(*above);
  forEachAttribute(above->tovoType(), [&](Attribute collection) {
    if (collection.kind() != AttributeKind::ownCollection ||
        !isDerived(entity.tovoType(), collection.type())) {
      return;
    }
    const Attribute keyed = keyParameter(entity.tovoType());
    const void* key = keyed ? storage(entity, keyed) : &entity.name();
    if (collectionFind(*above, collection, key) != static_cast<const void*>(&entity)) return;
    path.append("/").append(collection.name());
    appendKey(path, typedKey(entity));
  });
  return path;
}

std::string pathOf(const Entity& entity, std::string_view attribute) {
  return pathOf(entity).append("/").append(attribute);
}

void appendKey(std::string& path, std::string_view key) {
  const bool plain = !key.empty() && key.front() != ' ' && key.back() != ' ' &&
                     key.find_first_of("/[]\\") == std::string_view::npos;
  if (plain) {
    path.append("/").append(key);
    return;
  }
  path += '[';
  for (const char c : key) {
    if (c == ']' || c == '\\') path += '\\';
    path += c;
  }
  path += ']';
}

}  // namespace Tovo
