// SPDX-License-Identifier: MIT
// When a process is told that its changes are stored, and which were refused.
#include "PropertyInterface/TCPropertyReceipt.h"

#include <atomic>
#include <thread>

#include "CommonProperties/TCPropertyTransaction.h"
#include "ReceiptFixture.h"
#include "tests/support/ForkedChild.h"

namespace {

using Property::eReceiptRefused;
using Property::eReceiptTimedOut;
using Property::TCPropertyCollectionDriver;
using Property::TCPropertyReceipt;
using Property::TCPropertyTransaction;
using Property::TEDurability;
using Property::TSPropertyReceipt;
using Property::TSPropertyRefusal;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr char kRefused[] =
    "refused 2001: property 2001 has 9 bytes, at most 4 are allowed (value_bytes);";

struct PropertyReceipt : TReceiptFixture {
  // Refusals as the handler hears of them.
  void HearOfRefusals() {
    TCPropertyCollectionDriver::SetRefusalHandler(
        [this](TSPropertyRefusal const& Refusal) { m_Heard.Add(Refusal.Reason); });
  }

  std::size_t CountStored() {
    std::size_t Count = 0;
    Execute([&] {
      m_Service->m_Database.LoadAll([&Count](Property::TSPropertyRecord const&) { ++Count; });
    });
    return Count;
  }

  TLog<std::string> m_Heard;
};

}  // namespace

TEST_F(PropertyReceipt, IsOfNoStoreAnException) {
  EXPECT_EQ(CaughtException([] { TCPropertyReceipt::OfAll(); }).get_Message(),
            "there is no store that sends changes to a server");
  EXPECT_EQ(CaughtException([] { TCPropertyReceipt::OfLast(); }).get_Message(),
            "there is no store that sends changes to a server");
}

TEST_F(PropertyReceipt, OfNothingIsDurableAtOnce) {
  StartBoth();
  Stop();
  EXPECT_EQ(Outcome(TCPropertyReceipt()), "durable");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfAll()), "durable");
}

TEST_F(PropertyReceipt, SaysThatAChangeIsStored) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "here");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
  EXPECT_EQ(CountStored(), 1U);
}

TEST_F(PropertyReceipt, SaysSoOnlyWhenARelaxedServerHasStoredIt) {
  StartServer(TEDurability::eRelaxed);
  TCPropertyCollectionDriver::Create(false);
  SetProperty(m_Schema.m_SiteName, "here");
  SetProperty(m_Schema.m_SiteName, "now");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
  EXPECT_EQ(CountStored(), 1U);
}

TEST_F(PropertyReceipt, NamesTheValueThatWasRefusedAndWhy) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), kRefused);
}

TEST_F(PropertyReceipt, NamesTheRecordAndTheDeviceToo) {
  StartBoth();
  SetProperty(m_Schema.m_Name, kTooLarge, Accessories::TCRecordID(7));
  TSPropertyReceipt const Result = TCPropertyReceipt::OfLast().Wait(kPatienceMilliseconds);
  ASSERT_THAT(Result.Refusals, SizeIs(1));
  ASSERT_THAT(Result.Refusals[0].Keys, SizeIs(1));
  EXPECT_EQ(&Result.Refusals[0].Keys[0].get_ID(), &m_Schema.m_Name);
  EXPECT_EQ(Result.Refusals[0].Keys[0].get_Link(), Accessories::TCRecordID(7));
  EXPECT_EQ(Result.Refusals[0].Keys[0].get_MAC().get_AsString(':'), "00:11:22:33:44:55");
}

TEST_F(PropertyReceipt, OfTheLastChangeIsOfTheCallingThread) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  std::thread([this] {
    EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");  // of nothing
    SetProperty(m_Schema.m_PlantName, "good");
    EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
  }).join();
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), kRefused);
}

TEST_F(PropertyReceipt, OfAllHasTheRefusalsOfEveryThread) {
  StartBoth();
  SetProperty(m_Schema.m_PlantName, "good");
  std::thread([this] { SetProperty(m_Schema.m_SiteName, kTooLarge); }).join();
  SetProperty(m_Schema.m_PlantName, "well");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfAll()), kRefused);
}

TEST_F(PropertyReceipt, OfAllSinceAnotherLeavesOutWhatWasBefore) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  TCPropertyReceipt const Before = TCPropertyReceipt::OfAll();
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfAll().Since(Before)), "durable");
  SetProperty(m_Schema.m_PlantName, "good");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfAll().Since(Before)), "durable");
  SetProperty(m_Schema.m_PlantName, kTooLarge);
  EXPECT_THAT(Outcome(TCPropertyReceipt::OfAll().Since(Before)), HasSubstr("refused 3001: "));
  EXPECT_EQ(Outcome(Before), kRefused);
}

TEST_F(PropertyReceipt, OfATransactionIsOneAnswerForAllOfIt) {
  StartBoth();
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  SetProperty(m_Schema.m_PlantName, "good");
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  Transaction.Commit();
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), kRefused);
  EXPECT_EQ(CountStored(), 0U);
}

TEST_F(PropertyReceipt, TimesOutWhileTheServerIsAwayAndIsDurableWhenItIsBack) {
  StartBoth();
  Stop();
  SetProperty(m_Schema.m_SiteName, "here");
  SetProperty(m_Schema.m_PlantName, kTooLarge);
  TCPropertyReceipt const Last = TCPropertyReceipt::OfLast();
  TCPropertyReceipt const All = TCPropertyReceipt::OfAll();
  EXPECT_EQ(Outcome(All, 10), "timed out");
  EXPECT_EQ(Outcome(Last, 0), "timed out");
  StartServer();
  EXPECT_THAT(Outcome(All), HasSubstr("refused 3001: "));
  EXPECT_THAT(Outcome(Last), HasSubstr("refused 3001: "));
  EXPECT_EQ(CountStored(), 1U);
}

TEST_F(PropertyReceipt, MayBeWaitedForOverAndOverAgain) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  TCPropertyReceipt const Receipt = TCPropertyReceipt::OfLast();
  EXPECT_EQ(Outcome(Receipt), kRefused);
  Stop();
  EXPECT_EQ(Outcome(Receipt), kRefused);
  StartServer();
  SetProperty(m_Schema.m_PlantName, "good");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
  EXPECT_EQ(Outcome(Receipt), kRefused);
}

TEST_F(PropertyReceipt, SaysThatTheStoreWasClosed) {
  StartBoth();
  Stop();
  SetProperty(m_Schema.m_SiteName, "here");
  TCPropertyReceipt const Receipt = TCPropertyReceipt::OfLast();
  std::thread Closing([] { Driver()->Close(); });
  EXPECT_EQ(Outcome(Receipt, -1), "closed");
  Closing.join();
}

TEST_F(PropertyReceipt, MayBeWaitedForBySeveralThreadsAtOnce) {
  StartBoth();
  std::atomic<int> Wrong{0};
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < 4; ++Thread) {
    Threads.emplace_back([this, Thread, &Wrong] {
      Accessories::TCRecordID const Record(Thread + 1);
      for (int Turn = 0; Turn < 50; ++Turn) {
        bool const Good = (Turn + Thread) % 2 == 0;
        SetProperty(m_Schema.m_Name, Good ? std::to_string(Turn) : kTooLarge + std::to_string(Turn),
                    Record);
        std::string const Result = Outcome(TCPropertyReceipt::OfLast());
        Wrong += (Result == "durable") == Good ? 0 : 1;
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(Wrong, 0);
}

TEST_F(PropertyReceipt, MayBeWaitedForInsideANotifier) {
  struct TWaitingNotifier : Property::TCCommonPropertyChangeNotifier {
    ~TWaitingNotifier() override { Property::TCPropertyCollection::DelNotifier(this); }
    bool OnPropQueued() override {
      {
        TCCriticalSectionLock const Lock(m_Lock);
        m_Queue.clear();
      }
      m_Results.Add(Outcome(TCPropertyReceipt::OfLast()));
      return true;
    }
    TLog<std::string> m_Results;
  };
  StartBoth();
  TWaitingNotifier Notifier;
  Notifier.Enable();
  // The other process's change has the proxy's thread wait inside the same notifier.
  TPropertyProxy Other;
  Other.Send(Change({{3001, "by", "", ""}}));
  SetProperty(m_Schema.m_SiteName, "here");
  EXPECT_THAT(Notifier.m_Results.WaitFor(2), ElementsAre("durable", "durable"));
}

TEST_F(PropertyReceipt, HasTheNewestRefusalsOfMany) {
  StartBoth();
  HearOfRefusals();
  for (int Turn = 0; Turn < 1001; ++Turn) {
    SetProperty(m_Schema.m_SiteName, "too large " + std::to_string(Turn));
  }
  TSPropertyReceipt const Result = TCPropertyReceipt::OfAll().Wait(kPatienceMilliseconds);
  EXPECT_EQ(Result.Outcome, eReceiptRefused);
  EXPECT_THAT(Result.Refusals, SizeIs(1000));
  EXPECT_FALSE(Result.Complete);
  EXPECT_THAT(m_Heard.WaitFor(1001), SizeIs(1001));  // the last is told before the test ends
  TCPropertyCollectionDriver::SetRefusalHandler(nullptr);
}

TEST_F(PropertyReceipt, IsAnExceptionInAForkedChild) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "here");
  TCPropertyReceipt const Receipt = TCPropertyReceipt::OfLast();
  TForkedChild Child([&] {
    return ThrownText<TCException>([&] { Receipt.Wait(0); }) + "|" +
           ThrownText<TCException>([] { TCPropertyReceipt::OfAll(); });
  });
  std::string const Refused =
      "the proxy and its store belong to process " + std::to_string(getpid()) +
      ", which this one was forked from: here values can be read, but nothing is sent, asked for "
      "or received";
  EXPECT_EQ(Child.Wait(), Refused + "|" + Refused);
}

TEST_F(PropertyReceipt, TellsTheHandlerOfEachRefusalOnce) {
  StartBoth();
  HearOfRefusals();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  ASSERT_THAT(m_Heard.WaitFor(1), SizeIs(1));
  Stop();
  StartServer();
  SetProperty(m_Schema.m_PlantName, kTooLarge);
  EXPECT_THAT(m_Heard.WaitFor(2),
              ElementsAre("property 2001 has 9 bytes, at most 4 are allowed (value_bytes)",
                          "property 3001 has 9 bytes, at most 4 are allowed (value_bytes)"));
  TCPropertyCollectionDriver::SetRefusalHandler(nullptr);
}

TEST_F(PropertyReceipt, TellsTheHandlerOfTheNextRefusalAfterItHasThrown) {
  StartBoth();
  TCPropertyCollectionDriver::SetRefusalHandler([this](TSPropertyRefusal const& Refusal) {
    m_Heard.Add(Refusal.Reason);
    throw std::runtime_error("no more");
  });
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  SetProperty(m_Schema.m_PlantName, kTooLarge);
  EXPECT_THAT(m_Heard.WaitFor(2), SizeIs(2));
  EXPECT_EQ(Errors().WaitFor(1).front(), "handler of refused changes: no more");
  TCPropertyCollectionDriver::SetRefusalHandler(nullptr);
}

TEST_F(PropertyReceipt, LogsARefusalWithoutAHandler) {
  StartBoth();
  SetProperty(m_Schema.m_Name, kTooLarge, Accessories::TCRecordID(7));
  // The server's own line comes first, then this process's.
  EXPECT_EQ(Warnings().WaitFor(2).at(1),
            "The server has refused a change of Name (property 1001, record 7, device "
            "00:11:22:33:44:55): property 1001 has 9 bytes, at most 4 are allowed (value_bytes)");
}

TEST_F(PropertyReceipt, GivesBackWhatStandsInPlaceOfWhatWasRefused) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "here");
  HearOfRefusals();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  ASSERT_THAT(m_Heard.WaitFor(1), SizeIs(1));  // behind the value
  EXPECT_EQ(GetProperty(m_Schema.m_SiteName).get_AsString(), "here");
  TCPropertyCollectionDriver::SetRefusalHandler(nullptr);
}
