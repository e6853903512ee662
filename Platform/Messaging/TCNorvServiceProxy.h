// SPDX-License-Identifier: MIT
// A process's end of the mail router: sends mails, waits for answers, receives published mails.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvChange.h"
#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Messaging/TCNorvMailInHand.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceName.h"
#include "Platform/PlatformExport.h"

class TCNorvBasicMailFunctions;
class TCNorvProxyConnection;

/// How waiting for a mail has ended.
enum TENorvWait : int {
  eNorvAcknowledged,
  eNorvTimePassed,
  eNorvClosed,  ///< the proxy is closing: nobody will know
};

/// Connects to the mail router at the address in MAILROUTER_ADDRESS (default
/// "unix:path=/run/mailrouter/socket") when it is first used, and again whenever the connection is
/// lost. That it takes longer than 2 seconds, or that the router refuses, is logged once, and again
/// when the router is reached.
///
/// Threads: every operation may be called from every thread, also from inside the hooks. One
/// thread of the proxy's own calls OnMailRouterState and OnProxySignal; what they throw is logged
/// and goes no further. A thread that waits in SendAndWait serves the connection itself while the
/// proxy's thread is inside a hook, so a hook may wait for any thread that waits for an answer.
///
/// Order: mails and requests reach a mailbox in the order of sending, published mails are delivered
/// in the order of publishing. A mail is kept until its service has acknowledged it and is sent
/// again after the connection was lost; the service drops repeats.
///
/// A subclass that overrides a hook calls Close() first in its destructor. Proxies that live at
/// process exit are closed then, after up to 2 seconds for their last acknowledgements.
///
/// Forks: a proxy stays with the process that made it. In a forked child it sends and receives
/// nothing, its connection is closed, and the operations that would send or wait throw TCException;
/// at exit it is not waited for. The child may make proxies of its own.
class PROPERTY_PLATFORM_EXPORT TCNorvServiceProxy {
 public:
  /// Throws TCException when no router can ever be at the address, or no descriptor is free.
  TCNorvServiceProxy();
  TCNorvServiceProxy(TCNorvServiceProxy const&) = delete;
  TCNorvServiceProxy& operator=(TCNorvServiceProxy const&) = delete;
  virtual ~TCNorvServiceProxy();

  /// Waits up to `Timeout` milliseconds (-1: without limit) until the router is reachable.
  /// False when the time has passed or the proxy is closing.
  bool WaitForMailRouter(int Timeout = -1);

  /// Why the router refuses this process, or else the service refused the calling thread's last
  /// request, if this proxy sent it; empty when neither did. Who sends a request logs it or tells
  /// its user: the proxy logs only that the router refuses.
  std::string get_Refusal() const;
  /// Why the router could not be reached when that was last tried; empty once it is reached.
  std::string get_Failure() const;

  /// Installs what OnServiceMail hands mails to; not owned, must outlive the proxy's use of it.
  /// Called before the first mail can arrive.
  void SetMailParse(TCNorvBasicMailFunctions& Functions);

  /// Subscribes to the published mails of a class, from the last mail that this proxy knows of;
  /// stays subscribed across reconnections. Signals mails that wait. The other arguments: reserved.
  void ConnectService(TCNorvMailClassID const& MailClass, int Reserved, bool ReservedFlag);

  /// Sends `Mail` and waits up to `Timeout` milliseconds (-1: without limit, also for the router
  /// and for an owner of the mailbox to appear) for the answer, which replaces the content of
  /// `Mail`. A request whose service ends before answering is sent again.
  /// False, `Mail` unchanged, when the service refuses, the time passes or the proxy is closing.
  bool SendAndWait(TCNorvServiceName const& Service, TCNorvMessage& Mail, int const& Timeout);

  /// While it lives, the answer that SendAndWait puts into `Mail` is being put to use: mails that
  /// were published after the answer was made are delivered when this ends, so that the answer does
  /// not undo them. For one request; ended by the thread that made it, before the proxy; `Mail` is
  /// handed to nobody afterwards.
  class PROPERTY_PLATFORM_EXPORT TCAnswerInHand {
   public:
    TCAnswerInHand(TCNorvServiceProxy& Proxy, TCNorvMessage& Mail);
    TCAnswerInHand(TCAnswerInHand const&) = delete;
    TCAnswerInHand& operator=(TCAnswerInHand const&) = delete;
    ~TCAnswerInHand();

   private:
    std::shared_ptr<TCNorvProxyConnection> const m_Connection;
    TCNorvMailInHand m_InHand;
  };

  /// Queues a mail for `Service` and returns at once; used by TCNorvMessage::Send. False when the
  /// proxy is closed. Throws TCException, nothing queued, when 64 MiB of mail are unacknowledged.
  bool Post(TCNorvServiceName const& Service, TSNorvMailContent const& Content) const;

  /// Waits until every mail sent so far has been acknowledged; false when the time has passed. A
  /// service acknowledges what it has refused, too.
  bool WaitForAcknowledgements(int Timeout = -1);

  /// Waits up to `Timeout` milliseconds (-1: without limit) until no published mail that has
  /// arrived waits to be delivered, and the hook that was handed the last one has returned. False
  /// when the time has passed, the proxy is closing, or the calling thread is itself what would be
  /// waited for: inside a hook, or with an answer in hand.
  bool WaitForDelivery(int Timeout = -1);

  /// The number of the last mail to `Service`; 0 for none. Throws TCException in a forked child.
  std::uint64_t get_LastSent(TCNorvServiceName const& Service) const;
  /// Waits up to `Timeout` milliseconds (-1: without limit) until the mail with that number, and
  /// all before it, have been acknowledged, and all has arrived that the service has sent of them
  /// before to a subscription of SubscribeFirst(). Throws TCException in a forked child.
  TENorvWait WaitForMail(TCNorvServiceName const& Service, std::uint64_t Number, int Timeout) const;

  /// Delivers up to `Limit` waiting mails (-1: all of them) through OnServiceMail, in order. With
  /// `Wait` it first waits for one. Called from OnProxySignal. What OnServiceMail throws passes
  /// through; the mails behind it stay and are signalled again.
  void ProcessProxy(int Limit, bool Wait);

  /// Ends the connection and the proxy's thread; waiting calls return false. May be repeated, and
  /// called from inside a hook, which then is the last one. A hook that has not returned after 2
  /// seconds is not waited for.
  void Close();

  /// The router became reachable or was lost. Does nothing here.
  virtual void OnMailRouterState(bool Reachable);
  /// One received mail; hands it to the installed functions.
  virtual void OnServiceMail(TCNorvMessage const& Mail);
  /// Mails wait. Processes all of them here.
  virtual void OnProxySignal();

 protected:
  // A process that keeps a state which mails of `MailClass` change, its own as well as others',
  // ends where the service ends when it uses these, each under the lock that guards the state.

  /// A change is being made. `Keys` names what is changed, as TCNorvMailInHand::IsOvertaken() will
  /// be asked for it. The change is on its way until the published copy of the mail comes with
  /// which it is sent; that is delivered only if the state may hold something else.
  TCNorvChange MarkChange(TCNorvServiceName const& Service, TCNorvMailClassID const& MailClass,
                          std::vector<std::string> Keys);
  /// As Post(), of a mail that tells of `Change`. Returns the mail's number; 0 when the proxy is
  /// closed.
  std::uint64_t PostChange(TCNorvServiceName const& Service, TSNorvMailContent const& Content,
                           TCNorvChange Change) const;
  /// The keys of which changes are on their way that the state has not lost.
  std::vector<std::string> KeysOnWay(TCNorvServiceName const& Service,
                                     TCNorvMailClassID const& MailClass) const;
  /// The state has lost changes of `Keys` that are on their way. An answer in hand is not overtaken
  /// by them, and their published copies are delivered.
  void GiveUpChanges(TCNorvServiceName const& Service, TCNorvMailClassID const& MailClass,
                     std::vector<std::string> const& Keys);
  /// The service has decided to make a change that mail `Number` has asked for, of another class,
  /// and that the state does not have yet; it was acknowledged. Returns which of `Keys` are to be
  /// changed now, before the lock is left: not those that a later change of this process has
  /// overtaken, nor any when the published copy has been delivered already. The copy is sent to
  /// this process as what brings it up to date with that mail.
  std::vector<std::string> TakeDecided(TCNorvServiceName const& Service,
                                       TCNorvMailClassID const& MailClass, std::uint64_t Number,
                                       std::vector<std::string> const& Keys);

  /// Hears of a published mail as soon as it arrives, before an acknowledgement that was sent later
  /// counts, and of the last mail that was acknowledged by then. Called by any thread, with the
  /// proxy locked: it only takes note, and calls nothing of the proxy.
  using TCWitness = std::function<void(TSNorvMailContent const&, std::uint64_t Acknowledged)>;
  /// Subscribes to one class before anything is sent, from what the service remembers for this
  /// proxy on. Its mails are delivered as any others, too.
  void SubscribeFirst(TCNorvMailClassID const& MailClass, TCWitness Witness);

 private:
  friend class TCNorvProxyConnection;

  TCNorvBasicMailFunctions* m_MailFunctions = nullptr;
  // Shared with the proxy's thread, which may come back from a hook after the proxy has gone.
  std::shared_ptr<TCNorvProxyConnection> m_Connection;
};
