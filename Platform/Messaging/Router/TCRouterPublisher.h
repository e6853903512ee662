// SPDX-License-Identifier: MIT
// Brings published mails to those that have subscribed.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvLoopWork.h"
#include "Platform/Messaging/Router/TCRecentMails.h"
#include "Platform/Messaging/Router/TCRouterForwarding.h"
#include "Platform/Messaging/Router/TCRouterPeers.h"
#include "Platform/Messaging/Router/TCRouterWork.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/Wire/Frame.h"

/// Numbers what is published, keeps the last of it, and sends every subscriber what it has not had:
/// at the end of the turn of the loop, what was published in it together, or, for one that does not
/// keep up, when it has read what waits for it. Whatever fails for one subscriber makes it fall
/// behind and concerns nobody else. Belongs to the router's thread.
class TCRouterPublisher {
 public:
  /// The owners, who say what a subscriber may have, and the innermost work that is under way,
  /// belong to the router and outlive it.
  TCRouterPublisher(TCNorvEventLoop& Loop, TCRouterPeers& Peers, TCMailboxOwners const& Owners,
                    TCRouterWork*& Innermost);

  /// The last mail that was published.
  Wire::TSPosition const& get_Position() const { return m_Position; }

  /// A peer asks for the mails of a class after a place. Throws TCException when it may not.
  void Subscribe(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                 Wire::TSPosition const& Known);
  /// Throws, with nothing published, only for lack of memory.
  void Publish(TSPublishedMail Published);
  /// The subscribers are told now of what was published.
  void Tell();
  /// The service need not be sent the mails of `Sender` up to `Number` again.
  void Acknowledge(std::string const& Mailbox, TSNorvSenderKey const& Sender, std::uint64_t Number);

  /// The subscribers that `IsConcerned` names get everything, one after the other; with
  /// `WhenReturning`, those that are away do when they return.
  void BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned,
                     bool WhenReturning);
  void BringUpToDate(TSNorvSenderKey const& Sender);

 private:
  using TCMails = std::vector<std::shared_ptr<TSPublishedMail const>>;

  void CatchUp(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
               TSRouterSubscription& Subscription, Wire::TSPosition Known);
  bool HasToHaveAll(TSNorvSenderKey const& Subscriber, std::uint64_t Since) const;
  void CatchUpByServices(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                         TSRouterSubscription& Subscription);
  void KeepForReturning(TSNorvSenderKey const& Sender);
  void Tell(TCRouterPeer& Peer);
  void OnBehind(TCRouterPeer const& Peer);
  void OnProgress();
  void ResumeInTurn(TCRouterPeer& Peer, std::uint64_t End);
  void Resume(TCRouterPeer& Peer);

  TCRouterPeers& m_Peers;
  TCMailboxOwners const& m_Owners;
  TCRouterWork*& m_Innermost;
  Wire::TSPosition m_Position;
  TCRouterForwarding m_Forwarding;
  TCRecentMails m_Recent;
  TCMails m_Untold;           // the last of them, of which the subscribers are still to be told
  TCMails m_Told;             // while they are being told of these
  TCNorvLoopWork m_Telling;   // after the turn
  TCNorvLoopWork m_Progress;  // while a peer is behind
  TCNorvLoopWork m_NextTurn;  // for those that the present turn had no time for
  TCNorvLoopTimer m_ProgressTimer;  // while one is behind whose reading nothing waits for
};
