// SPDX-License-Identifier: MIT
// The way of published mails to one subscriber after the other.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "Platform/Messaging/Router/TCPublishedRun.h"
#include "Platform/Messaging/Router/TCRecentMails.h"
#include "Platform/Messaging/Router/TCRouterPeer.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/Wire/Frame.h"

/// The owners of a router's mailboxes, by name.
using TCMailboxOwners = std::map<std::string, TCNorvService*, std::less<>>;

/// Sends a subscriber its mails in order, those that follow one another in one frame. Whatever
/// fails makes it fall behind. Belongs to the router's thread.
class TCRouterForwarding {
 public:
  /// `OnBehind` hears of a peer of which a subscription has fallen behind. All must outlive it.
  TCRouterForwarding(TCMailboxOwners const& Owners, Wire::TSPosition const& Position,
                     std::function<void(TCRouterPeer const&)> OnBehind)
      : m_Owners(Owners), m_Position(Position), m_OnBehind(std::move(OnBehind)) {}

  /// The next mail of a subscription that is not behind. Goes out with Finish(), or earlier. The
  /// mail stays until Forget().
  void Forward(TCRouterPeer& Peer, TSRouterSubscription& Subscription, TSPublishedMail const& Mail);
  /// The same for a mail of the peer itself, which is told of it only.
  void KeepOwn(TCRouterPeer& Peer, TSRouterSubscription& Subscription, TSPublishedMail const& Mail);
  /// What was forwarded to the peer goes out.
  void Finish(TCRouterPeer& Peer);
  /// The mails are no longer there.
  void Forget() { m_Run.Forget(); }

  /// Tells the peer of its own mails that were kept back.
  void TellOfOwn(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                 TSRouterSubscription& Subscription);
  /// The peer does not read what it is sent.
  void FallBehind(TCRouterPeer& Peer, TSRouterSubscription& Subscription);

 private:
  void AddToRun(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                TSPublishedMail const& Mail);
  template <class TFunction>
  void DoOrFallBehind(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                      TFunction const& Function);
  void ServeLater(TCRouterPeer& Peer, TSRouterSubscription& Subscription);

  TCMailboxOwners const& m_Owners;
  Wire::TSPosition const& m_Position;
  std::function<void(TCRouterPeer const&)> const m_OnBehind;
  TCPublishedRun m_Run;  // for one peer at a time
};
