#include "Tovo/AttrLog/Control.h"

#include <set>

#include "Tovo/AttrLog/Ending.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/AttrLog/StreamAdapter.h"
#include "Tovo/Module.h"
#include "Tovo/Printable.h"

namespace Tovo::NboAttrLog {

namespace {

constexpr uint32_t greetingMagic = 0x54414c31;  // "TAL1"
constexpr uint16_t protocolVersion = 1;

}  // namespace

void writeText(Out& out, std::string_view text) {
  out << static_cast<uint32_t>(text.size());
  out.bytes(text.data(), text.size());
}

std::string printable(std::string_view text) {
  constexpr size_t longest = 4096;
  return Tovo::printable(text.substr(0, longest));
}

bool isKnownEntityType(std::string_view name) noexcept {
  const TovoTypeBase type = typeByName(name);
  return type && entityHooks(type);
}

UnknownTypeException::UnknownTypeException(std::string_view who, const std::string& path,
                                           std::string_view type)
    : StreamException(std::string(who) + "'s " + printable(path) + " is a " + printable(type) +
                      ", which is not known here"),
      path_(path) {}

// ------------------------------------------------------------------------------------- greetings

size_t greetingSize() {
  size_t size = 4 + 2 + 2;
  for (const TovoModule* module : tovoModules()) {
    size += textSize(moduleName(*module)) + textSize(moduleHash(*module));
  }
  return size;
}

void writeGreeting(Out& out) {
  out << greetingMagic << protocolVersion << static_cast<uint16_t>(tovoModules().size());
  for (const TovoModule* module : tovoModules()) {
    writeText(out, moduleName(*module));
    writeText(out, moduleHash(*module));
  }
}

void readGreeting(In& in, std::string_view who) {
  if (in.nextU32() != greetingMagic) {
    throw StreamException(std::string(who) + " speaks no attribute log");
  }
  const uint16_t version = in.nextU16();
  if (version != protocolVersion) {
    throw EndingException(Ending::difference, std::string(who) + " speaks version " +
                                                  std::to_string(version) +
                                                  " of the protocol; this is version " +
                                                  std::to_string(protocolVersion));
  }
  const uint16_t count = in.nextU16();
  std::string differences;
  std::set<std::string> named;
  for (uint16_t i = 0; i < count; ++i) {
    const Pelmo::String name = in.nextString();
    const Pelmo::String hash = in.nextString();
    if (!named.emplace(name.view()).second) {
      throw StreamException(std::string(who) + " names the module " + printable(name) + " twice");
    }
    for (const TovoModule* module : tovoModules()) {
      if (moduleName(*module) != name.view() || moduleHash(*module) == hash.view()) continue;
      differences += differences.empty() ? "" : "; ";
      differences += "module " + printable(name) + " is " + printable(hash) + " at " +
                     std::string(who) + " and " + std::string(moduleHash(*module)) + " here";
    }
  }
  in.expectEnd();
  if (!differences.empty()) throw EndingException(Ending::difference, differences);
}

// ---------------------------------------------------------------------------------------- mounts

namespace {

TovoTypeBase readType(In& in, std::string_view who, const std::string& path) {
  const Pelmo::String name = in.nextString();
  if (!isKnownEntityType(name)) throw UnknownTypeException(who, path, name);
  return typeByName(name);
}

}  // namespace

Mounted::Mounted(In& in, std::string_view who)
    : path(in.nextString().view()),
      readOnly(in.nextbool()),
      type(readType(in, who, path)),
      number(in.nextU32()),
      values(type, in) {
  in.expectEnd();
}

Pelmo::Ptr<Entity> Mounted::bind(StreamAdapter& adapter, Directory& directory) const {
  const uint32_t id = adapter.received(number);
  if ((id & StreamAdapter::ofPeer) == 0 || adapter.entity(id)) {
    throw StreamException("the number " + std::to_string(id) + " for a mounted entity");
  }
  adapter.checkNumber(id, type);
  Pelmo::Ptr<Entity> entity(directory.mounted(path));
  if (entity && !match(*entity)) {
    StreamAdapter::keepForTurn(entity.get());
    directory.unmount(path);
    entity = nullptr;
  }
  if (entity && adapter.entityId(*entity) != 0) {
    throw StreamException(printable(path) + " is mounted, which is mirrored from here");
  }
  if (!entity) {
    entity = entityHooks(type)->create(values.arguments());
    directory.mount(path, entity);
  }
  adapter.bind(*entity, {MountSide::guest, readOnly}, FlowOut::startNowhere, id);
  return entity;
}

}  // namespace Tovo::NboAttrLog
