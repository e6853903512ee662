// SPDX-License-Identifier: MIT
// Received mails: which are accepted, which records are taken, and what is told.
#include "DriverFixture.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "SignalParameter.h"

using Accessories::TCRecordID;
using Property::TCNorvPropertyObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionDriverMail : TDriverFixture {};
struct TCPropertyCollectionDriverChangeSignal : TDriverFixture,
                                                ::testing::WithParamInterface<TSignal> {};
struct TCPropertyCollectionDriverOtherSignal : TDriverFixture,
                                               ::testing::WithParamInterface<TSignal> {};

}  // namespace

// ---- signals ----

TEST_P(TCPropertyCollectionDriverChangeSignal, UpdatesTheStoreAndNotifies) {
  Start();

  Receive(GetParam().m_Type, GetParam().m_Name, {{1001, "new", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=new"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=new"));
}

TEST_P(TCPropertyCollectionDriverChangeSignal, IsTakenFromTheServer) {
  Start();

  m_Server.Publish(GetParam().m_Type, GetParam().m_Name, {{1001, "new", "7", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_THAT(StoredLines(), ElementsAre("Name[7]@00:11:22:33:44:55=new"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[7]@00:11:22:33:44:55=new"));
}

INSTANTIATE_TEST_SUITE_P(Signals, TCPropertyCollectionDriverChangeSignal,
                         ::testing::Values(TSignal{4, 1}, TSignal{2, 3}), SignalName);

TEST_F(TCPropertyCollectionDriverMail, UpdatesTheStoreByABulkLoadWithoutNotifying) {
  Start();

  Receive(2, 1, {{1001, "new", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=new"));
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_P(TCPropertyCollectionDriverOtherSignal, IsDroppedWithItsRecords) {
  Start();

  Receive(GetParam().m_Type, GetParam().m_Name, {{1001, "new", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_THAT(m_Log.get_Errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Signals, TCPropertyCollectionDriverOtherSignal,
                         ::testing::Values(TSignal{4, 2}, TSignal{1, 2}), SignalName);

TEST_F(TCPropertyCollectionDriverMail, DropsMailsWithSignalsThatCarryNoRecords) {
  Start();

  for (TSignal const Signal : {TSignal{4, 3}, TSignal{2, 2}, TSignal{1, 1}, TSignal{0, 0}}) {
    EXPECT_NO_THROW(Receive(Signal.m_Type, Signal.m_Name, {}));
  }

  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverMail, DropsAnUnacceptedMailOfTheServer) {
  Start();

  m_Server.Publish(4, 2, {{1001, "dropped", "", kOwnMAC}});
  m_Server.Publish(4, 1, {{1002, "5", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_THAT(StoredLines(), ElementsAre("Count[]@00:11:22:33:44:55=5"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverMail, TakesAMailWithoutRecords) {
  Start();

  EXPECT_NO_THROW(Receive(4, 1, {}));

  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverMail, LeavesTheReceivedMailAsItIs) {
  Start();
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, 4, 1);
  Fill(Mail, {{1001, "new", "", kOwnMAC}});
  auto* const Record = Mail.GetRecord(0);

  Driver()->OnPropertyMail(Mail);

  EXPECT_EQ(Mail.RecordCount(), 1);
  EXPECT_EQ(Mail.GetRecord(0), Record);
}

// ---- records ----

TEST_F(TCPropertyCollectionDriverMail, NotifiesInTheOrderOfTheRecords) {
  Start();

  Receive(4, 1,
          {{2001, "Harbour", "", ""},
           {1002, "5", "7", kOtherMAC},
           {1001, "a", "", kOwnMAC},
           {1001, "b", "2", kOwnMAC}});

  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("SiteName[]@=Harbour", "Count[7]@00:11:22:33:44:66=5",
                          "Name[]@00:11:22:33:44:55=a", "Name[2]@00:11:22:33:44:55=b"));
}

TEST_F(TCPropertyCollectionDriverMail, NotifiesOnlyWhenEveryRecordIsStored) {
  std::vector<std::vector<std::string>> Stored;
  m_Notifier.m_OnTold = [&] { Stored.push_back(StoredLines()); };
  Start();

  Receive(4, 1, {{1001, "a", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});

  auto const Both = ElementsAre("Name[]@00:11:22:33:44:55=a", "Count[]@00:11:22:33:44:55=5");
  EXPECT_THAT(Stored, ElementsAre(Both, Both));
}

TEST_F(TCPropertyCollectionDriverMail, TellsAPropertyOfTwoRecordsTwiceWithItsLastText) {
  Start();

  Receive(4, 1, {{1001, "first", "", kOwnMAC}, {1001, "second", "", kOwnMAC}});

  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Name[]@00:11:22:33:44:55=second", "Name[]@00:11:22:33:44:55=second"));
}

TEST_F(TCPropertyCollectionDriverMail, DoesNotTellWhatIsStoredAlready) {
  m_Server.AnswerAll({{1001, "same", "", kOwnMAC}});
  Start();

  Receive(4, 1, {{1001, "same", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});

  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverMail, MarksAValueThatWasSetHereAsLoaded) {
  Start();
  SetProperty(m_Schema.m_Name, "same");
  ASSERT_FALSE(GetProperty(m_Schema.m_Name).get_Loaded());

  Receive(4, 1, {{1001, "same", "", kOwnMAC}});

  EXPECT_TRUE(GetProperty(m_Schema.m_Name).get_Loaded());
}

TEST_F(TCPropertyCollectionDriverMail, TakesARecordWhateverItsLoadedFlag) {
  Start();

  Receive(4, 1, {{1001, "a", "", kOwnMAC, true}, {1002, "5", "", kOwnMAC, false}});

  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=a", "Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverMail, SkipsAnUnknownPropertyAndTakesTheOthers) {
  Start();

  Receive(4, 1,
          {{1001, "a", "", kOwnMAC}, {9999, "unknown", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=a", "Count[]@00:11:22:33:44:55=5"));
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_THAT(m_Log.get_Errors(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverMail, ThrowsForARecordThatNamesNoField) {
  Start();

  TCException const Exception = CaughtException([] {
    Receive(4, 1, {{1000, "container", "", kOwnMAC}});
  });

  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCPropertyID");
  EXPECT_EQ(Exception.get_Message(),
            "Changing none property field Device(1000) Container is not allowed");
}

TEST_F(TCPropertyCollectionDriverMail, GoesOnListeningAfterARecordThatNamesNoField) {
  Start();

  m_Server.Publish(4, 1, {{1000, "container", "", kOwnMAC}});
  m_Server.Publish(4, 1, {{1001, "new", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=new"));
  EXPECT_THAT(
      m_Log.get_Errors(),
      ElementsAre(
          "mail handler: Changing none property field Device(1000) Container is not allowed"));
}

TEST_F(TCPropertyCollectionDriverMail, SendsNothingBack) {
  Start();

  Receive(4, 1, {{1001, "a", "", kOwnMAC}});
  Receive(2, 3, {{1001, "b", "", kOwnMAC}});
  Receive(2, 1, {{1001, "c", "", kOwnMAC}});

  EXPECT_THAT(SentMails(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverMail, GoesPastTheTransactionOfItsThread) {
  Start();
  Property::TCPropertyTransaction Transaction;
  Transaction.Begin();

  Receive(4, 1, {{1001, "new", "", kOwnMAC}});

  EXPECT_THAT(Transaction.get_Changes(), IsEmpty());
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=new"));
}

TEST_F(TCPropertyCollectionDriverMail, LetsANotifierSetAProperty) {
  Start();
  bool Done = false;
  TRecordingNotifier Setter;
  Setter.m_OnTold = [&] {
    if (!Done) {
      Done = true;
      SetProperty(m_Schema.m_Count, 6);
    }
  };
  Setter.Enable();

  m_Server.Publish(4, 1, {{1001, "new", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(2));
  ASSERT_TRUE(Setter.WaitFor(2));
  EXPECT_THAT(
      SentMails(),
      ElementsAre("property v2 Change 3: {id=1002 data=\"6\" mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverMail, LetsANotifierEmptyTheStore) {
  m_Notifier.m_OnTold = [] { Driver()->Clear(); };
  Start();

  Receive(4, 1, {{1001, "a", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});

  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=a"));
  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverMail, LetsANotifierRemoveALaterValue) {
  bool Done = false;
  m_Notifier.m_OnTold = [&] {
    if (!std::exchange(Done, true)) {
      Driver()->DeleteProperty(m_Schema.m_Count, TCRecordID(), kOwnMAC);
    }
  };
  Start();

  Receive(4, 1, {{1001, "a", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});

  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Name[]@00:11:22:33:44:55=a", "deleted Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverMail, MayArriveWhileOthersEmptyAndLoadTheStore) {
  constexpr int kRounds = 200;
  m_Server.AnswerAll({{1001, "loaded", "1", kOwnMAC}, {1001, "loaded", "2", kOwnMAC}});
  Start();

  std::thread Clearing([] {
    for (int Round = 0; Round < 10 * kRounds; ++Round) {
      Driver()->Clear();
    }
  });
  std::thread Fetching([] {
    for (int Round = 0; Round < kRounds; ++Round) {
      Driver()->Fetch();
    }
  });
  for (int Round = 0; Round < kRounds; ++Round) {
    std::string const Text = "a text that takes memory of its own " + std::to_string(Round);
    m_Server.Publish(4, 1, {{1001, Text, "1", kOwnMAC}, {1001, Text, "2", kOwnMAC}});
  }
  Clearing.join();
  Fetching.join();
  m_Server.Publish(4, 1, {{1002, "5", "", kOwnMAC}});
  std::string Last;
  for (std::size_t Count = 1; Last != "Count[]@00:11:22:33:44:55=5"; ++Count) {
    ASSERT_TRUE(m_Notifier.WaitFor(Count));
    Last = m_Notifier.get_Lines()[Count - 1];
  }

  m_Server.AnswerAll({{1001, "last", "", kOwnMAC}});
  Driver()->Fetch();
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=last"));
}
