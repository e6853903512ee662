// SPDX-License-Identifier: MIT
// The last mail taken of each sender: what a repeat is told by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "Platform/Messaging/TSNorvSenderKey.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

/// Knows, of each sender, the last mail that was taken, is stored and has come into effect. All of
/// it is in the database once it is stored; memory holds the senders whose mails are under way and
/// those that were asked for lately.
///
/// Senders that are connected are never forgotten. Of the others the last 10,000 are remembered,
/// as many of each user as of the others where they do not fit: that bounds what is known of
/// senders that come again after all those.
///
/// Lives on the thread of the database, to which it refers.
class TCTakenMails {
 public:
  /// Those whose mails may still come again.
  using TCConnected = std::function<std::vector<TSNorvSenderKey>()>;
  using TCNumbers = std::map<TSNorvSenderKey, std::uint64_t>;
  using TCOutcomes = std::map<TSNorvSenderKey, TSMailOutcome const*>;

  static constexpr std::size_t kRemembered = 10000;   // beside the connected ones
  static constexpr std::size_t kForgetAfter = 1000;   // new ones, or new writers
  static constexpr std::size_t kKeptInMemory = 1000;  // beside those whose mails are under way

  TCTakenMails(TCPropertyDatabase& Database, TCConnected Connected);
  TCTakenMails(TCTakenMails const&) = delete;
  TCTakenMails& operator=(TCTakenMails const&) = delete;

  /// The last mail of `Sender` that was taken; 0 for none. Throws TCException when the database can
  /// not be read.
  std::uint64_t get_Last(TSNorvSenderKey const& Sender);
  /// Whether that one is not stored yet.
  bool IsWaiting(TSNorvSenderKey const& Sender) const;
  /// The last one that is in effect. Throws as get_Last() does.
  std::uint64_t get_InEffect(TSNorvSenderKey const& Sender) const;

  /// A mail was taken and waits to be stored. Throws, with nothing changed, only for lack of memory
  /// or as get_Last() does.
  void Wait(TSNorvSenderKey const& Sender, std::uint64_t Number);
  /// One that was taken is in effect.
  void TakeEffect(TSNorvSenderKey const& Sender, std::uint64_t Number) noexcept;
  /// Has `Stored` remembered, and what they have led to, with what else `Transaction` stores; from
  /// time to time old senders are forgotten. Throws TCException as the transaction does.
  void Remember(TCPropertyDatabase::TCTransaction& Transaction, TCNumbers const& Stored,
                TCOutcomes const& Outcomes = TCOutcomes());
  /// That transaction is on the disk.
  void OnStored(TCNumbers const& Stored) noexcept;

  std::size_t get_InMemory() const { return m_Senders.size(); }

 private:
  struct TSNumbers {
    std::uint64_t Last = 0;
    std::uint64_t Stored = 0;
    std::uint64_t InEffect = 0;
  };

  TSNumbers& Find(TSNorvSenderKey const& Sender);
  TSNumbers* FindKnown(TSNorvSenderKey const& Sender) noexcept;
  void MakeRoom();

  TCPropertyDatabase& m_Database;
  TCConnected const m_Connected;
  std::map<TSNorvSenderKey, TSNumbers> m_Senders;
  std::map<TSNorvSenderKey, TSNumbers>::iterator m_Found;  // last: it is asked for again at once
  std::size_t m_MostInMemory = kKeptInMemory;
  std::size_t m_New = 0;  // since old ones were forgotten
  bool m_Forgetting = false;
};

}  // namespace Property
