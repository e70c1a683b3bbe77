// The C++ names of a class: those that it has whatever its description says, and those that are
// derived from the names of types and members. The emitter prints them, and what would clash with
// them is refused.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tdc/model/Model.h"

namespace tdc {

/// A name that is not free, and what it is: "takes a reference".
struct TakenName {
  const char* name;
  const char* meaning;
};

/// What every entity has, by its bases in the runtime or by what is generated.
namespace EntityNames {
inline constexpr TakenName flowOut = {"FlowOut", "is what one connection still has to be told"};
inline constexpr TakenName tovoStaticType = {"tovoStaticType", "is the type of the class"};
inline constexpr TakenName tovoType = {"tovoType", "is the object's exact type"};
inline constexpr TakenName typeData = {"typeData", "is the record of the module"};
inline constexpr TakenName all[] = {
    flowOut,
    tovoStaticType,
    tovoType,
    typeData,
    {"Entity", "is the base of all entities"},
    {"Node", "is the base of what is counted"},
    {"ObservableNode", "is the base of what is observed"},
    {"die", "destroys the entity"},
    {"flagLive", "marks an entity that may be used"},
    {"handleParent", "tells the entity who owns it"},
    {"lastUserGone", "is called when the last reference is dropped"},
    {"nameString", "is the text of the name"},
    {"nodeFlag", "reads a mark of the entity"},
    {"nodeFlagSet", "sets a mark of the entity"},
    {"nodePublisher", "is where setters publish"},
    {"parent", "is the owner of the entity"},
    {"publisher", "is where observers attach"},
    {"references", "counts the references"},
    {"release", "drops a reference"},
    {"retain", "takes a reference"},
};
/// Of the entities that have no key instead.
inline constexpr TakenName name = {"name", "is the name of the entity"};
}  // namespace EntityNames

/// What every value has, or is known by to the runtime where it has it.
namespace ValueNames {
inline constexpr TakenName appendText = {"appendText", "prints the value"};
inline constexpr TakenName attrLogBytes = {"attrLogBytes", "is the size of the log form"};
inline constexpr TakenName decode = {"decode", "reads the log form"};
inline constexpr TakenName decodeFrom = {"decodeFrom", "reads the log form"};
inline constexpr TakenName encode = {"encode", "writes the log form"};
inline constexpr TakenName heldIndex = {"heldIndex", "tells which alternative a union holds"};
inline constexpr TakenName isEq = {"isEq", "compares two values"};
inline constexpr TakenName reflectedLess = {"reflectedLess", "is the order by reflection"};
inline constexpr TakenName tovoStaticType = {"tovoStaticType", "is the type of the class"};
inline constexpr TakenName all[] = {
    appendText,
    attrLogBytes,
    decode,
    decodeFrom,
    encode,
    heldIndex,
    isEq,
    reflectedLess,
    tovoStaticType,
    {"putText", "prints the value into a buffer"},
    {"textMost", "is the room that printing takes"},
};
/// A query of a value that hashes to its own number may be called that: it is the hash.
inline constexpr TakenName hash = {"hash", "is the hash of the value"};
}  // namespace ValueNames

/// Types of C++ that generated code writes without a qualification.
inline constexpr const char* cppTypes[] = {"size_t", "uint16_t", "uint32_t", "uint8_t"};
/// The namespaces that generated code refers to.
inline constexpr const char* runtimeNamespaces[] = {"Frame", "Morsa",     "Pelmo",
                                                    "Tovo",  "TovoPelmo", "std"};
/// What the tables, which stand outside all namespaces, call types of the runtime.
inline constexpr const char* tableTypes[] = {"Kind", "Type"};
/// Classes that the FlowOut of each entity has by its bases.
inline constexpr const char* flowTypes[] = {"CollectionFlow", "Dirty", "Observer"};

/// "maxAge" to "MaxAge" and "Config" to "config".
std::string capital(const std::string& name);
std::string lowered(const std::string& name);

std::string setterName(const Member& member);       ///< "maxAgeIs"
std::string incrementName(const Member& member);    ///< "mcheckVerInc"
std::string eraserName(const Member& member);       ///< "disabledVlanDel"
std::string clearerName(const Member& member);      ///< "disabledVlanDelAll"
std::string containsName(const Member& member);     ///< "disabledVlanContains"
std::string pushName(const Member& member);         ///< "vlanPush"
std::string popName(const Member& member);          ///< "vlanPop"
std::string popAllName(const Member& member);       ///< "vlanPopAll"
std::string rangeName(const Member& member);        ///< "maxAgeRange"
std::string storageName(const Member& member);      ///< "maxAge_"
std::string nodeName(const Member& member);         ///< "HN_DisabledVlan"
std::string keyFunktorName(const Member& member);   ///< "MstiHwKeyFunktor"
std::string elementTag(const Member& member);       ///< "VE_Vlan"
std::string factoryName(const Type& entity);        ///< "hwFactory"
std::string creatorName(const Type& entity);        ///< "HwIs"
std::string instanceName(const Type& enumeration);  ///< "PortStateInstance"
std::string tablesName(const Module& module);       ///< "StpHwTables"

/// A type as written in a namespace: without the qualification that it shares.
std::string writtenName(const Type& type, const std::string& nameSpace);

/// Whether numbers may be refused: by a range, or by the width of a value that is one number.
bool hasRangeMessage(const Member& member);

/// All that a member occupies in its class, its own name first.
std::vector<std::string> memberNames(const Member& member);

}  // namespace tdc
