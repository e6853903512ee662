// SPDX-License-Identifier: MIT
// One process at the other end of a router's connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCNorvLoopTimer.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/TCNorvWatchedFile.h"
#include "Platform/Messaging/TCRouterUser.h"

class TCRouterCore;

/// The bus connection, who is there, what it subscribes to, and how far it has been served.
/// Belongs to the router's thread.
class TCRouterConnection {
 public:
  /// Mails of the peer itself that were published one after the other, as far as it is concerned.
  struct TSOwnMails {
    std::string Path;            // of the mailbox that they went to
    std::uint64_t Sequence = 0;  // of the last
    std::uint64_t Number = 0;
  };

  /// One subscribed mail class.
  struct TSSubscription {
    std::uint64_t Sent = 0;         // the last mail that went out, or need not
    bool Behind = false;            // later ones go out when the peer has read what waits for it
    bool Whole = false;             // it then needs everything, not what it has missed
    std::optional<TSOwnMails> Own;  // after `Sent`; the peer has not been told of them
  };

  TCRouterConnection(TCRouterCore& Core, TCBusHandle Bus);
  TCRouterConnection(TCRouterConnection const&) = delete;
  TCRouterConnection& operator=(TCRouterConnection const&) = delete;
  ~TCRouterConnection();

  sd_bus* get_Bus() const { return m_Bus.get(); }
  bool IsGreeted() const { return !m_Sender.Identity.empty(); }
  /// Whether the peer has gone. Then the connection has to be detached before sd_bus_process is
  /// called again: that closes the socket, and its number may at once be another file's.
  bool HasEnded() const { return sd_bus_is_open(m_Bus.get()) <= 0; }
  std::string Describe() const;

  /// Has `OnReady` called whenever the peer can be read from or written to as it is needed, until
  /// Detach(). Throws as TCNorvWatchedFile does.
  void Attach(TCNorvEventLoop& Loop, TCNorvWatchedFile::TCOnReady OnReady);
  void Detach() { m_Ready.reset(); }
  /// To be called whenever the bus connection may have sent: what it could not write makes it wait
  /// for something else, and one that has ended is dropped soon.
  void Watch();

  /// Sends, or queues, a message with so many bytes of records. False when it can not.
  bool Send(sd_bus_message* Message, std::size_t Bytes);
  /// Whether so much waits for the peer to read it that nothing may be added.
  bool IsCongested();
  /// Whether nothing waits for the peer any more.
  bool IsDrained() const { return CountQueued() == 0; }

  /// Acknowledges now, or, while published mails that came earlier are held back, with
  /// SendAcknowledgements().
  void Acknowledge(std::string const& Path, std::uint64_t Number);
  void SendAcknowledgements();
  bool IsBehind() const;

  /// Counts mails. When there were more than `Limit` in the present second, answers for how many
  /// microseconds the peer has to pause in order to keep to the limit, else 0.
  std::uint64_t CountMails(std::size_t Mails, unsigned Limit, std::uint64_t Now);

  TCRouterCore& m_Core;
  bool m_HoldsMore = false;   // the bus library may have read more than has been processed
  TSNorvMailSender m_Sender;  // complete once greeted
  std::string m_Refusal;      // of the greeting, because there is no room; ends the connection
  MailWire::TEForm m_Form = MailWire::TEForm::eTyped;  // that it understands
  std::map<std::string, TSSubscription> m_Subscriptions;
  std::list<TCRouterConnection>::iterator m_Place;
  bool m_IsDropped = false;  // freed when the loop turns again
  std::optional<TCNorvLoopTimer> m_GreetingLimit;
  std::optional<TCNorvLoopTimer>
      m_Pause;  // while the peer sends or asks too much and is not read from
  std::optional<TCNorvWatchedFile>
      m_HangUp;  // while it is not read from because a mailbox has no owner
  std::shared_ptr<TCRouterUser> m_User;

 private:
  std::uint64_t CountQueued() const;

  TCBusHandle m_Bus;
  std::optional<TCNorvWatchedFile> m_Ready;
  std::size_t m_QueuedBytes = 0;                            // at least what waits for the peer
  std::map<std::string, std::uint64_t> m_Acknowledgements;  // held back, by mailbox path
  std::uint64_t m_SecondBegan = 0;                          // microseconds
  std::uint64_t m_MailsInSecond = 0;
};
