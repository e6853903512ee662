// SPDX-License-Identifier: MIT
// The owner of a mailbox.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TSNorvSenderKey.h"
#include "Platform/PlatformExport.h"
#include "Platform/Utility/TCMACAddress.h"

/// Who sent a mail: what tells it from all others, and what the system says of the process at the
/// other end of the connection.
struct TSNorvMailSender : TSNorvSenderKey {
  TSNorvSenderKey const& get_Key() const { return *this; }

  gid_t Group = 0;
  std::vector<gid_t> Groups;  ///< its further groups
  pid_t Process = 0;
  std::string ProcessName;
  TCMACAddress Device;  ///< the device that the process says it acts for
};

/// Who has sent a mail. All mails of a connection share it, and so may who keeps them; without one
/// it is nobody.
class PROPERTY_PLATFORM_EXPORT TCNorvSender {
 public:
  TCNorvSender();
  TCNorvSender(TSNorvMailSender Sender);
  TCNorvSender(std::shared_ptr<TSNorvMailSender const> Sender) : m_Sender(std::move(Sender)) {}

  operator TSNorvMailSender const&() const { return *m_Sender; }
  TSNorvMailSender const* operator->() const { return m_Sender.get(); }

 private:
  std::shared_ptr<TSNorvMailSender const> m_Sender;
};

/// A mail as a service receives it.
struct TSNorvReceivedMail {
  TCNorvSender Sender;
  std::uint64_t Number = 0;  ///< of this sender's mails to this mailbox, from 1 without gaps
  TSNorvMailContent Content;
};

/// Owns one mailbox of a router: takes its mails, answers its requests, publishes to the
/// subscribers of mail classes. Mails that arrived before an owner appeared are kept for it.
///
/// Lives on the router's thread: the hooks are called there, and the operations are called there
/// (see TCNorvMailRouter::Execute), construction and destruction excepted. A subclass calls Open()
/// when it is complete, and Close() first in its destructor.
class PROPERTY_PLATFORM_EXPORT TCNorvService {
 public:
  /// Throws TCException when the name of the mailbox is empty or has more than 255 bytes.
  TCNorvService(TCNorvMailRouter& Router, std::string const& Mailbox);
  TCNorvService(TCNorvService const&) = delete;
  TCNorvService& operator=(TCNorvService const&) = delete;
  virtual ~TCNorvService();

  /// Begins to own the mailbox. Throws TCException when it has an owner.
  void Open();
  void Close();

  /// Tells the sender of `Mail` that this mail and all before it need not be kept any longer.
  void Acknowledge(TSNorvReceivedMail const& Mail);

  /// Publishes to every subscriber of the mail's class, with the next sequence number, as what has
  /// become of `Origin`: its sender holds that already. What has no sender the service publishes by
  /// itself. A mail is published before it is acknowledged. Throws, with nothing published, only
  /// for lack of memory.
  void Publish(TSNorvMailContent const& Content, TSNorvReceivedMail const& Origin);

  /// Sends `Content` to the sender of `Refused` in place of what it tried to change, as a published
  /// mail that nobody else gets.
  void Restore(TSNorvReceivedMail const& Refused, TSNorvMailContent const& Content);

  /// The place of the last mail published in this epoch, or of what stands after it.
  std::uint64_t get_Sequence() const;

  /// The last mail of `Sender` that has come into effect: answers and what brings a subscriber up
  /// to date include it. 0, as here: they say nothing of that.
  virtual std::uint64_t get_LastTaken(TSNorvSenderKey const& Sender) const;

 protected:
  /// A mail sent without waiting. Acknowledged by Acknowledge(), now or later. A TCException from
  /// here refuses the mail. Any other exception says that it can not be taken now: the connection
  /// is ended, and the sender will send the mail again.
  virtual void OnMail(TSNorvReceivedMail const& Mail) = 0;
  /// Whether who sends mails has to wait a moment before the next one is read, because what was
  /// taken has not been dealt with. False here.
  virtual bool IsBusy() const;
  /// A request; fills `Answer`, or returns false or throws to refuse it.
  virtual bool OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                         TSNorvMailContent& Answer) = 0;
  /// A mail that is malformed, or that OnMail has thrown for; has been logged, its content may be
  /// empty. Acknowledges it here: sent again it would be refused again. A service that defers
  /// acknowledgements overrides this, because they count for all earlier mails of the sender too.
  /// An exception from here has the mail sent again.
  virtual void OnRefused(TSNorvReceivedMail const& Mail);
  /// `Sender` subscribes to a class and has missed more published mails than are kept. Fills
  /// `Content` with what brings it up to date, which reaches it before anything newer; false, as
  /// here, when there is nothing to send.
  virtual bool OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                         TSNorvMailContent& Content);
  /// What `Subscriber` gets of a published mail: its records, as here, others, or null for nothing.
  virtual std::shared_ptr<TCNorvMailBody const> OnForward(TSNorvMailSender const& Subscriber,
                                                          TSNorvMailContent const& Content);

 private:
  friend class TCRouterForwarding;
  friend class TCRouterMailboxes;
  friend class TCRouterPublisher;

  TCNorvMailRouter& m_Router;
  std::shared_ptr<std::string const> const m_Mailbox;
  bool m_Open = false;
};
