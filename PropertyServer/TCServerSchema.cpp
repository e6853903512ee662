// SPDX-License-Identifier: MIT
// Asks the schema about numbers and values.
#include "PropertyServer/TCServerSchema.h"

#include <algorithm>
#include <utility>

#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/SystemLog.h"

namespace Property {

TCServerSchema::TCServerSchema(std::vector<std::string> Paths, TSSchemaTrialSettings Settings)
    : m_Libraries(std::move(Paths), std::move(Settings)) {}

void TCServerSchema::Load() {
  m_Libraries.Load();
  auto const& Libraries = m_Libraries.get_Libraries();
  for (TSSchemaLibrary const& Library : Libraries) {
    if (!Library.Loaded) {
      SyslogWarning(
          "The schema library %s is left out: %s; until it is loaded, every number that no other "
          "library names is taken",
          Library.File.c_str(), Library.Reason.c_str());
    }
  }
  m_Known = m_Libraries.HasSchema();
  m_Complete = std::all_of(Libraries.begin(), Libraries.end(),
                           [](TSSchemaLibrary const& Library) { return Library.Loaded; });
  m_Names = std::make_unique<TCPropertyNames const>();
}

std::string TCServerSchema::ReasonAgainst(TSPropertyRecord const& Change, bool Secret) {
  if (!m_Known || Change.Removed) {
    return std::string();
  }
  std::string Reason;
  TCPropertyID const* const Field = TCValueRules::FindField(Change.Number, Reason);
  if (Field == nullptr) {
    return IsOrphan(Change.Number) ? Reason : std::string();
  }
  Reason = m_Rules.ReasonAgainst(*Field, Change.Data, Secret);
  return Reason.empty() ? Reason : m_Names->Path(*Field) + ": " + Reason;
}

bool TCServerSchema::IsOrphan(int Number) const {
  std::string Reason;
  return m_Known && TCValueRules::FindField(Number, Reason) == nullptr &&
         (m_Complete || TCBasicPropertyID::Find(Number) != nullptr);
}

std::string TCServerSchema::ReasonOf(int Number) {
  std::string Reason;
  TCValueRules::FindField(Number, Reason);
  return Reason;
}

}  // namespace Property
