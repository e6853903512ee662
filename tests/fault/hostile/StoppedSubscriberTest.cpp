// SPDX-License-Identifier: MIT
// Subscribers that do not read: nothing is kept for them, nobody waits for them, and they catch up.
#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr int kMany = 100000 / kShare;
constexpr int kFillings = 6;  // more than waits for a subscriber, several mails to a frame
constexpr int kSome = 10000 / kShare;
constexpr int kLinks = 100;
constexpr char kThis[] = " 02:00:00:00:00:01 ";

struct StoppedSubscriber : THostileFixture {
  // Others may be left behind too, when they get less of the processor than the writer.
  void EndAndExpectLeftBehind(pid_t Process) {
    EndAndExpectLogged("(process " + std::to_string(Process) + ", user " +
                       std::to_string(geteuid()) +
                       ") does not read its mails; it will be brought up to date");
  }
  void Fill(int Changes) {
    EXPECT_EQ(m_Writer->Ask("fill 101 " + std::to_string(kLinks) + " " + std::to_string(Changes)),
              "filled");
    EXPECT_EQ(m_Writer->Ask("acknowledged"), "acknowledged");
  }
  // Of all processes of the system, in KiB.
  static long SharedMemory() {
    std::ifstream File("/proc/meminfo");
    for (std::string Name; File >> Name;) {
      if (long Size = 0; Name == "Shmem:" && File >> Size) {
        return Size;
      }
    }
    ADD_FAILURE() << "the system does not tell how much memory is shared";
    return 0;
  }
  static void ExpectFilled(TProcess& Client, int Changes) {
    for (int Link = 0; Link < kLinks; ++Link) {
      EXPECT_EQ(Client.Ask("get 101 " + std::to_string(Link) + " -"),
                Hex(std::to_string(Changes - kLinks + Link)));
    }
  }
};

TEST_F(StoppedSubscriber, CostsNoMemoryAndConvergesWhenItContinues) {
  StartAll();
  auto const Stopped = StartClient();
  long const Before = ServerMemory();
  Stopped->Pause();
  for (int Filling = 0; Filling < kFillings; ++Filling) {
    Fill(kMany);
  }
  ExpectServed();
  ExpectNoMoreMemory(Before);
  Stopped->Continue();
  m_Writer->Ask("set 201 - - " + Hex("end"));
  EXPECT_EQ(Stopped->Ask("until 201 - - " + Hex("end")), "heard");
  ExpectFilled(*Stopped, kMany);
  EndAndExpectLeftBehind(Stopped->get_Process());
}

TEST_F(StoppedSubscriber, DelaysNoOtherOne) {
  StartAll();
  auto const Stopped = StartClient();
  Stopped->Pause();
  Fill(kSome);
  std::string const Last = "101 " + std::to_string(kLinks - 1) + kThis;
  EXPECT_EQ(m_Reader->Ask("until " + Last + Hex(std::to_string(kSome - 1))), "heard");
  ExpectFilled(*m_Reader, kSome);
  ExpectServed();
}

TEST_F(StoppedSubscriber, ThatNeverReadsCostsNoMemory) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Subscribe());
  EXPECT_TRUE(Peer.Flush());
  long const Before = ServerMemory();
  m_Writer->Ask("fill 101 100 4000 4000");
  m_Writer->Ask("acknowledged");
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EndAndExpectLeftBehind(getpid());
}

// The memory files that a socket's queue holds are the system's shared memory, not the server's
// own.
TEST_F(StoppedSubscriber, ThatNeverReadsLargeChangesCostsNoSharedMemory) {
  constexpr int kChanges = 200;
  constexpr long kNoise = 100 << 10;  // KiB, of other programs
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Subscribe());
  EXPECT_TRUE(Peer.Flush());
  long const Before = SharedMemory();
  m_Writer->Ask("fill 101 1 " + std::to_string(kChanges) + " 1000000");
  m_Writer->Ask("acknowledged");
  m_Writer->Ask("set 201 - - " + Hex("end"));
  EXPECT_EQ(m_Reader->Ask("until 201 - - " + Hex("end")), "heard");  // it has a lot to read
  ExpectServed();
  EXPECT_LT(SharedMemory(), Before + kNoise);
  EndAndExpectLeftBehind(getpid());
}

TEST_F(StoppedSubscriber, IsServedAgainByAServerThatWasStartedMeanwhile) {
  StartAll();
  auto const Stopped = StartClient();
  Stopped->Pause();
  Fill(kSome);
  EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
  m_Server = StartServer();
  ExpectServed();
  Stopped->Continue();
  m_Writer->Ask("set 201 - - " + Hex("end"));
  EXPECT_EQ(Stopped->Ask("until 201 - - " + Hex("end")), "heard");
  ExpectFilled(*Stopped, kSome);
}

}  // namespace
