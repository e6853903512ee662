// SPDX-License-Identifier: MIT
// Writes and reads the router's messages by hand.
#include "RouterPeer.h"

#include "MessagingFixture.h"

namespace {

constexpr std::uint64_t kPatienceMicroseconds = 30000000;

}  // namespace

TRouterPeer::TRouterPeer(std::string const& Address) {
  sd_bus* Bus = nullptr;
  EXPECT_GE(sd_bus_new(&Bus), 0);
  m_Bus.reset(Bus);
  EXPECT_GE(sd_bus_set_address(Bus, Address.c_str()), 0);
  EXPECT_GE(sd_bus_negotiate_fds(Bus, 1), 0);
  EXPECT_GE(sd_bus_start(Bus), 0);
}

TCBusMessage TRouterPeer::NewCall(std::string const& Path, char const* Interface,
                                  char const* Member) {
  sd_bus_message* Message = nullptr;
  EXPECT_GE(sd_bus_message_new_method_call(m_Bus.get(), &Message, nullptr, Path.c_str(), Interface,
                                           Member),
            0);
  return TCBusMessage(Message);
}

TCBusMessage TRouterPeer::NewMail(char const* Member, char const* Interface) {
  return NewCall(MailWire::MailboxPath(kMailbox), Interface, Member);
}

std::string TRouterPeer::Call(TCBusMessage const& Message) {
  sd_bus_error Error = {nullptr, nullptr, 0};
  std::string Result;
  if (sd_bus_call(m_Bus.get(), Message.get(), kPatienceMicroseconds, &Error, nullptr) < 0) {
    Result = std::string(Error.name) + ": " + Error.message;
  }
  sd_bus_error_free(&Error);
  return Result;
}

std::string TRouterPeer::CallForType(TCBusMessage const& Request) {
  sd_bus_message* Raw = nullptr;
  if (sd_bus_call(m_Bus.get(), Request.get(), kPatienceMicroseconds, nullptr, &Raw) < 0) {
    return "error";
  }
  TCBusMessage const Answer(Raw);
  char Type[2] = {};
  EXPECT_GE(sd_bus_message_skip(Raw, "tttii"), 0);
  EXPECT_GE(sd_bus_message_peek_type(Raw, Type, nullptr), 0);
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
  for (;;) {
    sd_bus_message* Raw = nullptr;
    int const Processed = sd_bus_process(m_Bus.get(), &Raw);
    TCBusMessage Message(Raw);
    if (Raw != nullptr && sd_bus_message_is_signal(Raw, nullptr, nullptr) > 0) {
      return Message;
    }
    if (Processed < 0 || (Processed == 0 && sd_bus_wait(m_Bus.get(), kPatienceMicroseconds) <= 0)) {
      return nullptr;
    }
  }
}
