#include "tdc/model/DefinitionOrder.h"

#include <algorithm>
#include <map>
#include <set>

namespace tdc {

namespace {

class Sorter {
 public:
  Sorter(const Module& module, Diagnostics& diagnostics)
      : module_(module), diagnostics_(diagnostics) {
    for (const Type* type : module.declarations) collect(*type);
    // A use that needs no complete type is honoured unless that would close a cycle.
    for (const Type* type : module.declarations) {
      for (const Type* other : soft_[type]) {
        if (!reaches(other, type)) hard_[type].push_back(other);
      }
    }
  }

  std::vector<const Type*> run() {
    for (const Type* type : module_.declarations) visit(type);
    return std::move(result_);
  }

 private:
  enum class State { none, open, done };

  void collect(const Type& type) {
    add(hard_[&type], &type, type.base);
    for (const Member& member : type.members) {
      bool complete = member.isStored() && member.kind != MemberKind::own &&
                      member.kind != MemberKind::reference && member.kind != MemberKind::pointer;
      // An enumeration within another class cannot be named before that class is defined.
      complete = complete || (member.type && member.type.type->kind == TypeKind::enumeration);
      add(complete ? hard_[&type] : soft_[&type], &type, member.type.type);
      add(hard_[&type], &type, member.key);
      for (const Member* parameter : member.parameters) {
        add(soft_[&type], &type, parameter->type.type);
      }
    }
  }

  void add(std::vector<const Type*>& edges, const Type* from, const Type* to) {
    if (to && to->enclosing) {
      to = to->enclosing;
      if (to == from) return;
    }
    bool known =
        !to || to->module != &module_ || std::find(edges.begin(), edges.end(), to) != edges.end();
    // A constant or a pointer of the own type needs nothing.
    if (!known && !(to == from && &edges == &soft_[from])) edges.push_back(to);
  }

  bool reaches(const Type* from, const Type* to) {
    std::set<const Type*> seen = {from};
    std::vector<const Type*> open = {from};
    while (!open.empty()) {
      const Type* at = open.back();
      open.pop_back();
      if (at == to) return true;
      for (const Type* next : hard_[at]) {
        if (seen.insert(next).second) open.push_back(next);
      }
    }
    return false;
  }

  void visit(const Type* type) {
    State& state = states_[type];
    if (state == State::done) return;
    if (state == State::open) {
      reportCycle(type);
      return;
    }
    state = State::open;
    path_.push_back(type);
    for (const Type* next : hard_[type]) visit(next);
    path_.pop_back();
    states_[type] = State::done;
    result_.push_back(type);
  }

  void reportCycle(const Type* type) {
    constexpr size_t shown = 8;
    std::string way;
    auto begin = std::find(path_.begin(), path_.end(), type);
    for (auto at = begin; at != path_.end(); ++at) {
      if (static_cast<size_t>(at - begin) == shown) {
        way += " -> ...";
        break;
      }
      way += (way.empty() ? "'" : " -> '") + (*at)->name + "'";
    }
    diagnostics_.error(type->span, "'" + type->name + "' needs itself to be complete: " + way +
                                       " -> '" + type->name +
                                       "'; a type cannot hold itself by value, nor use an "
                                       "enumeration within a type that uses it");
  }

  const Module& module_;
  Diagnostics& diagnostics_;
  std::map<const Type*, std::vector<const Type*>> hard_;
  std::map<const Type*, std::vector<const Type*>> soft_;
  std::map<const Type*, State> states_;
  std::vector<const Type*> path_;
  std::vector<const Type*> result_;
};

}  // namespace

std::vector<const Type*> definitionOrder(const Module& module, Diagnostics& diagnostics) {
  return Sorter(module, diagnostics).run();
}

}  // namespace tdc
