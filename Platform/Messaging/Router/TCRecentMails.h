// SPDX-License-Identifier: MIT
// The last published mails, kept for subscribers that come late or have fallen behind.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvService.h"

/// One mail as it was published.
struct TSPublishedMail {
  /// Its name; null for what is no mail, but a place before which all is outdated.
  std::shared_ptr<std::string const> Mailbox;
  std::uint64_t Sequence;
  TCNorvSender Origin;   ///< whose mail it is; without an identity it is the service's own
  std::uint64_t Number;  ///< of that mail
  bool Restoring;        ///< only for its origin, which it brings up to date
  TSNorvMailContent Content;

  bool IsMail() const { return Mailbox != nullptr; }
};

/// Bounded in number and in the size of the records. Belongs to the router's thread.
class TCRecentMails {
 public:
  void Add(std::shared_ptr<TSPublishedMail const> Mail);
  void Clear();

  /// Whether every mail after `Sequence`, up to `Last`, is still here.
  bool ReachBackTo(std::uint64_t Sequence, std::uint64_t Last) const;

  /// Hands the mails after `Sequence` to `Take`, oldest first, until it returns false.
  template <class TTake>
  void ForEachAfter(std::uint64_t Sequence, TTake const& Take) const {
    auto const IsLater = [](std::uint64_t Than, auto const& Mail) { return Than < Mail->Sequence; };
    auto Next = std::upper_bound(m_Mails.begin(), m_Mails.end(), Sequence, IsLater);
    while (Next != m_Mails.end() && Take(**Next)) {
      ++Next;
    }
  }

 private:
  std::deque<std::shared_ptr<TSPublishedMail const>> m_Mails;
  std::size_t m_Bytes = 0;
};
