// SPDX-License-Identifier: MIT
// Keeps account of changes to be confirmed, and of their time.
#include "PropertyServer/TCPendingChanges.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "PropertyServer/TCChangeRules.h"

namespace Property {
namespace {

constexpr std::int64_t kTryAgain = 1000000;  // microseconds

}  // namespace

TCPendingChanges::TCPendingChanges(TCPropertyDatabase& Database, TCNorvEventLoop& Loop,
                                   TCOnDue OnDue)
    : m_Database(Database),
      m_OnDue(std::move(OnDue)),
      m_Timer(Loop, CLOCK_BOOTTIME, [this] { TakeBackDue(); }) {
  Load();
  Wake();
}

// What has passed since the last note is taken off for good, so that the next start goes on from
// there, whatever the clock says then.
void TCPendingChanges::Load() {
  std::vector<TSPendingChange> const Changes = m_Database.ReadPending();
  if (Changes.empty()) {
    return;
  }
  TSClockReading const Now = TSClockReading::Now();
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  for (TSPendingChange Change : Changes) {
    Change.Left = Change.LeftAt(Now);
    Change.Noted = Now;
    Transaction.NotePending(Change);
    Add(Change, m_Database.ReadFormer(Change.Transaction));
  }
  Transaction.Commit();
}

std::string TCPendingChanges::ReasonAgainst(uid_t User, int Seconds,
                                            std::vector<TSPropertyRecord> const& Changes) const {
  if (Seconds < 1 || Seconds > kMostSeconds) {
    return "a change may wait 1 to " + std::to_string(kMostSeconds) +
           " seconds for its confirmation, not " + std::to_string(Seconds);
  }
  auto const OfUser = std::count_if(m_Changes.begin(), m_Changes.end(), [User](auto const& Each) {
    return Each.second.Origin.User == User;
  });
  if (static_cast<std::size_t>(OfUser) >= kMostOfUser || m_Changes.size() >= kMost) {
    return "too many changes wait for their confirmation already, at most " +
           std::to_string(kMostOfUser) + " of a user and " + std::to_string(kMost) +
           " in all may; confirm some or undo them";
  }
  for (TSPropertyRecord const& Change : Changes) {
    if (FindOf(PlaceOf(Change)) != nullptr) {
      return Describe(PlaceOf(Change)) +
             " waits for the confirmation of an earlier change; confirm that one or undo it first";
    }
  }
  return std::string();
}

void TCPendingChanges::Add(TSPendingChange const& Change,
                           std::vector<TSPropertyRecord> const& Former) {
  for (TSPropertyRecord const& Value : Former) {
    m_Places[PlaceOf(Value)] = Change.Transaction;
  }
  m_Changes[Change.Transaction] = Change;
  m_Kept += m_KeptOf[Change.Transaction] = CountOf(Former);
  Wake();
}

void TCPendingChanges::Settle(std::uint64_t Transaction) {
  if (m_Changes.erase(Transaction) == 0) {
    return;
  }
  auto const Kept = m_KeptOf.find(Transaction);
  m_Kept -= Kept->second;
  m_KeptOf.erase(Kept);
  for (auto Place = m_Places.begin(); Place != m_Places.end();) {
    Place = Place->second == Transaction ? m_Places.erase(Place) : std::next(Place);
  }
  Wake();
}

TSPendingChange const* TCPendingChanges::Find(std::uint64_t Transaction) const {
  auto const Change = m_Changes.find(Transaction);
  return Change != m_Changes.end() ? &Change->second : nullptr;
}

TSPendingChange const* TCPendingChanges::FindOf(TCPropertyPlace const& Place) const {
  auto const Known = m_Places.find(Place);
  return Known != m_Places.end() ? Find(Known->second) : nullptr;
}

void TCPendingChanges::TakeBackDue() {
  TSClockReading const Now = TSClockReading::Now();
  std::vector<TSPendingChange> Due;
  for (auto const& [Transaction, Change] : m_Changes) {
    if (Change.LeftAt(Now) == 0) {
      Due.push_back(Change);
    }
  }
  m_TryLater = false;
  for (TSPendingChange const& Change : Due) {
    if (m_OnDue(Change)) {
      Settle(Change.Transaction);
    } else {
      m_TryLater = true;
    }
  }
  Wake();
}

void TCPendingChanges::Wake() {
  if (m_Changes.empty()) {
    m_Timer.SwitchOff();
    return;
  }
  TSClockReading const Now = TSClockReading::Now();
  std::int64_t Left = std::int64_t{kMostSeconds} * 1000000;
  for (auto const& [Transaction, Change] : m_Changes) {
    Left = std::min(Left, Change.LeftAt(Now));
  }
  Left = m_TryLater ? std::max(Left, kTryAgain) : Left;
  m_Timer.SetAt(std::chrono::microseconds(Now.Moment + Left));
}

}  // namespace Property
