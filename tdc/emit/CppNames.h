// The types, expressions and texts that the emitted C++ derives from a description; the names are
// in tdc/model/ClassNames.h.
#pragma once

#include <string>
#include <vector>

#include "tdc/model/ClassNames.h"
#include "tdc/model/Model.h"

namespace tdc {

/// As written in a namespace: without the qualification that it shares.
std::string typeName(const Type& type, const std::string& nameSpace);
/// What a member stores: "uint32_t", "Tovo::OptionalByte<OcStpLinkType>".
std::string cppType(const TypeUse& use, const std::string& nameSpace);
/// What a member's storage is, lists and pointers included.
std::string storageType(const Member& member, const std::string& nameSpace);
/// The same inside the member's own class.
std::string ownStorageType(const Member& member, const std::string& nameSpace);
/// By value for what fits a register, else by reference.
bool passedByValue(const TypeUse& use);
std::string parameterType(const TypeUse& use, const std::string& nameSpace);

/// The C++ expression of a default, or empty for the type's own.
std::string initialValue(const Member& member, const std::string& nameSpace);
/// A number, which ends with a "u" where C++ wants one.
std::string unsignedText(uint64_t number);
/// "maxAgeLow" or "6".
std::string boundExpression(const Bound& bound);
/// "FUNCTION<maxAgeLow, maxAgeHigh>(ARGUMENTS, maxAgeRange);", for a member with a range.
std::string rangeCall(const Member& member, const std::string& function,
                      const std::string& arguments);
/// "Stp::ConfigBase::maxAge < ... not allowed".
std::string rangeMessage(const Member& member);

std::string headerPath(const Module& module);  ///< "Stp/StpHw.h"
std::string placeName(const Module& module);   ///< "Stp/StpHw", for assertions
std::string wireForm(const Member& member);    ///< ", Tovo::Wire::u32" or empty
std::string logForm(const Member& member, const std::string& nameSpace);
/// Whether the entity has a FlowOut of its own; others use their base's.
bool ownsFlow(const Type& entity);
/// The name or key, then the parameters, as declared in a constructor.
std::vector<std::string> constructorParameters(const Type& entity, const std::string& nameSpace);
std::vector<std::string> constructorArguments(const Type& entity);
/// The index of an alternative within its union.
size_t alternativeIndex(const Member& member);
/// "Id 261, in s, 6 to 40, initially 20 (defaultMaxAge)."
std::string summary(const Member& member);
/// A member's description, its summary, and what else is to be said.
std::string documentation(const Member& member, const std::string& more = {});

}  // namespace tdc
