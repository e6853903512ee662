// SPDX-License-Identifier: MIT
// Keeps what static objects declare about a node that another file constructs after them.
#pragma once

#include <algorithm>
#include <list>
#include <map>
#include <utility>

namespace Property {

class TCBasicPropertyID;

/// Declarations by the node that they wait for, each node's in the order in which they were made.
/// Guarded by the schema's lock. Refers to the nodes and does not touch them.
template <class T>
class TCEarlyDeclarations {
 public:
  using TDeclared = std::list<T>;

  void Add(TCBasicPropertyID const* Node, T Declaration) {
    TDeclared Entry(1, std::move(Declaration));
    TDeclared& Declared = m_Declared[Node];
    Declared.splice(Declared.end(), Entry);
  }
  /// What waits for `Node`, null for nothing.
  TDeclared const* Find(TCBasicPropertyID const* Node) const {
    auto const Itr = m_Declared.find(Node);
    return Itr != m_Declared.end() ? &Itr->second : nullptr;
  }
  void Drop(TCBasicPropertyID const* Node) { m_Declared.erase(Node); }

  /// The first one that waits for any node and is `Wanted`, null for none.
  template <class TWanted>
  T const* FindFirst(TWanted const& Wanted) const {
    for (auto const& [Node, Declared] : m_Declared) {
      auto const Itr = std::find_if(Declared.begin(), Declared.end(), Wanted);
      if (Itr != Declared.end()) {
        return &*Itr;
      }
    }
    return nullptr;
  }
  T const* First() const {
    return FindFirst([](T const&) { return true; });
  }

 private:
  std::map<TCBasicPropertyID const*, TDeclared> m_Declared;
};

}  // namespace Property
