// SPDX-License-Identifier: MIT
// Cuts what a group of mails leaves into slices.
#include "PropertyServer/TCGroupStoring.h"

#include <algorithm>
#include <set>
#include <utility>

#include "PropertyServer/TCCommitQueue.h"

namespace Property {

TCGroupStoring::TCGroupStoring(TCPropertyDatabase& Database, TCTakenMails& Taken,
                               TCMails const& Mails, std::optional<TSHistoryLimits> const& Limits)
    : m_Taken(Taken), m_Mails(Mails), m_Limits(Limits), m_Transaction(Database) {
  for (TSTakenMail const& Mail : Mails) {
    if (!Mail.Refused) {
      AddChanges(Mail);
    }
    if (Mail.HasSender()) {
      m_Senders[Mail.Mail.Sender] = Mail.Mail.Number;
      m_Outcomes[Mail.Mail.Sender] = &Mail.Outcome;
    }
    m_LastTransaction = std::max(m_LastTransaction, Mail.Outcome.Transaction);
  }
}

// The first ones may have no entries, where all of them are more than are kept.
void TCGroupStoring::AddChanges(TSTakenMail const& Mail) {
  std::size_t const Without = Mail.Changes.size() - Mail.History.size();
  for (std::size_t Index = 0; Index < Mail.Changes.size(); ++Index) {
    TSHistoryEntry const* const Entry = Index < Without ? nullptr : &Mail.History[Index - Without];
    m_Changes.push_back({&Mail.Changes[Index], &Mail.Origin, Entry});
  }
}

bool TCGroupStoring::Store(std::size_t Records) {
  StoreChanges(Records);
  if (m_Next < m_Changes.size()) {
    return false;
  }
  for (TSTakenMail const& Mail : m_Mails) {
    if (Mail.Effects) {
      StoreEffects(*Mail.Effects);
    }
  }
  m_Transaction.CountTransaction(m_LastTransaction);
  m_Taken.Remember(m_Transaction, m_Senders, m_Outcomes);
  StoreRefusals();
  m_Transaction.Commit();
  m_Taken.OnStored(m_Senders);
  return true;
}

// In the order of the mails: one may settle what another before it has left pending.
void TCGroupStoring::StoreEffects(TSControlEffects const& Effects) {
  if (Effects.Settles != 0) {
    m_Transaction.SettlePending(Effects.Settles);
  }
  if (Effects.Pending) {
    m_Transaction.AddPending(*Effects.Pending);
    m_Transaction.AddFormer(Effects.Pending->Transaction, Effects.Former);
  }
}

void TCGroupStoring::StoreRefusals() {
  std::set<TSNorvSenderKey> Refused;
  for (TSTakenMail const& Mail : m_Mails) {
    if (Mail.HasSender() && Mail.Outcome.Refusal) {
      m_Transaction.NoteRefusal(Mail.Mail.Sender, Mail.get_Refusal());
      Refused.insert(Mail.Mail.Sender);
    }
  }
  for (TSNorvSenderKey const& Sender : Refused) {
    m_Transaction.ForgetOldRefusals(Sender);
  }
}

void TCGroupStoring::StoreChanges(std::size_t Records) {
  auto const Begin = m_Changes.begin() + static_cast<std::ptrdiff_t>(m_Next);
  m_Next += std::min(Records, m_Changes.size() - m_Next);
  auto const End = m_Changes.begin() + static_cast<std::ptrdiff_t>(m_Next);
  if (m_Limits) {
    m_Transaction.Store({Begin, End}, *m_Limits, CurrentTime());
    return;
  }
  std::vector<TSValueToStore> Values;
  for (auto Change = Begin; Change != End; ++Change) {
    Values.push_back({Change->Record, Change->Origin});
  }
  m_Transaction.Put(Values);
}

}  // namespace Property
