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
struct TCPropertyCollectionDriverFilter : TDriverFixture {};
struct TCPropertyCollectionDriverRemoval : TDriverFixture {};
struct TCPropertyCollectionDriverWhole : TDriverFixture {};

/// As the first record: what the mail does not have, the server does not hold.
TRecord const kWhole{TRecord::kNothing, "", "", ""};

/// Says that the server holds no value of `ID` for this device.
TRecord NoValue(int ID) {
  return {ID, "", "", kOwnMAC, false, false};
}

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

// ---- records without data ----

TEST_F(TCPropertyCollectionDriverRemoval, RemovesAValueThatTheServerDoesNotHold) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});
  Start();

  Receive(4, 1, {NoValue(1001)});

  EXPECT_THAT(StoredLines(), ElementsAre("Count[]@00:11:22:33:44:55=5"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("deleted Name[]@00:11:22:33:44:55=mine"));
  EXPECT_THAT(SentMails(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverRemoval, TellsNobodyOfAValueThatIsNotStored) {
  Start();

  Receive(4, 1, {NoValue(1001)});

  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverRemoval, IsToldInTheOrderOfTheRecordsWhenAllAreApplied) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  std::vector<std::vector<std::string>> Stored;
  m_Notifier.m_OnTold = [&] { Stored.push_back(StoredLines()); };
  Start();

  Receive(4, 1, {NoValue(1001), {1002, "5", "", kOwnMAC}});

  auto const After = ElementsAre("Count[]@00:11:22:33:44:55=5");
  EXPECT_THAT(Stored, ElementsAre(After, After));
  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("deleted Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverRemoval, IsNotToldOfAValueThatTheSameMailBringsBack) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start();

  Receive(4, 1, {NoValue(1001), {1001, "back", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=back"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=back"));
}

TEST_F(TCPropertyCollectionDriverRemoval, TakesAnEmptyTextForAValue) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start();

  Receive(4, 1, {{1001, "", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55="));
}

TEST_F(TCPropertyCollectionDriverRemoval, IsSilentInABulkLoad) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start();

  Receive(2, 1, {NoValue(1001)});

  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverRemoval, LeavesAValueOfWhichAnOwnChangeIsOnItsWay) {
  m_Server.HoldMails();
  Start();
  SetProperty(m_Schema.m_Name, "mine");

  m_Server.Publish(4, 1, {NoValue(1001), {1002, "5", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(2));
  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=5"));
  m_Server.ReleaseMails();
}

// ---- mails that are the whole ----

TEST_F(TCPropertyCollectionDriverWhole, RemovesWhatIsNotInTheMail) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});
  Start();

  Receive(4, 1, {kWhole, {1002, "6", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Count[]@00:11:22:33:44:55=6"));
  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Count[]@00:11:22:33:44:55=6", "deleted Name[]@00:11:22:33:44:55=mine"));
  EXPECT_THAT(SentMails(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverWhole, RemovesAllWhenItHasNoValue) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start();

  Receive(4, 1, {kWhole});

  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverWhole, KeepsWhatIsInTheMailUnchangedAndTellsNobody) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start();

  Receive(4, 1, {kWhole, {1001, "mine", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine"));
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverWhole, LeavesAValueOfWhichAnOwnChangeIsOnItsWay) {
  m_Server.HoldMails();
  Start();
  SetProperty(m_Schema.m_Name, "mine");

  m_Server.Publish(4, 1, {kWhole, {1002, "5", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(2));
  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=5"));
  m_Server.ReleaseMails();
}

TEST_F(TCPropertyCollectionDriverWhole, IsNoneWhereOnlyALaterRecordHasNoNumber) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start(false);

  Receive(4, 1, {{1002, "5", "", kOwnMAC}, kWhole});

  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=5"));
}

// ---- the own-device filter ----

TEST_F(TCPropertyCollectionDriverFilter, TakesEveryDevicesValuesWhenItIsOff) {
  Start(false);

  Receive(4, 1, {{1001, "theirs", "", kOtherMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:66=theirs"));
}

TEST_F(TCPropertyCollectionDriverFilter, TakesTheOwnDevicesValues) {
  Start(true);

  Receive(4, 1, {{1001, "mine", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine"));
}

TEST_F(TCPropertyCollectionDriverFilter, SkipsAnotherDevicesValues) {
  Start(true);

  Receive(4, 1, {{1001, "theirs", "", kOtherMAC}, {1002, "5", "", kOwnMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Count[]@00:11:22:33:44:55=5"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverFilter, SkipsTheOwnAddressInAnotherSpelling) {
  TCMACAddress::SetOwn(TCMACAddress("AA:11:22:33:44:55"));
  Start(true);

  Receive(4, 1, {{1001, "lower case", "", "aa:11:22:33:44:55"}});

  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverFilter, TakesSystemWideValues) {
  Start(true);

  Receive(4, 1, {{2001, "Harbour", "", ""}, {3001, "Plant", "4", kOtherMAC}});

  EXPECT_THAT(StoredLines(),
              ElementsAre("SiteName[]@=Harbour", "PlantName[4]@00:11:22:33:44:66=Plant"));
}

TEST_F(TCPropertyCollectionDriverFilter, TakesAnotherDevicesValueThatItHolds) {
  Start(true);
  Driver()->UpdateProperty(m_Schema.m_Name, TCRecordID(), "old", kOtherMAC);

  Receive(4, 1, {{1001, "new", "", kOtherMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:66=new"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:66=new"));
}

TEST_F(TCPropertyCollectionDriverFilter, SkipsAnotherDevicesValueThatItHoldsForAnotherRecordOnly) {
  Start(true);
  Driver()->UpdateProperty(m_Schema.m_Name, TCRecordID(7), "old", kOtherMAC);

  Receive(4, 1, {{1001, "new", "", kOtherMAC}, {1001, "new", "8", kOtherMAC}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[7]@00:11:22:33:44:66=old"));
}

TEST_F(TCPropertyCollectionDriverFilter, SkipsADevicesValueWithoutMAC) {
  Start(true);

  Receive(4, 1, {{1001, "nobody's", "", ""}});

  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverFilter, StoresAValueWithoutMACBesideTheOwnOne) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  Start(true);

  Receive(4, 1, {{1001, "nobody's", "", ""}});

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@=nobody's", "Name[]@00:11:22:33:44:55=mine"));
}

TEST_F(TCPropertyCollectionDriverFilter, AppliesToAnyAcceptedSignal) {
  Start(true);

  Receive(2, 3, {{1001, "theirs", "", kOtherMAC}});
  Receive(2, 1, {{1001, "theirs", "", kOtherMAC}});

  EXPECT_THAT(StoredLines(), IsEmpty());
}
