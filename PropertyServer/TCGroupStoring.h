// SPDX-License-Identifier: MIT
// Stores a group of mails in one transaction that may take several turns of the event loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCTakenMails.h"
#include "PropertyServer/TSTakenMail.h"

namespace Property {

/// A transaction of all that a group of mails leaves, stored a slice at a time. Until the last one
/// nothing of it is on the disk, and nothing else is stored; given up, it leaves nothing behind.
///
/// Refers to the mails, which must stay as they are, to the database and to what is known of
/// senders.
class TCGroupStoring {
 public:
  using TCMails = std::list<TSTakenMail>;
  using TCValues = std::map<TCPropertyPlace, TSValueToStore>;

  /// `Values` are those that stand when all `Mails` are stored. Throws TCException when no
  /// transaction can begin.
  TCGroupStoring(TCPropertyDatabase& Database, TCTakenMails& Taken, TCMails const& Mails,
                 TCValues const& Values, std::vector<TSHistoryEntry const*> History,
                 TSHistoryLimits const& Limits);

  /// Stores at most `Records` values and as many entries of the history. Returns true when all is
  /// on the disk. Throws TCException when that fails; then nothing is stored.
  bool Store(std::size_t Records);

 private:
  template <class T>
  static std::vector<T> TakeSlice(std::vector<T> const& All, std::size_t& Next, std::size_t Count);

  void StoreEffects(TSControlEffects const& Effects);
  void StoreRefusals();

  TCTakenMails& m_Taken;
  TCMails const& m_Mails;
  std::vector<TSValueToStore> m_Values;
  std::vector<TSHistoryEntry const*> m_History;
  TCTakenMails::TCNumbers m_Senders;
  TCTakenMails::TCOutcomes m_Outcomes;
  std::uint64_t m_LastTransaction = 0;
  TSHistoryLimits const m_Limits;
  std::size_t m_NextValue = 0;
  std::size_t m_NextEntry = 0;
  TCPropertyDatabase::TCTransaction m_Transaction;
};

}  // namespace Property
