#include "Mirror/control/Greeting.h"

#include <set>
#include <string>

#include "Mirror/control/PeerText.h"
#include "Mirror/wire/Ending.h"
#include "Tovo/Module.h"

namespace Tovo::NboAttrLog {

namespace {

// How a module with that hash at somebody else differs from the one here; empty when it does not.
std::string differenceOf(std::string_view who, std::string_view name, std::string_view hash) {
  for (const TovoModule* module : tovoModules()) {
    if (moduleName(*module) != name || moduleHash(*module) == hash) continue;
    return "module " + peerText(name) + " is " + peerText(hash) + " at " + std::string(who) +
           " and " + std::string(moduleHash(*module)) + " here";
  }
  return {};
}

}  // namespace

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
  std::string differences;
  std::set<std::string> named;
  for (uint16_t left = in.nextU16(); left > 0; --left) {
    const std::string name = Control::Text::read(in);
    const std::string hash = Control::Text::read(in);
    if (!named.insert(name).second) {
      throw StreamException(std::string(who) + " names the module " + peerText(name) + " twice");
    }
    const std::string difference = differenceOf(who, name, hash);
    differences += differences.empty() || difference.empty() ? "" : "; ";
    differences += difference;
  }
  in.expectEnd();
  if (!differences.empty()) throw EndingException(Ending::difference, differences);
}

}  // namespace Tovo::NboAttrLog
