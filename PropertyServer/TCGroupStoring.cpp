// SPDX-License-Identifier: MIT
// Cuts what a group of mails leaves into slices.
#include "PropertyServer/TCGroupStoring.h"

#include <algorithm>
#include <set>
#include <utility>

#include "PropertyServer/TCCommitQueue.h"

namespace Property {

TCGroupStoring::TCGroupStoring(TCPropertyDatabase& Database, TCTakenMails& Taken,
                               TCMails const& Mails, TCValues const& Values,
                               std::vector<TSHistoryEntry const*> History,
                               TSHistoryLimits const& Limits)
    : m_Taken(Taken),
      m_Mails(Mails),
      m_History(std::move(History)),
      m_Limits(Limits),
      m_Transaction(Database) {
  m_Values.reserve(Values.size());
  for (auto const& [Place, Value] : Values) {
    m_Values.push_back(Value);
  }
  for (TSTakenMail const& Mail : Mails) {
    if (Mail.HasSender()) {
      m_Senders[Mail.Mail.Sender] = Mail.Mail.Number;
      m_Outcomes[Mail.Mail.Sender] = &Mail.Outcome;
    }
    m_LastTransaction = std::max(m_LastTransaction, Mail.Outcome.Transaction);
  }
}

bool TCGroupStoring::Store(std::size_t Records) {
  m_Transaction.NoteHistory(TakeSlice(m_History, m_NextEntry, Records), m_Limits, CurrentTime());
  m_Transaction.Put(TakeSlice(m_Values, m_NextValue, Records));
  if (m_NextValue < m_Values.size() || m_NextEntry < m_History.size()) {
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

template <class T>
std::vector<T> TCGroupStoring::TakeSlice(std::vector<T> const& All, std::size_t& Next,
                                         std::size_t Count) {
  auto const Begin = All.begin() + static_cast<std::ptrdiff_t>(Next);
  Next += std::min(Count, All.size() - Next);
  return std::vector<T>(Begin, All.begin() + static_cast<std::ptrdiff_t>(Next));
}

}  // namespace Property
