// Messages of an attribute log that speak of no entity: the ones that connections and recordings
// have in common.
#pragma once

#include <string>
#include <string_view>

#include "Tovo/AttrLog/ConstructorValues.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/Directory.h"
#include "Tovo/Types.h"

namespace Tovo::NboAttrLog {

class StreamAdapter;

/// Ids of messages with the entity number 0.
namespace Control {
constexpr AttributeId greeting = 1;
constexpr AttributeId goodBye = 2;
constexpr AttributeId askMounts = 3;
constexpr AttributeId mounts = 4;
constexpr AttributeId mount = 5;
constexpr AttributeId mounted = 6;
constexpr AttributeId refused = 7;
constexpr AttributeId create = 8;
constexpr AttributeId turn = 9;
constexpr AttributeId ping = 10;
constexpr AttributeId pong = 11;
constexpr AttributeId taken = 12;
constexpr AttributeId unmounted = 13;
constexpr AttributeId readOnly = 14;
constexpr AttributeId askStatus = 15;
constexpr AttributeId status = 16;
constexpr AttributeId time = 20;  ///< in recordings only
constexpr AttributeId createWith = 21;
constexpr AttributeId remove = 22;
constexpr AttributeId followMounts = 23;
constexpr AttributeId someMounts = 24;
constexpr AttributeId root = 25;
}  // namespace Control

inline size_t textSize(std::string_view text) { return 4 + text.size(); }
void writeText(Out& out, std::string_view text);

/// What somebody else wrote, for a line of text that people read: at most 4096 bytes of it.
std::string printable(std::string_view text);

/// Whether this process knows an entity type of that name.
bool isKnownEntityType(std::string_view name) noexcept;

/// Something of a type that is not known here, under a path that a peer or a recording names.
class UnknownTypeException : public StreamException {
 public:
  UnknownTypeException(std::string_view who, const std::string& path, std::string_view type);
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

/// The protocol's version and the module records of this process.
size_t greetingSize();
void writeGreeting(Out& out);
/// Throws StreamException when `who` ("the peer") speaks something else, or has another record of a
/// module that is here, with all differences.
void readGreeting(In& in, std::string_view who);

/// An entity that is mirrored from now on.
struct Mounted {
  /// Throws StreamException; UnknownTypeException for a type that is not known here.
  Mounted(In& in, std::string_view who);

  /// Makes it a guest's root in the directory. An entity under the path that is of the same type
  /// and constructor values is gone on with; another one is unmounted. Throws StreamException, and
  /// PathException when nothing can be mounted there.
  Pelmo::Ptr<Entity> bind(StreamAdapter& adapter, Directory& directory) const;
  /// Whether the entity could have been this one.
  bool match(const Entity& entity) const {
    return entity.tovoType() == type && values.match(entity);
  }

  std::string path;
  bool readOnly;
  TovoTypeBase type;
  uint32_t number;  ///< as the sender says it
  ConstructorValues values;
};

}  // namespace Tovo::NboAttrLog
