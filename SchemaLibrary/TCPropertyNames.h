// SPDX-License-Identifier: MIT
// What people call properties: numbers, names, paths, and beginnings of these.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// A node and how deep it lies: 0 for a container.
struct TSPropertyNode {
  TCBasicPropertyID const* Node = nullptr;
  int Depth = 0;
};

/// What `Node` lies in; null for a node at the top.
TCBasicPropertyID const* ParentOf(TCBasicPropertyID const& Node);

/// What was meant by a text, or why that cannot be told.
struct TSNamedProperty {
  TCPropertyID const* Field = nullptr;  ///< null when there is an error
  Accessories::TCRecordID Link;         ///< of "Field[7]"; null when none was given
  bool HasLink = false;
  bool IsUnknown = false;  ///< nothing in the schema is called so, nor anything like it
  std::string Error;       ///< what to tell the user; fit for a terminal
};

/// The names of a completed schema, as it was at construction. Refers to its nodes.
///
/// A path is the names of a field and of what it lies in, from the container on, with "/" between
/// them. A text means the field with that number; else that path; else a path that ends with it;
/// else one whose last parts begin with its parts ("Dev/Net/Host", "DisplayB"); else, with capital
/// and small letters alike, the last three again. The first of these rules that a field fits
/// decides; that several fit it is an error. "[7]" behind it names a record.
///
/// Unchanging; may be used by several threads.
class TCPropertyNames {
 public:
  TCPropertyNames();
  TCPropertyNames(TCPropertyNames const&) = delete;
  TCPropertyNames& operator=(TCPropertyNames const&) = delete;

  /// Never throws for what was typed, whatever it is.
  TSNamedProperty Resolve(std::string const& Typed) const;

  /// Not for a terminal as it is: names are the schema's.
  std::string const& Path(TCBasicPropertyID const& Node) const;
  /// In the order of the tree: containers by number, what lies in them by its order. What has no
  /// parent that exists comes like a container.
  std::vector<TCPropertyID const*> const& get_Fields() const { return m_Fields; }
  /// Containers, groups and fields in the same order; no choices.
  std::vector<TSPropertyNode> const& get_Nodes() const { return m_Nodes; }

 private:
  using TFields = std::vector<TCPropertyID const*>;

  class TCTree;

  void AddTree(TCTree const& Tree, TCBasicPropertyID const& Root);
  void Add(TSPropertyNode const& Place);
  TFields FindByName(std::string_view Name) const;
  std::string Listed(TFields const& Fields) const;
  std::string Ambiguous(std::string_view Name, TFields const& Found) const;
  void SetNoSuchName(TSNamedProperty& Result, std::string_view Name) const;
  std::string NodeContent(TCBasicPropertyID const& Node) const;
  std::vector<std::string> Similar(std::string_view Name) const;

  std::vector<TSPropertyNode> m_Nodes;
  std::vector<TCPropertyID const*> m_Fields;
  std::map<TCBasicPropertyID const*, std::string> m_Paths;
  std::vector<std::string_view>
      m_FieldPaths;  // those of m_Fields, which every name is compared with
};

}  // namespace Property
