// What a connection has done and holds, for people who look after it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Mirror/log/FlowOut.h"
#include "Mirror/log/Mount.h"

namespace Tovo::NboAttrLog {

struct MountFigures {
  std::string path;
  MountSide side;  ///< of this end
  bool readOnly;
};

struct Figures {
  std::vector<MountFigures> mounts;
  size_t entities = 0;
  size_t flows = 0;
  FlowOut::Dirty dirty;
  size_t bytesHeld = 0;     ///< for what is dirty in collections
  size_t bytesWaiting = 0;  ///< for the descriptor
  uint64_t messagesSent = 0;
  uint64_t messagesReceived = 0;
  uint64_t unknownEntities = 0;    ///< messages for entities that are gone here
  uint64_t unknownAttributes = 0;  ///< messages with an id that the type does not have
  uint64_t unknownControls = 0;    ///< control messages that this release does not have
  uint64_t bytesSent = 0;
  uint64_t bytesReceived = 0;
  uint64_t turnsSent = 0;
  uint64_t turnsReceived = 0;
  uint64_t refused = 0;  ///< requests of the peer
};

}  // namespace Tovo::NboAttrLog
