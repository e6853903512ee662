// SPDX-License-Identifier: MIT
// Keeps the last mails of the senders that are about, and asks the database for all others.
#include "PropertyServer/TCTakenMails.h"

#include <algorithm>
#include <utility>

namespace Property {

// The senders that were connected to the last server are not connected again yet, so room is left
// for them.
TCTakenMails::TCTakenMails(TCPropertyDatabase& Database, TCConnected Connected)
    : m_Database(Database), m_Connected(std::move(Connected)), m_Found(m_Senders.end()) {
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  Transaction.ForgetSenders(2 * kRemembered, {});
  Transaction.Commit();
}

std::uint64_t TCTakenMails::get_Last(TSNorvSenderKey const& Sender) {
  return Find(Sender).Last;
}

bool TCTakenMails::IsWaiting(TSNorvSenderKey const& Sender) const {
  auto const Known = m_Senders.find(Sender);
  return Known != m_Senders.end() && Known->second.Last != Known->second.Stored;
}

std::uint64_t TCTakenMails::get_InEffect(TSNorvSenderKey const& Sender) const {
  auto const Known = m_Senders.find(Sender);
  return Known != m_Senders.end() ? Known->second.InEffect : m_Database.LastMail(Sender);
}

void TCTakenMails::Wait(TSNorvSenderKey const& Sender, std::uint64_t Number) {
  Find(Sender).Last = Number;
}

void TCTakenMails::TakeEffect(TSNorvSenderKey const& Sender, std::uint64_t Number) noexcept {
  if (TSNumbers* const Known = FindKnown(Sender)) {
    Known->InEffect = Number;
  }
}

void TCTakenMails::Remember(TCPropertyDatabase::TCTransaction& Transaction, TCNumbers const& Stored,
                            TCOutcomes const& Outcomes) {
  for (auto const& [Sender, Number] : Stored) {
    auto const Outcome = Outcomes.find(Sender);
    Transaction.RememberMail(Sender, Number,
                             Outcome != Outcomes.end() ? *Outcome->second : TSMailOutcome());
  }
  // A sender may come as one process after the other, under ever other names.
  m_Forgetting = m_New >= kForgetAfter || m_Database.get_AddedWriters() >= kForgetAfter;
  if (m_Forgetting) {
    Transaction.ForgetSenders(kRemembered, m_Connected());
  }
}

void TCTakenMails::OnStored(TCNumbers const& Stored) noexcept {
  m_New = m_Forgetting ? 0 : m_New;
  for (auto const& [Sender, Number] : Stored) {
    if (TSNumbers* const Known = FindKnown(Sender)) {
      m_New += Known->Stored == 0 ? 1U : 0U;
      Known->Stored = Number;
    }
  }
}

TCTakenMails::TSNumbers& TCTakenMails::Find(TSNorvSenderKey const& Sender) {
  if (TSNumbers* const Known = FindKnown(Sender)) {
    return *Known;
  }
  std::uint64_t const Number = m_Database.LastMail(Sender);
  MakeRoom();
  m_Found = m_Senders.emplace(Sender, TSNumbers{Number, Number, Number}).first;
  return m_Found->second;
}

TCTakenMails::TSNumbers* TCTakenMails::FindKnown(TSNorvSenderKey const& Sender) noexcept {
  if (m_Found == m_Senders.end() || m_Found->first != Sender) {
    m_Found = m_Senders.find(Sender);
  }
  return m_Found != m_Senders.end() ? &m_Found->second : nullptr;
}

// What is stored and in effect is in the database. When nearly all are under way, looking through
// them for each new one would take long, so that is done when there are twice as many.
void TCTakenMails::MakeRoom() {
  if (m_Senders.size() < m_MostInMemory) {
    return;
  }
  m_Found = m_Senders.end();
  for (auto Sender = m_Senders.begin(); Sender != m_Senders.end();) {
    TSNumbers const& Numbers = Sender->second;
    bool const UnderWay = Numbers.Last != Numbers.Stored || Numbers.Last != Numbers.InEffect;
    Sender = UnderWay ? std::next(Sender) : m_Senders.erase(Sender);
  }
  m_MostInMemory = std::max(kKeptInMemory, 2 * m_Senders.size());
}

}  // namespace Property
