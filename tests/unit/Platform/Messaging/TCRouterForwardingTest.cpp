// SPDX-License-Identifier: MIT
// Which published mails a subscriber gets in one frame.
#include "Platform/Messaging/Router/TCRouterForwarding.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "MessagingFixture.h"
#include "RouterPeer.h"
#include "tests/support/MailSender.h"

namespace {

using ::testing::ElementsAre;

struct TCRouterForwardingTest : TMessagingFixture {
  TCRouterForwardingTest() : m_Peer(Address()), m_Other(Address()) {
    EXPECT_EQ(m_Peer.Greet("peer"), "");
    EXPECT_EQ(m_Other.Greet("other"), "");
  }

  // Has the service publish mails in one go, with so many bytes of text; those of "peer" by number.
  void Publish(std::vector<std::uint64_t> const& Numbers, std::size_t Bytes = 1) {
    m_Server.m_Router.Execute([&] {
      for (std::uint64_t const Number : Numbers) {
        TSNorvReceivedMail Mail{{}, Number, OneRecord(eNorvEvent, 7, std::string(Bytes, 'x'))};
        if (Number != 0) {
          Mail.Sender = NewSender("peer", geteuid());
        }
        m_Server.m_Service.Publish(Mail.Content, Mail);
      }
    });
  }

  // The next frame: whose it is, its mails and the places before, and of, the first.
  static std::string Hear(TRouterPeer& Peer) {
    auto const Frame = Peer.Hear();
    if (!Frame || Frame->Kind != WireKind::kPublished) {
      return "nothing";
    }
    return std::to_string(Frame->Whose) + ": " + std::to_string(Frame->get_Mails().size()) +
           " mails, " + std::to_string(Frame->Previous) + " before " +
           std::to_string(Frame->Sequence);
  }
  static std::vector<std::string> Hear(TRouterPeer& Peer, std::size_t Frames) {
    std::vector<std::string> Heard;
    for (std::size_t Frame = 0; Frame < Frames; ++Frame) {
      Heard.push_back(Hear(Peer));
    }
    return Heard;
  }

  TTestServer m_Server;
  TRouterPeer m_Peer;
  TRouterPeer m_Other;
};

TEST_F(TCRouterForwardingTest, SendsWhatIsPublishedTogetherInOneFrame) {
  m_Peer.Subscribe();
  m_Other.Subscribe();
  Publish({0, 0, 0});
  Publish({0});
  for (TRouterPeer* const Peer : {&m_Peer, &m_Other}) {
    EXPECT_THAT(Hear(*Peer, 2), ElementsAre("0: 3 mails, 0 before 1", "0: 1 mails, 3 before 4"));
  }
}

TEST_F(TCRouterForwardingTest, BeginsAnotherFrameBehindAnOwnMail) {
  m_Peer.Subscribe();
  m_Other.Subscribe();
  Publish({0, 0, 8, 9, 0});
  EXPECT_THAT(Hear(m_Peer, 3), ElementsAre("0: 2 mails, 0 before 1", "3: 0 mails, 2 before 4",
                                           "0: 1 mails, 4 before 5"));
  EXPECT_EQ(Hear(m_Other), "0: 5 mails, 0 before 1");
}

TEST_F(TCRouterForwardingTest, BeginsAnotherFrameBehindWhatTheSubscriberMayNotHave) {
  m_Other.Subscribe();
  m_Server.m_Router.Execute([this] {
    m_Server.m_Service.m_OnForward = [Mails = 0](auto const& /*Subscriber*/,
                                                 auto const& /*Body*/) mutable {
      return ++Mails == 2 ? nullptr : OneRecord(eNorvEvent, 7).Body;
    };
  });
  Publish({0, 0, 0});
  EXPECT_THAT(Hear(m_Other, 2), ElementsAre("0: 1 mails, 0 before 1", "0: 1 mails, 1 before 3"));
}

TEST_F(TCRouterForwardingTest, FillsAFrameAndNoMore) {
  m_Other.Subscribe();
  Publish({0, 0, 0}, 30000);
  EXPECT_THAT(Hear(m_Other, 2), ElementsAre("0: 2 mails, 0 before 1", "0: 1 mails, 2 before 3"));
}

TEST_F(TCRouterForwardingTest, SendsALargeMailAlone) {
  m_Other.Subscribe();
  Publish({0});
  Publish({0, 0}, 70000);
  EXPECT_THAT(Hear(m_Other, 3), ElementsAre("0: 1 mails, 0 before 1", "0: 1 mails, 1 before 2",
                                            "0: 1 mails, 2 before 3"));
}

TEST_F(TCRouterForwardingTest, SendsWhatWasMissedInFewFrames) {
  for (int Mail = 0; Mail < 3; ++Mail) {
    Publish(std::vector<std::uint64_t>(200, 0));
  }
  m_Other.Subscribe(m_Server.m_Router.get_Epoch(), 0);
  EXPECT_THAT(Hear(m_Other, 3),
              ElementsAre("0: 256 mails, 0 before 1", "0: 256 mails, 256 before 257",
                          "0: 88 mails, 512 before 513"));
}

}  // namespace
