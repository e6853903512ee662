// SPDX-License-Identifier: MIT
// Keeps out of the history what properties had as texts while they were secret, or before.
#pragma once

#include <chrono>
#include <set>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TSPropertyRange.h"

namespace Property {

/// Knows which texts the history may have: none of a property that is secret, whenever it was set,
/// and none that was set while its property was secret. Where it is not sure, it says no.
///
/// Used by one thread. Refers to the database, which must outlive it.
class TCSecretTexts {
 public:
  /// After a failure to erase texts it is tried again with a change, so much later at the earliest.
  explicit TCSecretTexts(TCPropertyDatabase& Database,
                         std::chrono::seconds Pause = std::chrono::minutes(1));

  /// These properties, sorted and disjoint, are secret from now on: their texts go from the history
  /// and from the database's files. No transaction is under way. Throws TCException, with
  /// everything as it was but perhaps less history, when the texts can not go from the history.
  /// That they can not be erased from the files yet is logged.
  void SetSecrets(std::vector<TSPropertyRange> const& Secrets);

  /// Whether the history may have the text that the value changed by `Change` has until then.
  bool MayShow(TSPropertyRecord const& Change) const;
  /// The values have been set as the latest; nothing is thrown.
  void OnSet(std::vector<TSPropertyRecord> const& Changes);

  /// Erases what could not be erased before, when it is time. No transaction is under way.
  void EraseAgain();

 private:
  bool Hide(std::vector<TSPropertyRange> const& Secrets);
  void Erase();

  TCPropertyDatabase& m_Database;
  std::chrono::seconds const m_Pause;
  std::vector<TSPropertyRange> m_Secrets;
  std::vector<TSPropertyRange> m_OnceSecret;  // m_Secrets included
  std::set<TCPropertyPlace> m_Shown;          // of m_OnceSecret: set while it was not secret
  bool m_EraseLater = false;
  std::chrono::steady_clock::time_point m_NextErasing{};
};

}  // namespace Property
