// SPDX-License-Identifier: MIT
// Writes and reads the router's frames by hand.
#include "RouterPeer.h"

#include "MessagingFixture.h"

namespace {

TSWireFrame NewFrame(std::uint8_t Kind) {
  TSWireFrame Frame;
  Frame.Kind = Kind;
  Frame.Mailbox = kMailbox;
  Frame.Class = TestClass().get_Name();
  Frame.Version = TestClass().get_Version();
  Frame.Fields = TRouterPeer::kFields;
  return Frame;
}

}  // namespace

std::string TRouterPeer::Record(int Number, std::string const& Text) {
  constexpr std::uint32_t kNumberAndText = 3;
  return WireWord(kNumberAndText) + WireWord(static_cast<std::uint32_t>(Number)) + WireText(Text) +
         "s" + WireText("");
}

TSWireFrame TRouterPeer::NewMail(std::uint64_t Number) {
  TSWireFrame Mail = NewFrame(WireKind::kMails);
  Mail.Number = Number;
  return Mail;
}

TSWireFrame TRouterPeer::NewRequest() {
  TSWireFrame Request = NewFrame(WireKind::kRequest);
  Request.Request = NextRequest();
  return Request;
}

TSWireFrame TRouterPeer::NewChange(std::uint64_t Number, int Value) {
  return NewMail(Number).Add(eNorvChange, 1, Record(Value));
}

TSWireFrame TRouterPeer::NewQuestion(int Value) {
  return NewRequest().Add(eNorvRequest, 1, Record(Value));
}

TSWireFrame TRouterPeer::NewSubscription(std::uint64_t Epoch, std::uint64_t Sequence) {
  TSWireFrame Subscription;
  Subscription.Kind = WireKind::kSubscribe;
  Subscription.Class = TestClass().get_Name();
  Subscription.Version = TestClass().get_Version();
  Subscription.Epoch = Epoch;
  Subscription.Sequence = Sequence;
  return Subscription;
}

bool TRouterPeer::Tell(TSWireFrame const& Mails, std::uint64_t Last) {
  EXPECT_TRUE(Send(Mails));
  while (auto const Frame = Hear()) {
    if (Frame->Kind == WireKind::kAcknowledged && Frame->Number == Last) {
      return true;
    }
  }
  return false;
}

void TRouterPeer::Subscribe(std::uint64_t Epoch, std::uint64_t Sequence) {
  EXPECT_TRUE(Send(NewSubscription(Epoch, Sequence)));
  AwaitRouter();
}

// Refused, whoever owns which mailbox.
void TRouterPeer::AwaitRouter() {
  EXPECT_EQ(Greet("again"), "a second greeting");
}
