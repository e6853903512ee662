// SPDX-License-Identifier: MIT
// What the command knows of the schema.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "SchemaLibrary/TCPropertyNames.h"
#include "SchemaLibrary/TCSchemaLibraries.h"
#include "SchemaLibrary/TCValueRules.h"

namespace Property {

/// Schema libraries, loaded when they are first needed, with the names and rules that they give.
/// What is wrong with one is told on the standard error, once. Not synchronised.
class TCSchemaRoom {
 public:
  /// Answers what another process has found out about libraries; nothing where none is there.
  using TCAskVerdicts = std::function<std::vector<TSSchemaLibrary>()>;

  /// `Paths` as TCSchemaLibraries takes them.
  TCSchemaRoom(std::vector<std::string> Paths, TCAskVerdicts AskVerdicts)
      : m_Paths(std::move(Paths)), m_AskVerdicts(std::move(AskVerdicts)) {}

  /// Whether the user has said which libraries are meant. Loads none.
  bool AreNamed() const { return TCSchemaLibraries::AreNamed(m_Paths); }
  /// Whether any library is loaded.
  bool IsThere();
  TCPropertyNames const& Names();
  TCValueRules& Rules();
  std::vector<TSSchemaLibrary> const& Libraries();

  /// Null where no schema is loaded, or none that knows the number.
  TCPropertyID const* FindField(int Number);
  /// The path of the property, else its number. Not for a terminal as it is.
  std::string NameOf(int Number);
  /// Throws TCToolFailure, which says what to do, where no library is loaded.
  void Require();

 private:
  void Load();

  std::vector<std::string> const m_Paths;
  TCAskVerdicts const m_AskVerdicts;
  std::unique_ptr<TCSchemaLibraries> m_Libraries;
  std::unique_ptr<TCPropertyNames> m_Names;
  TCValueRules m_Rules;
};

}  // namespace Property
