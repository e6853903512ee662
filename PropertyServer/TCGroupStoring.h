// SPDX-License-Identifier: MIT
// Stores a group of mails in one transaction that may take several turns of the event loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
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

  /// Without `Limits` the history notes nothing. Throws TCException when no transaction can begin.
  TCGroupStoring(TCPropertyDatabase& Database, TCTakenMails& Taken, TCMails const& Mails,
                 std::optional<TSHistoryLimits> const& Limits);

  /// Stores at most `Records` changes. Returns true when all is on the disk. Throws TCException
  /// when that fails; then nothing is stored.
  bool Store(std::size_t Records);

 private:
  void AddChanges(TSTakenMail const& Mail);
  void StoreChanges(std::size_t Records);
  void StoreEffects(TSControlEffects const& Effects);
  void StoreRefusals();

  TCTakenMails& m_Taken;
  TCMails const& m_Mails;
  std::vector<TSChangeToStore> m_Changes;
  TCTakenMails::TCNumbers m_Senders;
  TCTakenMails::TCOutcomes m_Outcomes;
  std::uint64_t m_LastTransaction = 0;
  std::optional<TSHistoryLimits> const m_Limits;
  std::size_t m_Next = 0;
  TCPropertyDatabase::TCTransaction m_Transaction;
};

}  // namespace Property
