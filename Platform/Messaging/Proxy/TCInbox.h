// SPDX-License-Identifier: MIT
// What has arrived for a proxy's owner, and which thread may hand it over.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Messaging/Proxy/TCOwnChanges.h"
#include "Platform/Messaging/TCNorvMessage.h"

/// Published mails in their order, and acknowledgements among them. One is handed over at a time,
/// and none while a thread puts an answer to use. Waits for nothing. Synchronised by its owner.
class TCInbox {
 public:
  enum class TEKind { eOwn, eForeign, eCatchUp, eAcknowledged };

  /// A published mail, or that a mail has been acknowledged.
  struct TSReceived {
    TEKind Kind;
    TCOwnChanges::TCStream Stream;
    std::uint64_t Number;  ///< of the own mail that it is or includes
    TSNorvMailContent Content;
    bool Whole = false;  ///< it stands for all before it
  };

  void Add(TSReceived Received) { m_Received.push_back(std::move(Received)); }
  bool IsEmpty() const { return m_Received.empty(); }
  void Clear() { m_Received.clear(); }
  /// Whether what arrives now has nothing before it that is still to be put to use.
  bool IsNextInLine() const { return IsEmpty() && !IsDelivering() && m_AnswersInHand.empty(); }
  /// Whether nothing waits and nothing is being handed over.
  bool IsDelivered() const { return IsEmpty() && !IsDelivering(); }

  /// Whether the calling thread may not hand anything over: another does, or it has an answer in
  /// hand. It leaves what waits to those, who hear of it from EndDelivery().
  bool TurnsAway();
  /// Whether there is something to do for a thread that waits to hand over: with `Wait` for a mail,
  /// without it for its turn.
  bool IsReady(bool Wait) const {
    return IsDelivering() || (m_AnswersInHand.empty() && (!Wait || !IsEmpty()));
  }
  bool IsDelivering() const { return m_DeliveredBy != std::thread::id(); }
  bool IsDeliveredBy(std::thread::id Thread) const { return m_DeliveredBy == Thread; }
  TSReceived Take();
  void BeginDelivery(TSReceived const& Received, std::thread::id By);
  /// True when others have been turned away meanwhile and something waits.
  bool EndDelivery();
  /// Whether what is being handed over brings the process up to date with that one mail.
  bool IsDelivering(TCOwnChanges::TCStream Stream, std::uint64_t Number) const {
    return IsDelivering() && m_InDelivery == std::make_pair(Stream, Number);
  }

  /// A thread puts an answer to use, until Release().
  void HoldFor(std::thread::id Thread) { m_AnswersInHand.push_back(Thread); }
  void Release(std::thread::id Thread);
  bool IsHeldBy(std::thread::id Thread) const;

 private:
  std::deque<TSReceived> m_Received;
  std::thread::id m_DeliveredBy;  // of none: nothing is being handed over
  bool m_HasTurnedAway = false;
  std::optional<std::pair<TCOwnChanges::TCStream, std::uint64_t>> m_InDelivery;
  std::vector<std::thread::id> m_AnswersInHand;
};
