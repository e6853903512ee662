// SPDX-License-Identifier: MIT
// Several mails in one frame: which ones, when they go out, and what becomes of each.
#include <gmock/gmock.h>

#include <new>
#include <utility>

#include "ScriptedRouter.h"

namespace {

using ::testing::ElementsAre;
using ProxyGroup = TMessagingFixture;
using TMessages = std::vector<TScriptedRouter::TMessage>;

constexpr int kBusy = 8;       // mails on their way from which on a proxy holds others back
constexpr int kTogether = 32;  // mails that are worth a frame
constexpr int kFull = 256;     // mails of a full one

void Send(TTestProxy const& Proxy, int First, int Last) {
  for (int Number = First; Number <= Last; ++Number) {
    ASSERT_TRUE(Proxy.SendNumber(Number));
  }
}

// The number of mails in each frame.
std::vector<int> Sizes(TMessages const& Messages) {
  std::vector<int> Result;
  for (auto const& Message : Messages) {
    Result.push_back(static_cast<int>(Message.Values.size()));
  }
  return Result;
}

// The mails carry their own numbers, one after the other from `First`.
void ExpectNumbered(TMessages const& Messages, int First) {
  for (auto const& Message : Messages) {
    EXPECT_EQ(Message.First, static_cast<std::uint64_t>(First));
    for (int const Value : Message.Values) {
      EXPECT_EQ(Value, First++);
    }
  }
}

TEST_F(ProxyGroup, OfWhatWaitedForTheRouterIsFull) {
  TTestProxy Proxy;
  Send(Proxy, 1, 3 * kFull + 1);
  TScriptedRouter Router(SocketPath());
  TMessages const Messages = Router.WaitForMails(3 * kFull + 1);
  EXPECT_THAT(Sizes(Messages), ElementsAre(kFull, kFull, kFull, 1));
  ExpectNumbered(Messages, 1);
}

TEST_F(ProxyGroup, EndsWhereTheRecordsAreOthers) {
  TTestProxy Proxy;
  Send(Proxy, 1, 2);
  TTestMail Other(TestClass(), eNorvRequest, 2);
  Other.CreateRecord()->m_Other.m_Flag = 1;
  ASSERT_TRUE(Other.Send(TestMailbox(), &Proxy, 0));
  TCNorvMessage OtherClass(TCNorvMailClassID("test", 2), eNorvChange, 1);
  ASSERT_TRUE(OtherClass.Send(TestMailbox(), &Proxy, 0));
  Send(Proxy, 5, 7);
  TScriptedRouter Router(SocketPath());
  EXPECT_THAT(Sizes(Router.WaitForMails(7)), ElementsAre(2, 1, 1, 3));
}

TEST_F(ProxyGroup, EndsBeforeItIsLarge) {
  constexpr std::size_t kThird = 24000;  // of a frame, and a little more
  TTestProxy Proxy;
  for (int Number = 1; Number <= 4; ++Number) {
    ASSERT_TRUE(Proxy.SendNumber(Number, std::string(kThird, 'x')));
  }
  ASSERT_TRUE(Proxy.SendNumber(5, std::string(60000, 'x')));
  ASSERT_TRUE(Proxy.SendNumber(6, std::string(kLargeText, 'x')));
  Send(Proxy, 7, 8);
  TScriptedRouter Router(SocketPath());
  TMessages const Messages = Router.WaitForMails(8);
  EXPECT_THAT(Sizes(Messages), ElementsAre(2, 2, 1, 1, 2));
  ExpectNumbered(Messages, 1);
}

// A router that reads nothing behind the first mail until it is told to.
class TSlowRouter {
 public:
  explicit TSlowRouter(std::string const& Path)
      : m_Router(Path, [this](auto&, auto const& Message) {
          if (Message.First == 1) {
            m_Stopped.Set();
            m_Reads.Wait();
          }
        }) {}
  ~TSlowRouter() { m_Reads.Set(); }

  bool WaitUntilStopped() { return m_Stopped.Wait(); }

  TMessages ReadMails(int Count) {
    m_Reads.Set();
    return m_Router.WaitForMails(static_cast<std::size_t>(Count));
  }
  /// Requests among them.
  TMessages AllMessages() { return m_Router.m_Messages.WaitFor(0); }

 private:
  TEvent m_Stopped;
  TEvent m_Reads;
  TScriptedRouter m_Router;
};

TEST_F(ProxyGroup, IsNotMadeOfTheFirstMailsOnTheirWay) {
  TSlowRouter Router(SocketPath());
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  Send(Proxy, 1, kBusy);
  EXPECT_EQ(Sizes(Router.ReadMails(kBusy)), std::vector<int>(kBusy, 1));
}

TEST_F(ProxyGroup, IsMadeOfABurst) {
  constexpr int kMany = 4000;
  TSlowRouter Router(SocketPath());
  TTestProxy Proxy;
  Send(Proxy, 1, 1);
  ASSERT_TRUE(Router.WaitUntilStopped());
  Send(Proxy, 2, kMany);
  TMessages const Messages = Router.ReadMails(kMany);
  EXPECT_LT(Messages.size(), static_cast<std::size_t>(kMany));
  ExpectNumbered(Messages, 1);
}

TEST_F(ProxyGroup, OfOneGoesOutByItself) {
  TSlowRouter Router(SocketPath());
  TTestProxy Proxy;
  Send(Proxy, 1, 1);
  ASSERT_TRUE(Router.WaitUntilStopped());
  Send(Proxy, 2, kBusy + 1);
  ExpectNumbered(Router.ReadMails(kBusy + 1), 1);
}

TEST_F(ProxyGroup, ThatIsNotFullGoesOutByItself) {
  TSlowRouter Router(SocketPath());
  TTestProxy Proxy;
  Send(Proxy, 1, 1);
  ASSERT_TRUE(Router.WaitUntilStopped());
  Send(Proxy, 2, kBusy + kTogether - 1);
  ExpectNumbered(Router.ReadMails(kBusy + kTogether - 1), 1);
}

TEST_F(ProxyGroup, GoesOutBeforeALaterRequest) {
  TSlowRouter Router(SocketPath());
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  Send(Proxy, 1, kBusy + 3);
  EXPECT_FALSE(Proxy.AskNumber(1, 0));  // is not waited for
  Send(Proxy, kBusy + 4, kBusy + 4);
  Router.ReadMails(kBusy + 4);
  int Mails = 0;
  for (auto const& Message : Router.AllMessages()) {
    if (Message.Kind == Wire::TEFrame::eRequest) {
      break;
    }
    Mails += static_cast<int>(Message.Values.size());
  }
  EXPECT_EQ(Mails, kBusy + 3);
}

// Its thread is kept in a handler, so nobody polls.
class TBusyProxy : public TTestProxy {
 public:
  ~TBusyProxy() override {
    m_Done.Set();
    Close();
  }
  void OnMailRouterState(bool /*Reachable*/) override {
    m_Entered.Set();
    m_Done.Wait();
  }

  TEvent m_Entered;

 private:
  TEvent m_Done;
};

TEST_F(ProxyGroup, IsNotWaitedForWhileAHandlerKeepsTheProxysThread) {
  TSlowRouter Router(SocketPath());
  TBusyProxy Proxy;
  Send(Proxy, 1, 1);
  ASSERT_TRUE(Proxy.m_Entered.Wait());
  Send(Proxy, 2, kBusy + 5);
  TMessages const Messages = Router.ReadMails(kBusy + 5);
  EXPECT_EQ(Sizes(Messages), std::vector<int>(kBusy + 5, 1));
  ExpectNumbered(Messages, 1);
}

TEST_F(ProxyGroup, GoesOutWhenTheProxyIsClosed) {
  TSlowRouter Router(SocketPath());
  {
    TTestProxy Proxy;
    ASSERT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
    Send(Proxy, 1, kBusy + 5);
  }
  ExpectNumbered(Router.ReadMails(kBusy + 5), 1);
}

// What came on the second connection.
TMessages OnSecondConnection(TMessages const& Messages) {
  TMessages Result;
  int Connections = 0;
  for (auto const& Message : Messages) {
    if (Message.Kind == Wire::TEFrame::eHello) {
      ++Connections;
    } else if (Connections == 2) {
      Result.push_back(Message);
    }
  }
  return Result;
}

TEST_F(ProxyGroup, IsSentAgainFromTheFirstMailThatWasNotAcknowledged) {
  constexpr int kAcknowledged = 40;  // in the middle of a frame
  constexpr int kLast = 5000;
  bool Again = false;
  TScriptedRouter Router(SocketPath(), [&Again](TScriptedRouter& Self, auto const& Message) {
    if (Message.Values.empty()) {
      return;
    }
    if (Again) {
      Self.Acknowledge(static_cast<std::uint64_t>(Message.Values.back()));
    } else if (Message.Values.back() == kLast) {
      Self.Acknowledge(kAcknowledged);
      Self.EndConnection();
      Again = true;
    }
  });
  TTestProxy Proxy;
  Send(Proxy, 1, kLast);
  ASSERT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  TMessages const Messages = OnSecondConnection(Router.m_Messages.WaitFor(0));
  ExpectNumbered(Messages, kAcknowledged + 1);
  EXPECT_EQ(Messages.front().Values.size(), static_cast<std::size_t>(kFull));
  EXPECT_EQ(Messages.back().Values.back(), kLast);
}

TEST_F(ProxyGroup, ThatIsHeldBackWhileTheConnectionEndsGoesWithTheNextOne) {
  constexpr int kLast = kBusy + kTogether / 2;
  bool Again = false;
  TEvent Sent;
  TEvent Complete;
  TScriptedRouter Router(SocketPath(), [&](TScriptedRouter& Self, auto const& Message) {
    if (Again && !Message.Values.empty() && Message.Values.back() == kLast) {
      Complete.Set();
    }
    if (!Again && Message.First == 1) {
      Again = true;
      Sent.Wait();
      Self.EndConnection();
    }
  });
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  Send(Proxy, 1, kLast);
  Sent.Set();
  ASSERT_TRUE(Complete.Wait());
  ExpectNumbered(OnSecondConnection(Router.m_Messages.WaitFor(0)), 1);
}

// ---- with a router and a service ----

constexpr int kGroups = 2 * kFull;  // mails that go out in two full frames

TEST_F(ProxyGroup, ReachesTheServiceMailByMail) {
  TTestProxy Proxy;
  Send(Proxy, 1, kGroups);
  TTestServer Server;
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(kGroups), Numbers(1, kGroups));
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
}

TEST_F(ProxyGroup, OfABurstReachesTheServiceInOrder) {
  constexpr int kMany = 20000;
  TTestServer Server;
  TTestProxy Proxy;
  Send(Proxy, 1, kMany);
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(kMany), Numbers(1, kMany));
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
}

TEST_F(ProxyGroup, ReachesAServiceThatOpensLater) {
  TTestProxy Proxy;
  Send(Proxy, 1, kGroups);
  TCNorvMailRouter Router;
  std::thread Thread([&] { Router.Run(); });
  EXPECT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  {
    TTestService Service(Router);
    Service.Open();
    EXPECT_EQ(Service.m_Mails.WaitFor(kGroups), Numbers(1, kGroups));
  }
  Router.Stop();
  Thread.join();
}

TEST_F(ProxyGroup, LosesOnlyTheMailThatTheServiceRefuses) {
  TTestProxy Proxy;
  Send(Proxy, 1, kGroups);
  TTestServer Server([](TTestService& Service) {
    Service.m_OnMail = [](TSNorvReceivedMail const& Mail) {
      if (FirstNumber(Mail.Content) == 2) {
        throw TCException("service", 1).Format("not wanted");
      }
    };
  });
  std::vector<int> Taken = Numbers(1, kGroups);
  Taken.erase(Taken.begin() + 1);
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(kGroups - 1), Taken);
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Errors().WaitFor(1), ElementsAre(::testing::EndsWith(" refused: not wanted")));
}

TEST_F(ProxyGroup, ComesAgainFromTheMailThatTheServiceCannotTakeNow) {
  constexpr int kFailing = 5;
  bool Room = false;
  std::vector<std::uint64_t> Taken;
  std::uint64_t Last = 0;
  TTestProxy Proxy;
  Send(Proxy, 1, kGroups);
  TTestServer Server([&](TTestService& Service) {
    Service.m_OnMail = [&](TSNorvReceivedMail const& Mail) {
      if (Mail.Number == kFailing && !std::exchange(Room, true)) {
        throw std::bad_alloc();
      }
      if (Mail.Number > Last) {  // no repeat
        Last = Mail.Number;
        Taken.push_back(Mail.Number);
      }
    };
  });
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  Server.m_Router.Execute([&] {
    ASSERT_EQ(Taken.size(), static_cast<std::size_t>(kGroups));
    EXPECT_EQ(Taken.back(), static_cast<std::uint64_t>(kGroups));
  });
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre(::testing::EndsWith(
                  " cannot be taken now: std::bad_alloc; its connection is ended")));
}

}  // namespace
