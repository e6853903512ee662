// SPDX-License-Identifier: MIT
// Writes and reads the router's messages by hand.
#include "RouterPeer.h"

#include "MessagingFixture.h"

TCBusMessage TRouterPeer::NewMail(char const* Member, char const* Interface) {
  return NewCall(MailWire::MailboxPath(kMailbox), Interface, Member);
}

std::string TRouterPeer::CallForType(TCBusMessage const& Request) {
  TCBusMessage const Answer = Ask(Request);
  if (!Answer) {
    return "error";
  }
  char Type[2] = {};
  EXPECT_GE(sd_bus_message_skip(Answer.get(), "tttii"), 0);
  EXPECT_GE(sd_bus_message_peek_type(Answer.get(), Type, nullptr), 0);
  return Type;
}

bool TRouterPeer::Tell(TCBusMessage const& Mails, std::uint64_t Last) {
  EXPECT_GE(sd_bus_message_set_expect_reply(Mails.get(), 0), 0);
  EXPECT_GE(sd_bus_send(nullptr, Mails.get(), nullptr), 0);
  std::uint64_t Number = 0;
  while (Number != Last) {
    TCBusMessage const Message = HearSignal();
    if (!Message) {
      return false;
    }
    if (sd_bus_message_is_signal(Message.get(), nullptr, MailWire::kAcknowledged) > 0) {
      EXPECT_GE(sd_bus_message_read(Message.get(), "t", &Number), 0);
    }
  }
  return true;
}

std::string TRouterPeer::Greet(char const* Identity, std::uint32_t Version) {
  TCBusMessage const Hello =
      NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kHello);
  EXPECT_GE(sd_bus_message_append(Hello.get(), "sus", Identity, Version, ""), 0);
  return Call(Hello);
}

void TRouterPeer::Subscribe(MailWire::TSPosition const& Known) {
  TCBusMessage const Subscription =
      NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kSubscribe);
  EXPECT_GE(
      sd_bus_message_append(Subscription.get(), "stt", kTestInterface, Known.Epoch, Known.Sequence),
      0);
  EXPECT_GE(sd_bus_message_set_expect_reply(Subscription.get(), 0), 0);
  EXPECT_GE(sd_bus_send(nullptr, Subscription.get(), nullptr), 0);
  AwaitRouter();
}

void TRouterPeer::AwaitRouter() {
  EXPECT_EQ(Call(NewCall("/", "org.freedesktop.DBus.Peer", "Ping")), "");
}

TCBusMessage TRouterPeer::HearSignal() {
  bool Ended = false;
  while (TCBusMessage Message = HearMessage(Ended)) {
    if (sd_bus_message_is_signal(Message.get(), nullptr, nullptr) > 0) {
      return Message;
    }
  }
  return nullptr;
}
