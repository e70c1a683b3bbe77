// Trees from JSON.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "stptool/json/Json.h"

namespace stptool {

/// Puts documents as Dump.h writes them into a directory: makes the elements that are missing, sets
/// the attributes that are mentioned, leaves the rest. References are put in place at the end, so
/// that documents may refer to each other and forward.
///
/// Every error is a Failure "FILE: /place/in/it: what was found and what is allowed". What was
/// loaded before it stays: load into a directory that can be thrown away, then into the one that
/// counts.
class Loader {
 public:
  /// References, and the types of roots that the document does not say, are looked up in `target`,
  /// then in `others` if that is given.
  explicit Loader(Tovo::Directory& target, const Tovo::Directory* others = nullptr)
      : target_(target), others_(others) {}

  /// Collections that a document mentions lose the elements that it does not mention.
  void replaces(bool on) noexcept { replaces_ = on; }

  /// Of the document, the roots at paths that are wanted.
  using Wanted = std::function<bool(const std::string& path)>;
  void load(const Json& document, const std::string& file, const Wanted& wanted = {});
  void resolveReferences();
  /// Makes one root of a document with nothing but its constructor parameters.
  Pelmo::Ptr<Tovo::Entity> loadBareRoot(const Json& document, const std::string& file,
                                        const std::string& path);

 private:
  using Attribute = Tovo::Attribute;
  using Entity = Tovo::Entity;

  struct Reference {
    Pelmo::Ptr<Entity> holder;
    Attribute attribute;
    std::string key;   // of a collection
    std::string path;  // empty: null
    std::string file;
    JsonPlace place;
  };

  void loadDocument(const Json& document, const Wanted& wanted);
  void loadRoot(const std::string& path, const Json& json, const JsonPlace& place);
  Pelmo::Ptr<Entity> makeRoot(const std::string& path, const Json& json, const JsonPlace& place);
  void loadMembers(Entity& entity, const Json& json, const JsonPlace& place, bool isRoot);
  void loadMember(Entity& entity, Attribute attribute, const Json& json, const JsonPlace& place);
  void loadCollection(Entity& entity, Attribute collection, const Json& json,
                      const JsonPlace& place);
  void loadElement(Entity& owner, Attribute collection, const std::string& key, const Json& json,
                   const JsonPlace& place);
  void removeOthers(Entity& owner, Attribute collection, const Json& json);
  void setAttribute(Entity& entity, Attribute attribute, const Json& json, const JsonPlace& place);
  void addReference(Entity& holder, Attribute attribute, const std::string& key, const Json& json,
                    const JsonPlace& place);
  void resolve(const Reference& reference);
  Entity* findTarget(const Reference& reference) const;

  Tovo::Directory& target_;
  const Tovo::Directory* others_;
  std::string file_;
  std::vector<Reference> references_;
  bool replaces_ = false;
};

/// The roots of a document, path and type name, which is empty where the document does not say it.
/// Throws Failure as Loader does.
std::vector<std::pair<std::string, std::string>> rootsOf(const Json& document,
                                                         const std::string& file);

}  // namespace stptool
