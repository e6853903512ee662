// SPDX-License-Identifier: MIT
// Memory that runs out while the router takes mails costs their sender its connection at most: what
// is not taken comes again.
#include <gmock/gmock.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <new>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCNorvEventLoop.h"
#include "tests/unit/CommonProperties/FailingAllocations.h"
#include "tests/unit/Platform/Messaging/MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kPath[] = "/mailbox/_40test_2emailbox";  // of kMailbox
constexpr char kInterface[] = "mailrouter.class.test.v1";

// The test turns the router's loop, so that it knows when all is done.
struct FailingRouterMemory : TMessagingFixture {
  FailingRouterMemory() {
    TSNorvRouterLimits Limits;
    Limits.MailsPerSecond = 1;  // the second is one too many, and its sender is slowed down
    m_Router.SetLimits(Limits);
  }

  // Turns the loop until nothing is to do. Returns whether an allocation failed.
  bool Turn(int Successes) {
    bool HasFailed = false;
    m_Router.Execute([&] {
      TFailingAllocation const Failing(Successes);
      while (m_Router.get_Loop().Turn(TCNorvEventLoop::TCTime::zero())) {
      }
      HasFailed = Failing.HasFailed();
    });
    return HasFailed;
  }
  void Turn() { Turn(kNever); }

  // What the bus library has to send and to read goes through the router.
  void Exchange(sd_bus* Peer) {
    std::uint64_t Queued = 0;
    do {
      while (sd_bus_process(Peer, nullptr) > 0) {
      }
      Turn();
    } while (sd_bus_is_ready(Peer) == 0 ||
             (sd_bus_get_n_queued_write(Peer, &Queued) >= 0 && Queued > 0));
  }

  TCBusHandle NewPeer() {
    sd_bus* Bus = nullptr;
    EXPECT_GE(sd_bus_new(&Bus), 0);
    TCBusHandle Peer(Bus);
    EXPECT_GE(sd_bus_set_address(Bus, Address().c_str()), 0);
    EXPECT_GE(sd_bus_start(Bus), 0);
    return Peer;
  }

  // Has `IsGreeted` set by an answer that is no error.
  static void Greet(sd_bus* Peer, bool* IsGreeted, char const* Identity = "peer") {
    auto const OnAnswer = [](sd_bus_message* Answer, void* Greeted, sd_bus_error* /*Error*/) {
      *static_cast<bool*>(Greeted) = sd_bus_message_is_method_error(Answer, nullptr) <= 0;
      return 0;
    };
    EXPECT_GE(sd_bus_call_method_async(Peer, nullptr, nullptr, MailWire::kRouterPath,
                                       MailWire::kRouterInterface, MailWire::kHello, OnAnswer,
                                       IsGreeted, "sus", Identity, 1U, ""),
              0);
  }

  TCBusHandle NewGreetedPeer(char const* Identity = "peer") {
    bool IsGreeted = false;
    TCBusHandle Peer = NewPeer();
    Greet(Peer.get(), &IsGreeted, Identity);
    for (int Round = 0; Round < kRounds && !IsGreeted; ++Round) {
      Exchange(Peer.get());
    }
    EXPECT_TRUE(IsGreeted);
    return Peer;
  }

  void Subscribe(sd_bus* Peer) {
    sd_bus_message* Raw = nullptr;
    EXPECT_GE(sd_bus_message_new_method_call(Peer, &Raw, nullptr, MailWire::kRouterPath,
                                             MailWire::kRouterInterface, MailWire::kSubscribe),
              0);
    TCBusMessage const Message(Raw);
    EXPECT_GE(sd_bus_message_append(Raw, "stt", kInterface, std::uint64_t{0}, std::uint64_t{0}), 0);
    EXPECT_GE(sd_bus_message_set_expect_reply(Raw, 0), 0);
    EXPECT_GE(sd_bus_send(Peer, Raw, nullptr), 0);
    Exchange(Peer);
  }

  static void Send(sd_bus* Peer, std::uint64_t Number) {
    sd_bus_message* Raw = nullptr;
    EXPECT_GE(
        sd_bus_message_new_method_call(Peer, &Raw, nullptr, kPath, kInterface, MailWire::kSend), 0);
    TCBusMessage const Mail(Raw);
    EXPECT_GE(sd_bus_message_append(Raw, "stiia(uisv)", "peer", Number, 2, 1, 1, 3,
                                    static_cast<int>(Number), "text", "s", ""),
              0);
    EXPECT_GE(sd_bus_message_set_expect_reply(Raw, 0), 0);
    EXPECT_GE(sd_bus_send(Peer, Raw, nullptr), 0);
  }

  // Hands all signals of the name that have come to `Take`.
  template <class TFunction>
  static void ForEach(sd_bus* Peer, char const* Signal, TFunction const& Take) {
    for (int Processed = 1; Processed > 0;) {
      sd_bus_message* Raw = nullptr;
      Processed = sd_bus_process(Peer, &Raw);
      TCBusMessage const Message(Raw);
      if (Raw != nullptr && sd_bus_message_is_signal(Raw, nullptr, Signal) > 0) {
        Take(Raw);
      }
    }
  }

  // Whether the router has ended the connection; `Acknowledged` is the last mail acknowledged.
  static bool HasEnded(sd_bus* Peer, std::uint64_t& Acknowledged) {
    ForEach(Peer, MailWire::kAcknowledged, [&Acknowledged](sd_bus_message* Message) {
      EXPECT_GE(sd_bus_message_read(Message, "t", &Acknowledged), 0);
    });
    return sd_bus_is_open(Peer) <= 0;
  }

  // Keeps the number of the last mail that the peer has been told of.
  static void ReadSequence(sd_bus* Peer, std::uint64_t& Sequence) {
    ForEach(Peer, MailWire::kPublished, [&Sequence](sd_bus_message* Message) {
      std::uint64_t Epoch = 0;
      std::uint64_t Previous = 0;
      EXPECT_GE(sd_bus_message_read(Message, "ttt", &Epoch, &Previous, &Sequence), 0);
    });
  }

  static constexpr int kNever = 1 << 30;
  static constexpr std::chrono::seconds kPatience{10};
  static constexpr int kRounds = 10;
  TCNorvMailRouter m_Router;
};

TEST_F(FailingRouterMemory, CostsNoMailThatWaitsForItsMailbox) {
  int Ended = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    TCBusHandle const Peer = NewGreetedPeer();
    Send(Peer.get(), 1);
    Send(Peer.get(), 2);
    HasFailed = Turn(Successes);
    TTestService Service(m_Router);
    Service.Open();
    Turn();
    std::uint64_t Acknowledged = 0;
    if (HasEnded(Peer.get(), Acknowledged)) {
      EXPECT_THAT(Service.m_Mails.WaitFor(0), IsEmpty()) << Successes;
      ++Ended;
    } else {
      EXPECT_THAT(Service.m_Mails.WaitFor(0), ElementsAre(1, 2)) << Successes;
    }
  }
  EXPECT_GT(Ended, 3);
}

TEST_F(FailingRouterMemory, CostsNoMailOfAnOpenMailbox) {
  int Ended = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    std::uint64_t Taken = 0;
    TTestService Service(m_Router);
    Service.m_OnMail = [&Taken](TSNorvReceivedMail const& Mail) {
      EXPECT_EQ(Mail.Number, Taken + 1);
      Taken = Mail.Number;
    };
    Service.Open();
    TCBusHandle const Peer = NewGreetedPeer();
    Send(Peer.get(), 1);
    Send(Peer.get(), 2);
    HasFailed = Turn(Successes);
    std::uint64_t Acknowledged = 0;
    bool const HasPeerEnded = HasEnded(Peer.get(), Acknowledged);
    EXPECT_LE(Acknowledged, Taken) << Successes;
    EXPECT_TRUE(HasPeerEnded || Acknowledged == 2) << Successes;
    Ended += HasPeerEnded ? 1 : 0;
  }
  EXPECT_GT(Ended, 3);
}

// A greeting that fails ends the connection: its proxy greets again.
TEST_F(FailingRouterMemory, LeavesNobodyWithoutAnAnswerToItsGreeting) {
  int Ended = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    bool IsGreeted = false;
    TCBusHandle const Peer = NewPeer();
    Exchange(Peer.get());
    Greet(Peer.get(), &IsGreeted, "a peer with an identity of some length");
    HasFailed = Turn(Successes);
    std::uint64_t Acknowledged = 0;
    bool const HasPeerEnded = HasEnded(Peer.get(), Acknowledged);
    EXPECT_TRUE(HasPeerEnded || IsGreeted) << Successes;
    Ended += HasPeerEnded ? 1 : 0;
  }
  EXPECT_GT(Ended, 1);
}

// A mail is published once or not at all; who could not be told of it at once is told soon.
TEST_F(FailingRouterMemory, HasAMailPublishedOnceToEverybody) {
  TTestService Service(m_Router);
  Service.Open();
  TCBusHandle const Origin = NewGreetedPeer();
  Subscribe(Origin.get());
  TSNorvMailContent const Content = OneRecord(eNorvEvent, 7);
  TSNorvReceivedMail Cause{{}, 1, Content};
  Cause.Sender.User = geteuid();
  Cause.Sender.Identity = "peer";
  std::uint64_t Published = 0;
  bool HasFailedAfterPublishing = false;
  auto const PublishWith = [&](int Successes) {
    bool HasFailed = false;
    m_Router.Execute([&] {
      TFailingAllocation const Failing(Successes);
      try {
        Service.Publish(Content, Cause);
        ++Published;
        HasFailedAfterPublishing = HasFailedAfterPublishing || Failing.HasFailed();
      } catch (std::bad_alloc const&) {
        EXPECT_TRUE(Failing.HasFailed());
      }
      HasFailed = Failing.HasFailed();
    });
    EXPECT_EQ(Service.get_Sequence(), Published) << Successes;
    return HasFailed;
  };
  PublishWith(kNever);  // allocates what is needed once
  for (int Successes = 0; PublishWith(Successes); ++Successes) {
  }
  EXPECT_TRUE(HasFailedAfterPublishing);
  std::uint64_t Told = 0;
  for (int Round = 0; Round < kRounds && Told < Published; ++Round) {
    m_Router.Execute([&] { m_Router.get_Loop().Turn(kPatience); });
    ReadSequence(Origin.get(), Told);
  }
  EXPECT_EQ(Told, Published);
}

}  // namespace
