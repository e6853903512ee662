// SPDX-License-Identifier: MIT
// What the server knows of the schema.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "PropertyServer/TSPropertyRecord.h"
#include "SchemaLibrary/TCPropertyNames.h"
#include "SchemaLibrary/TCSchemaLibraries.h"
#include "SchemaLibrary/TCValueRules.h"

namespace Property {

/// The schema libraries of the server and the rules that follow from them. Without a library
/// nothing is known and everything is allowed. While one of them can not be loaded, its properties
/// are unknown for that reason alone: then a number that no library names is allowed, too.
///
/// Used by one thread.
class TCServerSchema {
 public:
  /// Paths as TCSchemaLibraries takes them.
  explicit TCServerSchema(std::vector<std::string> Paths,
                          TSSchemaTrialSettings Settings = TSSchemaTrialSettings());

  /// Loads what there is, or what is new since the last time. What is left out is logged.
  void Load();

  /// Why the schema does not allow the change; empty when it does. A value may always be removed.
  std::string ReasonAgainst(TSPropertyRecord const& Change, bool Secret);
  /// Whether no process could use a value of that number: a container or a choice has it, or
  /// nothing at all.
  bool IsOrphan(int Number) const;
  /// What is there in the place of a field.
  static std::string ReasonOf(int Number);

  /// Whether any library is loaded.
  bool HasSchema() const { return m_Known; }
  // Once it is loaded:
  TSNamedProperty Resolve(std::string const& Typed) const { return m_Names->Resolve(Typed); }
  std::string const& PathOf(TCPropertyID const& Field) const { return m_Names->Path(Field); }

  std::vector<TSSchemaLibrary> const& get_Libraries() const { return m_Libraries.get_Libraries(); }

 private:
  TCSchemaLibraries m_Libraries;
  std::unique_ptr<TCPropertyNames const> m_Names;  // once it is loaded
  TCValueRules m_Rules;
  bool m_Known = false;     // there is a library
  bool m_Complete = false;  // and none is missing
};

}  // namespace Property
