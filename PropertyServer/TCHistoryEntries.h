// SPDX-License-Identifier: MIT
// Makes of changes what the history keeps of them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "PropertyServer/TCSecretTexts.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TSHistoryEntry.h"
#include "PropertyServer/TSTakenMail.h"

namespace Property {

/// Makes an entry of each change, without the texts that the history may not have.
///
/// Used by one thread. Refers to all that it is made of.
class TCHistoryEntries {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  TCHistoryEntries(TCConfiguration const& Configuration, TCSecretTexts const& SecretTexts)
      : m_Configuration(Configuration), m_SecretTexts(SecretTexts) {}

  /// Of the changes of `Taken`, each in the place of a former text, null where there is none. Of
  /// more than are ever kept only the last ones.
  std::vector<TSHistoryEntry> Of(TSTakenMail const& Taken,
                                 std::vector<std::string const*> const& Former) const;

 private:
  void PutTexts(TSHistoryEntry& Entry, TSPropertyRecord const& Change,
                std::string const* Former) const;

  TCConfiguration const& m_Configuration;
  TCSecretTexts const& m_SecretTexts;
};

}  // namespace Property
