// SPDX-License-Identifier: MIT
// A user who may read one property has the server look through all of them, as often as it can.
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <functional>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr int kConnections = 60;
constexpr int kRepeats = 10;
constexpr int kQuestions = 5;   // of others; where turns are taken, each waits for a whole round
constexpr int kValues = 60000;  // so many that looking through them is long on every machine
constexpr int kValuesTogether = 200;
constexpr int kLargeChanges = 4;
constexpr int kLargeChange = 50000 / kShare;  // values

class GreedyUser : public THostileFixture {
 protected:
  using TWork = std::function<void(TWirePeer&)>;

  void SetUp() override {
    StartAll(Configure("[[rule]]\nproperties = [201]\nread = [\"everybody\"]\n"));
    ASSERT_EQ(chmod(m_Folder.c_str(), 0755), 0);
    m_Other.emplace(Address());
    ASSERT_EQ(m_Other->Greet("other"), "");
    Fill();
    for (int Index = 0; Index < kConnections; ++Index) {
      TCFileDescriptor Socket = ConnectAs(SocketPath(), kNobody);
      m_Sockets.push_back(Socket.get());
      m_Peers.push_back(std::make_unique<TWirePeer>(std::move(Socket)));
      ASSERT_EQ(m_Peers.back()->Greet("greedy" + std::to_string(Index)), "");
    }
  }

  // What the connections ask for together is answered little by little, and somebody else's
  // questions in between.
  void ExpectOthersServedAmong(TWork const& Ask) {
    Ask(*m_Peers.front());
    std::size_t const One = WaitForAnswer();
    for (int Repeat = 0; Repeat < kRepeats; ++Repeat) {
      for (auto const& Peer : m_Peers) {
        Ask(*Peer);
      }
    }
    std::size_t const Before = CountAnswered();
    for (int Question = 0; Question < kQuestions; ++Question) {
      EXPECT_EQ(m_Other->Call(m_Other->NewRequestForOne()), "");
    }
    EXPECT_LT(CountAnswered() - Before, One * kConnections);
  }

  // All of them are brought up to date little by little, and somebody else's questions answered in
  // between.
  void ExpectOthersServedWhileItIsBroughtUpToDate() {
    m_Peers.front()->Subscribe(1, 1);
    std::size_t const One = WaitForAnswer();
    for (auto const& Peer : m_Peers) {
      Peer->Subscribe();
      EXPECT_EQ(Peer->Call(Peer->NewRequestForOne()), "");  // it has subscribed
    }
    std::size_t const Before = CountAnswered();
    kill(m_Server->get_Process(), SIGHUP);
    std::size_t After = Before;
    while (After == Before) {
      EXPECT_EQ(m_Other->Call(m_Other->NewRequestForOne()), "");
      After = CountAnswered();
    }
    EXPECT_LT(After - Before, One * kConnections / 2);
  }

  // What the connections may have of large changes is selected for them little by little, and what
  // others change is taken in between.
  void ExpectOthersServedWhileItListens() {
    for (auto const& Peer : m_Peers) {
      Peer->Subscribe();
      EXPECT_EQ(Peer->Call(Peer->NewRequestForOne()), "");  // it has subscribed
    }
    ChangeMany(1);
    WaitForAnswer();
    std::size_t const One = CountUnread(m_Sockets.front());
    ChangeMany(kLargeChanges);
    EXPECT_LT(CountAnswered(), One * kConnections * (1 + kLargeChanges) * 3 / 4);
  }

  // Changes the property that the connections may read and many others, so many times.
  void ChangeMany(int Times) {
    std::string Records = TWirePeer::ChangeRecord(201, "on");
    for (int Value = 1; Value < kLargeChange; ++Value) {
      Records += TWirePeer::ChangeRecord(300000 + Value, "off");
    }
    TCFileDescriptor const File = WireMemoryFile(Records);
    for (int Time = 0; Time < Times; ++Time) {
      ASSERT_TRUE(m_Other->Send(TWirePeer::NewMail(m_NextMail++).AddFile(2, 3, File.get())));
    }
    WaitForAcknowledgement();
  }

  // Bytes that the connections have been sent and have not read.
  std::size_t CountAnswered() const {
    std::size_t Bytes = 0;
    for (int const Socket : m_Sockets) {
      Bytes += CountUnread(Socket);
    }
    return Bytes;
  }

  static std::size_t CountUnread(int Socket) {
    int Count = 0;
    EXPECT_EQ(ioctl(Socket, FIONREAD, &Count), 0);
    return static_cast<std::size_t>(Count);
  }

 private:
  void Fill() {
    for (int Value = 0; Value < kValues; Value += kValuesTogether) {
      std::string Bytes;
      for (int Index = 0; Index < kValuesTogether; ++Index) {
        Bytes += TWirePeer::PackedChange(300000 + Value + Index, "on");
      }
      ASSERT_TRUE(m_Other->Send(
          m_Other->NewMails(m_NextMail, kValuesTogether, TWirePeer::kChangeFields, Bytes)));
      m_NextMail += kValuesTogether;
    }
    WaitForAcknowledgement();
  }

  void WaitForAcknowledgement() {
    while (m_Other->HearAcknowledged().value_or(m_NextMail) < m_NextMail - 1) {
    }
  }

  std::size_t WaitForAnswer() const {
    pollfd Socket = {m_Sockets.front(), POLLIN, 0};
    EXPECT_EQ(poll(&Socket, 1, -1), 1);
    return CountAnswered();
  }

  std::optional<TWirePeer> m_Other;
  std::uint64_t m_NextMail = 1;  // of m_Other
  std::vector<std::unique_ptr<TWirePeer>> m_Peers;
  std::vector<int> m_Sockets;  // of m_Peers
};

TEST_F(GreedyUser, LeavesTimeForOthersWhenItRequestsAllValues) {
  ExpectOthersServedAmong([](TWirePeer& Peer) { Peer.Send(Peer.NewRequestForAll()); });
}

TEST_F(GreedyUser, LeavesTimeForOthersWhenItSubscribesAgainAndAgain) {
  ExpectOthersServedAmong([](TWirePeer& Peer) { Peer.Subscribe(1, 1); });
}

TEST_F(GreedyUser, LeavesTimeForOthersWhenTheConfigurationIsReadAgain) {
  ExpectOthersServedWhileItIsBroughtUpToDate();
}

TEST_F(GreedyUser, LeavesTimeForOthersWhenItListensToLargeChanges) {
  ExpectOthersServedWhileItListens();
}

}  // namespace
