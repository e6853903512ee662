// SPDX-License-Identifier: MIT
// Loads the schema when somebody asks for it.
#include "PropertyTool/TCSchemaRoom.h"

#include <cstdio>

#include "Platform/Utility/PrintableText.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {

void TCSchemaRoom::Load() {
  if (m_Libraries != nullptr) {
    return;
  }
  m_Libraries = std::make_unique<TCSchemaLibraries>(m_Paths);
  m_Libraries->Load(m_AskVerdicts());
  for (TSSchemaLibrary const& Library : m_Libraries->get_Libraries()) {
    if (!Library.Loaded) {
      std::string const Line =
          "property: left out schema library " + Library.File + ": " + Library.Reason;
      std::fputs((PrintableText(Line) + "\n").c_str(), stderr);
    }
  }
  m_Names = std::make_unique<TCPropertyNames>();
}

bool TCSchemaRoom::IsThere() {
  Load();
  return m_Libraries->HasSchema();
}

TCPropertyNames const& TCSchemaRoom::Names() {
  Load();
  return *m_Names;
}

TCValueRules& TCSchemaRoom::Rules() {
  Load();
  return m_Rules;
}

std::vector<TSSchemaLibrary> const& TCSchemaRoom::Libraries() {
  Load();
  return m_Libraries->get_Libraries();
}

TCPropertyID const* TCSchemaRoom::FindField(int Number) {
  std::string Reason;
  return IsThere() ? TCValueRules::FindField(Number, Reason) : nullptr;
}

std::string TCSchemaRoom::NameOf(int Number) {
  TCPropertyID const* const Field = FindField(Number);
  return Field != nullptr ? Names().Path(*Field) : std::to_string(Number);
}

void TCSchemaRoom::Require() {
  if (!IsThere()) {
    throw TCToolFailure(TEExit::eRefused,
                        "no schema library is loaded; name files or folders with --schema or "
                        "PROPERTY_SCHEMA");
  }
}

}  // namespace Property
