// SPDX-License-Identifier: MIT
// Memory that runs out while the router takes mails costs their sender its connection at most: what
// is not taken comes again.
#include <gmock/gmock.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
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
      while (sd_event_run(m_Router.get_Event(), 0) > 0) {
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

  TCBusHandle NewGreetedPeer() {
    sd_bus* Bus = nullptr;
    EXPECT_GE(sd_bus_new(&Bus), 0);
    TCBusHandle Peer(Bus);
    EXPECT_GE(sd_bus_set_address(Bus, Address().c_str()), 0);
    EXPECT_GE(sd_bus_start(Bus), 0);
    EXPECT_GE(sd_bus_call_method_async(Bus, nullptr, nullptr, MailWire::kRouterPath,
                                       MailWire::kRouterInterface, MailWire::kHello, nullptr,
                                       nullptr, "sus", "peer", 1U, ""),
              0);
    Exchange(Bus);
    return Peer;
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

  static bool HasEnded(sd_bus* Peer) {
    while (sd_bus_process(Peer, nullptr) > 0) {
    }
    return sd_bus_is_open(Peer) <= 0;
  }

  static constexpr int kNever = 1 << 30;
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
    if (HasEnded(Peer.get())) {
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
    TTestService Service(m_Router);
    Service.Open();
    TCBusHandle const Peer = NewGreetedPeer();
    Send(Peer.get(), 1);
    Send(Peer.get(), 2);
    HasFailed = Turn(Successes);
    std::vector<int> const Taken = Service.m_Mails.WaitFor(0);
    if (HasEnded(Peer.get())) {
      EXPECT_LE(Taken.size(), 2U) << Successes;
      ++Ended;
    } else {
      EXPECT_THAT(Taken, ElementsAre(1, 2)) << Successes;
    }
  }
  EXPECT_GT(Ended, 3);
}

}  // namespace
