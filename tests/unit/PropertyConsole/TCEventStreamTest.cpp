// SPDX-License-Identifier: MIT
// A stream whose peer reads slowly, sends too much or is silent, without a network.
#include "PropertyConsole/TCEventStream.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <algorithm>
#include <utility>

namespace {

using namespace Property;
using ::testing::EndsWith;

/// What the peer reads and sends.
struct TPeer {
  std::size_t m_Room = 1 << 20;  ///< bytes that it reads before it stops
  bool m_IsBroken = false;
  std::size_t m_Sends = 0;  ///< bytes
  std::string m_Read;
};

class TPeerTransport : public TCTransport {
 public:
  explicit TPeerTransport(std::shared_ptr<TPeer> Peer)
      : TCTransport(TCFileDescriptor()), m_Peer(std::move(Peer)) {}

  TSTry Receive(char* /*Data*/, std::size_t Size) override {
    std::size_t const Count = std::min(Size, m_Peer->m_Sends);
    m_Peer->m_Sends -= Count;
    return Count > 0 ? TSTry{static_cast<ssize_t>(Count), 0} : TSTry{0, POLLIN};
  }
  TSTry Send(char const* Data, std::size_t Size) override {
    if (m_Peer->m_IsBroken) {
      return {-1, 0};
    }
    std::size_t const Count = std::min(Size, m_Peer->m_Room);
    m_Peer->m_Room -= Count;
    m_Peer->m_Read.append(Data, Count);
    return Count > 0 ? TSTry{static_cast<ssize_t>(Count), 0} : TSTry{0, POLLOUT};
  }
  TSTry EndSending() override { return {0, 0}; }

 private:
  std::shared_ptr<TPeer> const m_Peer;
};

class EventStream : public ::testing::Test {
 protected:
  static TSStreamStart Start() {
    TSStreamStart Start;
    Start.Role = TERole::eViewer;
    Start.After = 0;
    return Start;
  }
  bool Serve() {
    return m_Stream.Serve({m_Events, m_IsIn, m_Revision, m_Events.get_Last(), true, m_Now});
  }
  void Tell(std::uint64_t Number, std::string const& Text) {
    m_Events.Add({TSEvent{Number, "", "", Text}});
  }

  std::shared_ptr<TPeer> const m_Peer = std::make_shared<TPeer>();
  TCKeptEvents m_Events{0};
  bool m_HasSession = true;
  std::function<bool(TSStreamStart const&)> const m_IsIn = [this](TSStreamStart const& /*Whose*/) {
    return m_HasSession;
  };
  std::string const m_Revision = "r-0";
  TCEventStream::TCTime m_Now;
  TCEventStream m_Stream{std::make_unique<TPeerTransport>(m_Peer), Start(), m_Now};
};

TEST_F(EventStream, SendsWhatThereIs) {
  Tell(1, "one\n\n");
  Tell(2, "two\n\n");

  EXPECT_TRUE(Serve());

  EXPECT_THAT(m_Peer->m_Read, EndsWith("{\"connected\":true}\n\none\n\ntwo\n\n"));
}

TEST_F(EventStream, IsOverWhenAnEventTakesThirtySeconds) {
  ASSERT_TRUE(Serve());
  m_Peer->m_Room = 2;
  Tell(1, "one\n\n");
  EXPECT_TRUE(Serve());

  m_Now += std::chrono::milliseconds(29999);
  EXPECT_TRUE(Serve());
  m_Now += std::chrono::milliseconds(1);

  EXPECT_FALSE(Serve());
  EXPECT_THAT(m_Peer->m_Read, EndsWith("on"));
}

TEST_F(EventStream, GivesEachEventItsOwnTime) {
  ASSERT_TRUE(Serve());
  for (std::uint64_t Number = 1; Number <= 3; ++Number) {
    m_Peer->m_Room = 2;
    Tell(Number, "one\n\n");
    EXPECT_TRUE(Serve());
    m_Now += std::chrono::seconds(20);
    m_Peer->m_Room = 3;
    EXPECT_TRUE(Serve());
  }

  EXPECT_THAT(m_Peer->m_Read, EndsWith("one\n\none\n\none\n\n"));
}

TEST_F(EventStream, SaysAfterFifteenSecondsThatItIsThere) {
  ASSERT_TRUE(Serve());
  m_Peer->m_Read.clear();

  m_Now += std::chrono::milliseconds(14999);
  EXPECT_TRUE(Serve());
  EXPECT_EQ(m_Peer->m_Read, "");
  m_Now += std::chrono::milliseconds(1);
  EXPECT_TRUE(Serve());

  EXPECT_EQ(m_Peer->m_Read, ":\n\n");
}

TEST_F(EventStream, EndsWithTheSession) {
  ASSERT_TRUE(Serve());
  m_HasSession = false;
  m_Now += std::chrono::milliseconds(250);

  EXPECT_FALSE(Serve());

  EXPECT_THAT(m_Peer->m_Read, EndsWith("event: signed-out\ndata: {}\n\n"));
}

TEST_F(EventStream, IsOverWhereWhatComesNextIsForgotten) {
  ASSERT_TRUE(Serve());
  Tell(1, "one\n\n");
  m_Events.Forget(2);

  EXPECT_FALSE(Serve());
}

TEST_F(EventStream, IsOverWithItsConnection) {
  ASSERT_TRUE(Serve());
  m_Peer->m_IsBroken = true;
  Tell(1, "one\n\n");

  EXPECT_FALSE(Serve());
}

TEST_F(EventStream, IsOverWhenItsPeerSendsOnAndOn) {
  m_Peer->m_Sends = std::size_t{16} << 10;
  EXPECT_TRUE(m_Stream.Hear());

  m_Peer->m_Sends = 1;
  EXPECT_FALSE(m_Stream.Hear());
}

TEST_F(EventStream, LeavesOthersTheirTurn) {
  for (std::uint64_t Number = 1; Number <= 100; ++Number) {
    Tell(Number, "x");
  }

  EXPECT_TRUE(Serve());
  EXPECT_TRUE(m_Stream.HasMore());
  EXPECT_TRUE(Serve());
  EXPECT_FALSE(m_Stream.HasMore());
}

}  // namespace
