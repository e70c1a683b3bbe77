// Trees from JSON.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "stptool/json/Json.h"
#include "stptool/json/ValueJson.h"

namespace stptool {

/// A root of a document, which has to outlive it.
struct DocumentRoot {
  std::string path;
  std::string type;  ///< empty where the document does not say it
  const Json* json;  ///< its members
};

/// In the order of the document. Throws Failure as Loader does.
std::vector<DocumentRoot> rootsOf(const Json& document, const std::string& file);

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

  /// Takes what a dump says as the attribute log does, and so every dump: values that only the log
  /// brings, after a warning "FILE: /place/in/it: what was found and what is allowed"; attributes
  /// that only their owner sets; a root's name that is not the end of its path. An element that is
  /// there with other constructor parameters makes way.
  using Warning = std::function<void(const std::string& message)>;
  void restores(Warning warning);

  void load(const Json& document, const std::string& file);
  void load(const DocumentRoot& root, const std::string& file);
  void resolveReferences();
  /// Makes a root with nothing but its constructor parameters.
  Pelmo::Ptr<Tovo::Entity> loadBareRoot(const DocumentRoot& root, const std::string& file);

 private:
  using Attribute = Tovo::Attribute;
  using Entity = Tovo::Entity;

  struct Reference {
    Pelmo::Ptr<Entity> holder;
    Attribute attribute;
    std::unique_ptr<Tovo::ValueBuffer> key;  // of a collection
    std::string path;                        // empty: null
    std::string file;
    JsonPlace place;
  };

  struct Entry {
    std::unique_ptr<Tovo::ValueBuffer> key;
    std::string keyText;  // as a dump has it
    const std::string* name;
    const Json* json;
  };

  void loadRoot(const DocumentRoot& root);
  Pelmo::Ptr<Entity> makeRoot(const DocumentRoot& root);
  void loadMembers(Entity& entity, const Json& json, const JsonPlace& place, bool isRoot);
  void loadMember(Entity& entity, Attribute attribute, const Json& json, const JsonPlace& place);
  void loadCollection(Entity& entity, Attribute collection, const Json& json,
                      const JsonPlace& place);
  std::vector<Entry> entriesOf(Attribute collection, const Json& json,
                               const JsonPlace& place) const;
  void loadEntry(Entity& owner, Attribute collection, Entry entry, const JsonPlace& place);
  void loadElement(Entity& owner, Attribute collection, const Entry& entry, const JsonPlace& place);
  std::vector<std::unique_ptr<Tovo::ValueBuffer>> parametersOf(Tovo::TovoTypeBase type,
                                                               const Json& json,
                                                               const JsonPlace& place) const;
  void setAttribute(Entity& entity, Attribute attribute, const Json& json, const JsonPlace& place);
  void addReference(Entity& holder, Attribute attribute, std::unique_ptr<Tovo::ValueBuffer> key,
                    const Json& json, const JsonPlace& place);
  void resolve(const Reference& reference);
  Entity* findTarget(const Reference& reference) const;

  Tovo::Directory& target_;
  const Tovo::Directory* others_;
  std::string file_;
  std::vector<Reference> references_;
  OutOfRange outOfRange_ = refuse;
  bool replaces_ = false;
  bool restores_ = false;
};

}  // namespace stptool
