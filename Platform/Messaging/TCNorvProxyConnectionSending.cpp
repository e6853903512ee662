// SPDX-License-Identifier: MIT
// Sends what waits: subscriptions, mails, alone or together, and requests.
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Messaging/TCNorvProxyConnection.h"
#include "Platform/Utility/SystemLog.h"

namespace {

constexpr std::size_t kWindow = 4096;    // mails on their way to one mailbox
constexpr std::size_t kFileWindow = 64;  // the same while the next needs a memory file
constexpr std::size_t kBusy = 8;         // mails on their way to one mailbox before others may wait
constexpr std::size_t kTogether = 32;    // mails that go out in one message
constexpr std::size_t kTogetherBytes = std::size_t{16} << 10;
constexpr std::chrono::microseconds kHoldTime{200};
constexpr std::chrono::milliseconds kSendingRetryDelay{100};  // after memory or files ran out

}  // namespace

// Whether the newest mail waits for others, to go out with them. Only where it would wait for the
// router anyway, and only while somebody polls, who ends its waiting in time.
bool TCNorvProxyConnection::HoldBack(TSOutbox& Outbox) {
  if (!m_Ready || !m_Pumping || m_Form != MailWire::TEForm::ePacked ||
      Outbox.Untransmitted < kBusy || !(m_HeldUntil || IsRouterBehind())) {
    return false;
  }
  Outbox.HeldBytes += MailWire::PackedSize(Outbox.Mails.back().Content);
  if (Outbox.Mails.size() - Outbox.Untransmitted >= kTogether ||
      Outbox.HeldBytes >= kTogetherBytes) {
    return false;
  }
  if (!m_HeldUntil) {
    m_HeldUntil = TCClock::now() + kHoldTime;
    if (!m_PumpingUntil || *m_PumpingUntil > *m_HeldUntil) {
      Wake();
    }
  }
  return true;
}

// Whether the router has not read all that it was sent.
bool TCNorvProxyConnection::IsRouterBehind() const {
  int Unread = 0;
  return ioctl(sd_bus_get_fd(m_Bus.get()), SIOCOUTQ, &Unread) == 0 && Unread > 0;
}

bool TCNorvProxyConnection::IsTimeToTransmit() const {
  return (m_HeldUntil && TCClock::now() >= *m_HeldUntil) ||
         (m_RetryAt && TCClock::now() >= *m_RetryAt);
}

void TCNorvProxyConnection::Transmit() {
  m_HeldUntil.reset();
  if (!m_Ready || !m_Bus) {
    return;
  }
  if (m_RetryAt && TCClock::now() >= *m_RetryAt) {
    m_RetryAt.reset();
  }
  // First, so that what this process has missed arrives before the acknowledgement of mails that
  // are sent again.
  if (TryToSend("a subscription", [this] { TransmitSubscriptions(); })) {
    bool AllSent = true;
    for (auto& [Mailbox, Outbox] : m_Outboxes) {
      AllSent = TransmitOutbox(Mailbox, Outbox) && AllSent;
    }
    AllSent = TransmitExchanges() && AllSent;
    if (AllSent && std::exchange(m_IsShort, false)) {
      LogIfPossible([this] {
        SyslogWarning("mail router at %s: what could not be sent is on its way", m_Address.c_str());
      });
    }
  }
  std::uint64_t Queued = 0;
  if (sd_bus_get_n_queued_write(m_Bus.get(), &Queued) < 0 || Queued > 0) {
    Wake();  // the rest goes out, or the loss is noticed, by polling
  }
}

// False when it did not go out for lack of memory, descriptors or the like. It is tried again, with
// whatever is to come after it.
template <class TFunction>
bool TCNorvProxyConnection::TryToSend(char const* Subject, TFunction const& Function) {
  try {
    Function();
    return true;
  } catch (...) {
    RetryLater(Subject);
    return false;
  }
}

// Called where the reason has been caught.
void TCNorvProxyConnection::RetryLater(char const* Subject) {
  if (!m_RetryAt) {
    m_RetryAt = TCClock::now() + kSendingRetryDelay;
    if (!m_PumpingUntil || *m_PumpingUntil > *m_RetryAt) {
      Wake();
    }
  }
  if (!std::exchange(m_IsShort, true)) {
    LogIfPossible([&] {
      SyslogWarning("mail router at %s: %s can not be sent now and is tried again: %s",
                    m_Address.c_str(), Subject, MailWire::CaughtText().c_str());
    });
  }
}

// False when the connection is lost; polling notices that too and everything is sent again. Throws
// what else hinders a message.
bool TCNorvProxyConnection::HasGoneOut(int Result) const {
  if (Result >= 0) {
    return true;
  }
  if (sd_bus_is_open(m_Bus.get()) <= 0) {
    return false;
  }
  throw std::system_error(-Result, std::generic_category());
}

bool TCNorvProxyConnection::SendToBus(sd_bus_message* Message) {
  return HasGoneOut(sd_bus_send(m_Bus.get(), Message, nullptr));
}

// Whether nothing was left behind that is to be tried again.
bool TCNorvProxyConnection::TransmitOutbox(std::string const& Mailbox, TSOutbox& Outbox) {
  if (!Outbox.Delayed || !m_RetryAt) {
    Outbox.Delayed = !TryToSend("a mail", [&] { TransmitMails(Mailbox, Outbox); });
  }
  return !Outbox.Delayed;
}

void TCNorvProxyConnection::TransmitMails(std::string const& Mailbox, TSOutbox& Outbox) {
  Outbox.HeldBytes = 0;
  while (Outbox.Untransmitted < std::min(Outbox.Mails.size(), kWindow)) {
    TSOutbox::TSMail const& Mail = Outbox.Mails[Outbox.Untransmitted];
    if (Outbox.Untransmitted >= kFileWindow && !MailWire::FitsInline(*Mail.Content.Body, m_Form)) {
      return;  // each memory file on its way is a descriptor of this process
    }
    std::size_t const Count = CountCompany(Outbox);
    TCBusMessage const Message =
        Count == 1 ? NewMail(Mailbox, Mail) : NewMails(Mailbox, Outbox, Count);
    sd_bus_message_set_expect_reply(Message.get(), 0);
    if (!SendToBus(Message.get())) {
      return;
    }
    Outbox.Untransmitted += Count;
  }
}

// How many mails, from the first that is not on its way, can go out in one message.
std::size_t TCNorvProxyConnection::CountCompany(TSOutbox const& Outbox) const {
  TSNorvMailContent const& First = Outbox.Mails[Outbox.Untransmitted].Content;
  std::size_t const End =
      std::min({Outbox.Mails.size(), kWindow, Outbox.Untransmitted + kTogether});
  std::size_t Bytes = MailWire::PackedSize(First);
  std::size_t Next = Outbox.Untransmitted + 1;
  for (; m_Form == MailWire::TEForm::ePacked && Next < End; ++Next) {
    TSNorvMailContent const& Content = Outbox.Mails[Next].Content;
    Bytes += MailWire::PackedSize(Content);
    if (Bytes > kTogetherBytes || !(Content.MailClass == First.MailClass) ||
        Content.Body->get_Signature() != First.Body->get_Signature()) {
      break;
    }
  }
  return Next - Outbox.Untransmitted;
}

TCBusMessage TCNorvProxyConnection::NewMail(std::string const& Mailbox,
                                            TSOutbox::TSMail const& Mail) {
  TCBusMessage Message =
      NewCall(Mailbox, MailWire::ClassInterface(Mail.Content.MailClass), MailWire::kSend);
  MailWire::AppendValues(Message.get(), "st", {m_Identity.c_str(), &Mail.Number},
                         "append an envelope");
  MailWire::AppendMail(Message.get(), Mail.Content, m_Form);
  return Message;
}

TCBusMessage TCNorvProxyConnection::NewMails(std::string const& Mailbox, TSOutbox const& Outbox,
                                             std::size_t Count) {
  TSOutbox::TSMail const& First = Outbox.Mails[Outbox.Untransmitted];
  MailWire::TSMailGroup Group{First.Content.Body->get_Signature().c_str(), {}};
  Group.Mails.reserve(Count);
  for (std::size_t Place = 0; Place < Count; ++Place) {
    TSNorvMailContent const& Content = Outbox.Mails[Outbox.Untransmitted + Place].Content;
    Group.Mails.push_back({Content.SignalType, Content.SignalName, Content.Body->get_Bytes()});
  }
  TCBusMessage Message =
      NewCall(Mailbox, MailWire::ClassInterface(First.Content.MailClass), MailWire::kSendMany);
  MailWire::Require(sd_bus_message_append(Message.get(), "stu", m_Identity.c_str(), First.Number,
                                          static_cast<std::uint32_t>(Count)),
                    "append an envelope");
  MailWire::AppendMails(Message.get(), Group);
  return Message;
}

// Whether nothing was left behind that is to be tried again.
bool TCNorvProxyConnection::TransmitExchanges() {
  bool AllSent = true;
  for (TSExchange* Exchange : m_Exchanges) {
    TSOutbox const& Outbox = m_Outboxes[*Exchange->Mailbox];
    bool const MailsFirst = Outbox.Untransmitted < Outbox.Mails.size() &&
                            Outbox.Mails[Outbox.Untransmitted].Number <= Exchange->After;
    if (!Exchange->Reply && !Exchange->Answered && !MailsFirst) {
      AllSent = TryToSend("a request", [&] { TransmitExchange(*Exchange); }) && AllSent;
    }
  }
  return AllSent;
}

void TCNorvProxyConnection::TransmitExchange(TSExchange& Exchange) {
  TCBusMessage const Message = NewCall(*Exchange.Mailbox, Exchange.Interface, MailWire::kRequest);
  MailWire::Require(sd_bus_message_append_basic(Message.get(), 's', m_Identity.c_str()),
                    "append an envelope");
  MailWire::AppendMail(Message.get(), *Exchange.Content, m_Form);
  sd_bus_slot* Slot = nullptr;
  if (HasGoneOut(
          sd_bus_call_async(m_Bus.get(), &Slot, Message.get(), OnAnswer, &Exchange, UINT64_MAX))) {
    Exchange.Reply.reset(Slot);
  }
}

void TCNorvProxyConnection::TransmitSubscriptions() {
  for (auto& [Interface, Subscription] : m_Subscriptions) {
    if (!Subscription.Subscribed || Subscription.Requested) {
      continue;
    }
    TCBusMessage const Message =
        NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kSubscribe);
    MailWire::Require(
        sd_bus_message_append(Message.get(), "stt", Interface.c_str(), Subscription.Received.Epoch,
                              Subscription.Received.Sequence),
        "append a subscription");
    sd_bus_message_set_expect_reply(Message.get(), 0);
    Subscription.Requested = SendToBus(Message.get());
  }
}
