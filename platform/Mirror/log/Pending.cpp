#include "Mirror/log/Pending.h"

namespace Tovo::NboAttrLog {

bool Pending::has(const Numbers::Carried& carried, AttributeId attribute) const noexcept {
  if (!carried.flow || carried.host) return false;
  if (carried.flow->tovoIsDirty(attribute)) return true;
  return !underWay_.empty() && underWay_.contains({carried.entity, attribute, {}});
}

bool Pending::has(const Numbers::Carried& carried, AttributeId collection,
                  const std::string& key) const {
  if (!carried.flow || carried.host) return false;
  const CollectionFlow* const flow = carried.flow->collection(collection);
  if (flow && flow->hasDirtyKey(key)) return true;
  if (underWay_.contains({carried.entity, collection, key})) return true;
  // While a transfer of this side is not at its end and that is not taken, the host does not know
  // what it will mention.
  const bool isWhole = !carried.flow->tovoHasSynced(collection) ||
                       underWay_.contains({carried.entity, collection, {}});
  return isWhole && !(flow && flow->isMentioned(key));
}

void Pending::sent(FlowOut& flow, AttributeId attribute, const std::string& key, uint64_t message) {
  if (flow.detached()) return;
  if (!key.empty() && !flow.tovoHasSynced(attribute)) {
    flow.needCollection(attribute).mentionedIs(key);
  }
  underWay_.add({&flow.entity(), attribute, key}, message);
}

}  // namespace Tovo::NboAttrLog
