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
/// What a union stores; no member ends so.
inline constexpr const char* held = "held_";
/// The function that tells how many bytes a value takes in the log.
inline constexpr const char* attrLogSize = "attrLogSize";
/// A query of a value that hashes to its own number may be called that: it is the hash.
inline constexpr TakenName hash = {"hash", "is the hash of the value"};
}  // namespace ValueNames

/// Functions that stand beside an enumeration. Types begin with a capital letter, so none has
/// these.
namespace EnumerationNames {
inline constexpr const char* stringValue = "stringValue";
inline constexpr const char* sequenceToValue = "sequenceToValue";
}  // namespace EnumerationNames

/// What a module's tables are called within their class. What belongs to one type begins with its
/// name and an underscore.
namespace TableNames {
inline constexpr const char* attributeKind = "Kind";
inline constexpr const char* typeDescriptor = "Type";
inline constexpr const char* attributeNames = "attributeNames";
inline constexpr const char* attributes = "attributes";
inline constexpr const char* details = "details";
inline constexpr const char* entries = "entries";
inline constexpr const char* references = "references";
inline constexpr const char* typeNames = "typeNames";
inline constexpr const char* types = "types";
inline constexpr const char* hooks = "hooks";        ///< of an entity
inline constexpr const char* literals = "literals";  ///< of an enumeration
inline constexpr const char* runs = "runs";          ///< of an entity
/// Beside the class, in an unnamed namespace.
inline constexpr const char* registration = "registration";
}  // namespace TableNames

/// Types of C++ that generated code writes without a qualification.
std::vector<std::string> cppTypes();
/// The namespaces that generated code refers to.
inline constexpr const char* runtimeNamespaces[] = {"Frame", "Morsa",     "Pelmo",
                                                    "Tovo",  "TovoPelmo", "std"};
/// What the tables, which stand outside all namespaces, call types of the runtime.
inline constexpr const char* tableTypes[] = {TableNames::attributeKind, TableNames::typeDescriptor};
/// Classes that the FlowOut of each entity has by its bases.
inline constexpr const char* flowTypes[] = {"CollectionFlow", "Dirty", "Observer"};

/// What a name that is derived from a declared one is for. How each is spelled stands in the table
/// of ClassNames.cpp, and nowhere else.
enum class Derived {
  // of members
  keyFunktor,    ///< "MstiHwKeyFunktor"
  setter,        ///< "maxAgeIs"
  increment,     ///< "mcheckVerInc"
  push,          ///< "vlanPush"
  pop,           ///< "vlanPop"
  popAll,        ///< "vlanPopAll"
  elementTag,    ///< "VE_Vlan"
  eraser,        ///< "disabledVlanDel"
  clearer,       ///< "disabledVlanDelAll"
  contains,      ///< "disabledVlanContains"
  node,          ///< "HN_DisabledVlan"
  storage,       ///< "maxAge_"
  rangeMessage,  ///< "maxAgeRange"
  // of entities
  creator,  ///< "HwIs"
  factory,  ///< "hwFactory"
  // of enumerations
  instance,  ///< "PortStateInstance"
  // of modules
  tables,  ///< "StpHwTables"
};

std::string nameOf(const Member& member, Derived what);
std::string nameOf(const Type& type, Derived what);
std::string nameOf(const Module& module, Derived what);
/// Whether a name is written like those that are derived for this.
bool looksLike(const std::string& name, Derived what);

std::string recordName(const Module& module);            ///< "_StpHw_..._tovoModule"
std::string headerName(const Module& module);            ///< "StpHw.h"
std::string descriptionName(const std::string& module);  ///< "StpHw.tdl"
std::string sourceName(const Module& module);            ///< "StpHw.cpp"
/// "Stp::Hw::mstiHw": a name within a type or a namespace; the name itself within none.
std::string within(const std::string& scope, const std::string& name);
std::string within(const Type& scope, const std::string& name);

/// "Config" to "config" and "maxAge" to "MaxAge".
std::string lowered(const std::string& name);
std::string capital(const std::string& name);
/// What an element of a collection is known by: "name", or its key member.
std::string keyName(const Member* keyMember);
/// A name for a variable that none of the parameters of a collection's elements has.
std::string besideParameters(const Member& member, const std::string& name);

/// A type as written in a namespace: without the qualification that it shares.
std::string writtenName(const Type& type, const std::string& nameSpace);

/// Whether numbers may be refused: by a range, or by the width of a value that is one number.
bool hasRangeMessage(const Member& member);

/// All that a member occupies in its class, its own name first.
std::vector<std::string> memberNames(const Member& member);

}  // namespace tdc
