// SPDX-License-Identifier: MIT
// Brings published mails to those that have subscribed.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "Platform/Messaging/Router/TCRecentMails.h"
#include "Platform/Messaging/Router/TCRouterPeers.h"
#include "Platform/Messaging/Router/TCRouterWork.h"
#include "Platform/Messaging/TCNorvLoopTimer.h"
#include "Platform/Messaging/TCNorvLoopWork.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/Wire/Frame.h"

/// The owners of a router's mailboxes, by name.
using TCMailboxOwners = std::map<std::string, TCNorvService*>;

/// Numbers what is published, keeps the last of it, and sends every subscriber what it has not had:
/// at once, or, for one that does not keep up, when it has read what waits for it. Whatever fails
/// for one subscriber makes it fall behind and concerns nobody else. Belongs to the router's
/// thread.
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
  /// The service need not be sent the mails of `Sender` up to `Number` again.
  void Acknowledge(std::string const& Mailbox, TSNorvSenderKey const& Sender, std::uint64_t Number);

  /// The subscribers that `IsConcerned` names get everything, one after the other; with
  /// `WhenReturning`, those that are away do when they return.
  void BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned,
                     bool WhenReturning);
  void BringUpToDate(TSNorvSenderKey const& Sender);

 private:
  // A frame that was made for one subscriber and serves the next one too, if nothing differs. It
  // owns the records that it was made of: others may come to lie where they were.
  struct TSForwarded {
    std::shared_ptr<Wire::TCFrame const> Frame;
    std::shared_ptr<TCNorvMailBody const> Body;
    std::uint64_t Previous = 0;
    Wire::TEWhose Whose = Wire::TEWhose::eAnothers;
  };

  void CatchUp(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
               TSRouterSubscription& Subscription, Wire::TSPosition Known);
  bool HasToHaveAll(TSNorvSenderKey const& Subscriber, std::uint64_t Since) const;
  void CatchUpByServices(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                         TSRouterSubscription& Subscription);
  void KeepForReturning(TSNorvSenderKey const& Sender);
  void Forward(TCRouterPeer& Peer, TSRouterSubscription& Subscription, TSPublishedMail const& Mail,
               TSForwarded& Last);
  bool TryToForward(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                    TSPublishedMail const& Mail, TSForwarded& Last);
  void KeepOwn(TCRouterPeer& Peer, TSRouterSubscription& Subscription, TSPublishedMail const& Mail);
  void TellOfOwn(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                 TSRouterSubscription& Subscription);
  void ServeLater(TCRouterPeer& Peer, TSRouterSubscription& Subscription);
  void FallBehind(TCRouterPeer& Peer, TSRouterSubscription& Subscription);
  void OnProgress();
  void ResumeInTurn(TCRouterPeer& Peer, std::uint64_t End);
  void Resume(TCRouterPeer& Peer);
  Wire::TCFrame NewFrame(TSPublishedMail const& Mail, Wire::TEWhose Whose, std::uint64_t Previous,
                         std::shared_ptr<TCNorvMailBody const> const& Body) const;

  TCRouterPeers& m_Peers;
  TCMailboxOwners const& m_Owners;
  TCRouterWork*& m_Innermost;
  Wire::TSPosition m_Position;
  TCRecentMails m_Recent;
  TCNorvLoopWork m_Progress;        // while a peer is behind
  TCNorvLoopWork m_NextTurn;        // for those that the present turn had no time for
  TCNorvLoopTimer m_ProgressTimer;  // while one is behind whose reading nothing waits for
};
