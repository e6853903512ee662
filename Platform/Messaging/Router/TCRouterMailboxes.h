// SPDX-License-Identifier: MIT
// Hands mails and requests to the owners of mailboxes, or keeps them until there is one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "Platform/Messaging/Router/TCRouterPeers.h"
#include "Platform/Messaging/Router/TCRouterPublisher.h"
#include "Platform/Messaging/Router/TCRouterThrottle.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/Wire/Frame.h"
#include "Platform/Utility/TCException.h"

/// The way of a mail to its mailbox. Belongs to the router's thread.
class TCRouterMailboxes {
 public:
  /// A frame for a mailbox that has no owner yet.
  struct TSParked {
    TCRouterPeer* Peer;
    std::string Bytes;
    TCFileDescriptor File;
  };

  /// All must outlive it.
  TCRouterMailboxes(TCRouterPeers& Peers, TCRouterThrottle& Throttle, TCRouterPublisher& Publisher,
                    TCMailboxOwners const& Owners, TSNorvRouterLimits const& Limits);

  /// Takes a frame of mails, or a request, of a peer that has greeted. Throws TCException when it
  /// is refused, and std::bad_alloc when a request can not be answered for lack of memory; mails
  /// that can not be taken end the connection. `Bytes` and `File` are what the frame was read from.
  void Take(TCRouterPeer& Peer, Wire::TCFrameView const& Frame, std::string_view Bytes, int File,
            std::uint64_t Now);

  /// The oldest frame that waits for an owner of the mailbox; none when none does.
  std::optional<TSParked> TakeParked(std::string const& Mailbox);
  /// Nothing of the peer waits any more.
  void Forget(TCRouterPeer const& Peer);

 private:
  struct TSParkedCount {
    std::size_t Frames = 0;
    std::size_t Bytes = 0;
    std::size_t Files = 0;
  };

  TSParkedCount CountParked(TCRouterPeer const* Peer) const;
  void Park(TCRouterPeer& Peer, std::string const& Mailbox, std::string_view Bytes, int File);
  TCNorvMailClassID const& ClassOf(Wire::TCFrameView const& Frame);
  void TakeMails(TCNorvService& Owner, TCRouterPeer& Peer, Wire::TCFrameView Frame,
                 std::uint64_t Now);
  void TakeMail(TCNorvService& Owner, TCRouterPeer& Peer, TSNorvReceivedMail& Mail,
                Wire::TCFrameView const& Frame, Wire::TSFrameMail const& Packed);
  static void Refuse(TCNorvService& Owner, TCRouterPeer& Peer, TSNorvReceivedMail const& Mail,
                     TCException const& Reason);
  void TakeRequest(TCNorvService& Owner, TCRouterPeer& Peer, Wire::TCFrameView const& Frame);
  Wire::TSMailLimit get_MailLimit() const { return {Wire::kMailLimit, m_Limits.RecordsPerMail}; }

  TCRouterPeers& m_Peers;
  TCRouterThrottle& m_Throttle;
  TCRouterPublisher& m_Publisher;
  TCMailboxOwners const& m_Owners;
  TSNorvRouterLimits const& m_Limits;
  TCNorvMailClassID m_LastClass{"", 0};                  // the next mail is of it, too
  std::map<std::string, std::deque<TSParked>> m_Parked;  // by mailbox
};
