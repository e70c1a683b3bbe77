#include "Mirror/control/Mounted.h"

#include "Mirror/control/Messages.h"
#include "Mirror/control/PeerText.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Module.h"

namespace Tovo::NboAttrLog {

bool isKnownEntityType(std::string_view name) noexcept {
  const TovoTypeBase type = typeByName(name);
  return type && entityHooks(type);
}

UnknownTypeException::UnknownTypeException(std::string_view who, const std::string& path,
                                           std::string_view type)
    : StreamException(std::string(who) + "'s " + peerText(path) + " is a " + peerText(type) +
                      ", which is not known here"),
      path_(path) {}

namespace {

TovoTypeBase readType(In& in, std::string_view who, const std::string& path) {
  const std::string name = Control::Text::read(in);
  if (!isKnownEntityType(name)) throw UnknownTypeException(who, path, name);
  return typeByName(name);
}

}  // namespace

Mounted::Mounted(In& in, std::string_view who)
    : path(Control::Text::read(in)),
      readOnly(Control::Flag::read(in)),
      type(readType(in, who, path)),
      number(Control::U32::read(in)),
      values(type, in) {
  in.expectEnd();
}

Pelmo::Ptr<Entity> Mounted::bind(StreamAdapter& adapter, Directory& directory) const {
  Numbers& numbers = adapter.numbers();
  const uint32_t id = numbers.received(number);
  if ((id & ofPeer) == 0 || numbers.entity(id)) {
    throw StreamException("the number " + std::to_string(id) + " for a mounted entity");
  }
  adapter.carrier().checkNumber(id, type);
  Pelmo::Ptr<Entity> entity(directory.mounted(path));
  if (entity && !match(*entity)) {
    keepForTurn(entity.get());
    directory.unmount(path);
    entity = nullptr;
  }
  if (entity && numbers.of(*entity).id != 0) {
    throw StreamException(peerText(path) + " is mounted, which is mirrored from here");
  }
  if (!entity) {
    entity = entityHooks(type)->create(values.arguments());
    directory.mount(path, entity);
  }
  adapter.carrier().carry(*entity, {MountSide::guest, readOnly}, FlowOut::startNowhere, id);
  return entity;
}

}  // namespace Tovo::NboAttrLog
