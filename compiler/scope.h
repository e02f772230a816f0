// The variables of one subroutine: names, types and ids. Ids are dense from 33 in the order of the
// declarations, which is the order in which the engine makes the holders.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "compiler/source.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

struct Variable {
  int id = 0;
  TypeCode type = TypeCode::kNone;
  Position at;
  bool used = false;
};

class Scope {
 public:
  int NextId() const { return kFirstHolderId + static_cast<int>(types_.size()); }
  bool HasId(std::int64_t id) const { return id >= kFirstHolderId && id < NextId(); }
  TypeCode TypeOf(int id) const { return types_[static_cast<std::size_t>(id - kFirstHolderId)]; }

  // The next id, without a name.
  int Add(TypeCode type) {
    types_.push_back(type);
    return NextId() - 1;
  }
  // False if the name is taken.
  bool AddNamed(const std::string& name, TypeCode type, Position at) {
    const bool fresh = named_.try_emplace(name, Variable{NextId(), type, at, false}).second;
    if (fresh) Add(type);
    return fresh;
  }
  Variable* Find(const std::string& name) {
    const auto found = named_.find(name);
    return found == named_.end() ? nullptr : &found->second;
  }
  const std::map<std::string, Variable>& Named() const { return named_; }

 private:
  std::map<std::string, Variable> named_;
  std::vector<TypeCode> types_;
};

}  // namespace tmx::compiler
