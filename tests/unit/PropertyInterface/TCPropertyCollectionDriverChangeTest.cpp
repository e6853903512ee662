// SPDX-License-Identifier: MIT
// What this process changes: the mails it sends, its transactions, and its lists.
#include "CommonProperties/TCPropertyTransaction.h"
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyTransaction;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

namespace {

struct TCPropertyCollectionDriverChange : TDriverFixture {};

/// Changes whose published copies come when the server releases them.
struct TCPropertyCollectionDriverOwnChange : TDriverFixture {
  void Start() {
    m_Server.PublishMails();
    m_Server.HoldMails();
    TDriverFixture::Start();
  }

  /// Returns when all that was published before has been applied.
  void Release() {
    m_Server.ReleaseMails();
    m_Server.Publish(4, 1, {{3001, "the end", "9", ""}});
    std::size_t Told = 0;
    do {
      ASSERT_TRUE(m_Notifier.WaitFor(++Told));
    } while (m_Notifier.get_Lines()[Told - 1] != "PlantName[9]@=the end");
  }

  /// Runs `Action` while another thread puts an answer to use.
  void WhileAnAnswerIsInHand(std::function<void()> Action) {
    m_Server.AnswerOne({{1002, "5", "", kOtherMAC, true}});
    TRecordingNotifier Listener;
    bool Done = false;
    Listener.m_OnTold = [&] {
      if (!std::exchange(Done, true)) {
        Action();
      }
    };
    Listener.Enable();
    OnAnotherThread([&] { GetProperty(m_Schema.m_Count, TCRecordID(), kOtherMAC); });
  }
};

void InUpperCase(TCCommonPropertyObject& Value) {
  Value.SetRealValue("MINE");
}

struct TCPropertyCollectionDriverTransaction : TDriverFixture {
  TCPropertyTransaction m_Transaction;
};

struct TCPropertyCollectionDriverList : TDriverFixture {
  void Store(Property::TCPropertyID const& ID, int Link, std::string const& Data,
             std::string const& MAC) {
    Driver()->UpdateProperty(ID, Link != 0 ? TCRecordID(Link) : TCRecordID(), Data, MAC);
  }
};

}  // namespace

// ---- single changes ----

TEST_F(TCPropertyCollectionDriverChange, SendsAChange) {
  Start();

  SetProperty(m_Schema.m_Name, "new", TCRecordID(7));

  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1001 data=\"new\" link=\"7\" "
                                       "mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, LeavesTheLinkOfAnUnlinkedValueOut) {
  Start();

  SetProperty(m_Schema.m_Name, "new");

  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1001 data=\"new\" "
                                       "mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, SendsASystemWideValueWithAnEmptyMAC) {
  Start();

  SetProperty(m_Schema.m_SiteName, "Harbour");

  EXPECT_THAT(SentMails(),
              ElementsAre("property v2 Change 3: {id=2001 data=\"Harbour\" mac=\"\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, SendsAnotherDevicesValueUnderItsMAC) {
  Start(true);

  SetProperty(m_Schema.m_Name, "theirs", TCRecordID(), kOtherMAC);

  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1001 data=\"theirs\" "
                                       "mac=\"00:11:22:33:44:66\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, SendsTheNumberOfAChoice) {
  Start();

  SetProperty(m_Schema.m_Mode, "off");

  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1010 data=\"1011\" "
                                       "mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, SendsOneMailAChangeInTheirOrder) {
  Start();

  SetProperty(m_Schema.m_Count, 2);
  SetProperty(m_Schema.m_Count, 1);

  EXPECT_THAT(
      SentMails(),
      ElementsAre("property v2 Change 3: {id=1002 data=\"2\" mac=\"00:11:22:33:44:55\" loaded=0}",
                  "property v2 Change 3: {id=1002 data=\"1\" mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, SendsNothingForAnEqualValue) {
  m_Server.AnswerAll({{1001, "same", "", kOwnMAC}});
  Start();

  SetProperty(m_Schema.m_Name, "same");

  EXPECT_THAT(SentMails(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverChange, SendsAChangeBeforeItIsTold) {
  std::vector<std::string> Sent;
  m_Notifier.m_OnTold = [&] { Sent = SentMails(); };
  Start();

  SetProperty(m_Schema.m_Name, "new");

  EXPECT_EQ(Sent.size(), 1u);
}

TEST_F(TCPropertyCollectionDriverChange, TakesNoLockToSend) {
  Start();
  TCCommonPropertyObject Value(m_Schema.m_Name, TCRecordID(), kOwnMAC);
  Value.SetRealValue("new");
  TCCriticalSectionLock const Held(TTestStore::m_CSection);

  // Comes to its end although another thread holds the store.
  OnAnotherThread([&] { Driver()->OnPropertyChanged(Value); });

  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1001 data=\"new\" "
                                       "mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverChange, IsNotTakenBackByItsOwnEcho) {
  Start();

  SetProperty(m_Schema.m_Name, "new");

  EXPECT_EQ(SentMails().size(), 1u);
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=new"));
}

// ---- changes on their way ----

TEST_F(TCPropertyCollectionDriverOwnChange, KeepsItsCorrectionWhenItsCopyComesAfterAnAnswer) {
  Start();
  SetPropertyValidation(m_Schema.m_Name, &InUpperCase);
  WhileAnAnswerIsInHand([&] {
    SetProperty(m_Schema.m_Name, "mine");
    GetProperty(m_Schema.m_Name);
  });

  Release();

  EXPECT_EQ(Driver()->getPropertyData(m_Schema.m_Name, TCRecordID(), kOwnMAC), "MINE");
  EXPECT_THAT(m_Notifier.get_Lines(),
              UnorderedElementsAre("Count[]@00:11:22:33:44:66=5", "Name[]@00:11:22:33:44:55=mine",
                                   "Name[]@00:11:22:33:44:55=MINE", "PlantName[9]@=the end"));
}

TEST_F(TCPropertyCollectionDriverOwnChange, StaysRemovedWhenItsCopyComesAfterAnAnswer) {
  Start();
  WhileAnAnswerIsInHand([&] {
    SetProperty(m_Schema.m_Name, "mine");
    Driver()->DeleteProperty(m_Schema.m_Name, TCRecordID(), "");
  });

  Release();

  EXPECT_THAT(StoredLines(), ElementsAre("Count[]@00:11:22:33:44:66=5", "PlantName[9]@=the end"));
}

TEST_F(TCPropertyCollectionDriverOwnChange, LiesOverAnOlderAnswerToAFetch) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});
  Start();
  SetProperty(m_Schema.m_Name, "mine");
  SetProperty(m_Schema.m_SiteName, "mine, too");

  Driver()->Fetch();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine",
                                         "Count[]@00:11:22:33:44:55=5", "SiteName[]@=mine, too"));
  Release();
  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "SiteName[]@=mine, too",
                          "PlantName[9]@=the end"));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).GetRealValue(), "mine");
}

TEST_F(TCPropertyCollectionDriverOwnChange, LiesOverAnOlderAnswerWhenItIsMadeMeanwhile) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}});
  Start();
  m_Server.OnRequest([&] { SetProperty(m_Schema.m_Name, "mine"); });

  Driver()->Fetch();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine"));
  Release();
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine", "PlantName[9]@=the end"));
}

TEST_F(TCPropertyCollectionDriverOwnChange, LiesOverAnAnswerWithItsCorrection) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}});
  Start();
  SetPropertyValidation(m_Schema.m_Name, &InUpperCase);
  SetProperty(m_Schema.m_Name, "mine");
  GetProperty(m_Schema.m_Name);

  Driver()->Fetch();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=MINE"));
  Release();
  EXPECT_EQ(Driver()->getPropertyData(m_Schema.m_Name, TCRecordID(), kOwnMAC), "MINE");
}

TEST_F(TCPropertyCollectionDriverOwnChange, LiesOverAnOlderAnswerToAReadOfAnotherThread) {
  m_Server.AnswerOne({{1001, "old", "", kOtherMAC, true}});
  Start();
  m_Server.OnRequest([&] { SetProperty(m_Schema.m_Name, "mine", TCRecordID(), kOtherMAC); });

  TCCommonPropertyObject const Read = GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_EQ(Read.GetRealValue(), "old");
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:66=mine"));
  Release();
  EXPECT_EQ(GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC).GetRealValue(), "mine");
}

TEST_F(TCPropertyCollectionDriverOwnChange, ComesBackWithItsCopyWhenTheStoreWasEmptied) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}});
  Start();
  SetProperty(m_Schema.m_Name, "mine");
  SetProperty(m_Schema.m_SiteName, "mine, too");
  Driver()->Clear();

  Driver()->Fetch();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=old"));
  Release();
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine", "SiteName[]@=mine, too",
                                         "PlantName[9]@=the end"));
}

TEST_F(TCPropertyCollectionDriverOwnChange, ComesBackWithItsCopyAfterAFetchThatFailed) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}});
  Start();
  SetProperty(m_Schema.m_Name, "mine");
  m_Server.Refuse();
  EXPECT_THROW(Driver()->Fetch(), TCException);
  EXPECT_THAT(StoredLines(), IsEmpty());
  m_Server.Refuse(false);

  Driver()->Fetch();
  Release();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine", "PlantName[9]@=the end"));
}

// ---- transactions ----

TEST_F(TCPropertyCollectionDriverTransaction, LeavesInOneMailInTheOrderOfTheKeys) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_SiteName, "Harbour");
  SetProperty(m_Schema.m_Count, 3);
  SetProperty(m_Schema.m_Name, "linked", TCRecordID(7));
  SetProperty(m_Schema.m_Name, "theirs", TCRecordID(), kOtherMAC);
  SetProperty(m_Schema.m_Name, "mine");

  m_Transaction.Commit();

  EXPECT_THAT(SentMails(),
              ElementsAre("property v2 Change 3: "
                          "{id=1001 data=\"mine\" mac=\"00:11:22:33:44:55\" loaded=0} "
                          "{id=1001 data=\"theirs\" mac=\"00:11:22:33:44:66\" loaded=0} "
                          "{id=1001 data=\"linked\" link=\"7\" mac=\"00:11:22:33:44:55\" loaded=0} "
                          "{id=1002 data=\"3\" mac=\"00:11:22:33:44:55\" loaded=0} "
                          "{id=2001 data=\"Harbour\" mac=\"\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverTransaction, SendsNothingBeforeItIsCommitted) {
  Start();
  m_Transaction.Begin();

  SetProperty(m_Schema.m_Name, "pending");

  EXPECT_THAT(SentMails(), IsEmpty());
  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverTransaction, ChangesStoredValuesAndAddsMissingOnes) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}});
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "new");
  SetProperty(m_Schema.m_Count, 3);

  m_Transaction.Commit();

  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=new", "Count[]@00:11:22:33:44:55=3"));
}

TEST_F(TCPropertyCollectionDriverTransaction, KeepsTheStoredObjects) {
  m_Server.AnswerAll({{1001, "old", "", kOwnMAC}});
  Start();
  std::string const& Text = Driver()->getPropertyData(m_Schema.m_Name, TCRecordID(), kOwnMAC);
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "new");

  m_Transaction.Commit();

  EXPECT_EQ(Text, "new");
}

TEST_F(TCPropertyCollectionDriverTransaction, MarksItsValuesAsLoaded) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "new");

  m_Transaction.Commit();

  EXPECT_TRUE(GetProperty(m_Schema.m_Name).get_Loaded());
}

TEST_F(TCPropertyCollectionDriverTransaction, TellsEachChangeInTheOrderOfTheKeys) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_SiteName, "Harbour");
  SetProperty(m_Schema.m_Count, 3);
  SetProperty(m_Schema.m_Name, "mine");

  m_Transaction.Commit();

  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=3",
                          "SiteName[]@=Harbour"));
}

TEST_F(TCPropertyCollectionDriverTransaction, TellsAChangeThatTheStoreHasTakenMeanwhile) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "same");
  Driver()->UpdateProperty(m_Schema.m_Name, TCRecordID(), "same", kOwnMAC);

  m_Transaction.Commit();

  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=same"));
  EXPECT_EQ(SentMails().size(), 1u);
}

TEST_F(TCPropertyCollectionDriverTransaction, TellsLastWhatStandsWhenAChangeCameMeanwhile) {
  bool Done = false;
  m_Notifier.m_OnTold = [&] {
    if (!std::exchange(Done, true)) {
      Driver()->UpdateProperty(m_Schema.m_Count, TCRecordID(), "9", true, kOwnMAC);
    }
  };
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");
  SetProperty(m_Schema.m_Count, 3);

  m_Transaction.Commit();

  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=9",
                          "Count[]@00:11:22:33:44:55=3", "Count[]@00:11:22:33:44:55=9"));
}

TEST_F(TCPropertyCollectionDriverTransaction, TellsLastThatAValueWasRemovedMeanwhile) {
  bool Done = false;
  m_Notifier.m_OnTold = [&] {
    if (!std::exchange(Done, true)) {
      Driver()->DeleteProperty(m_Schema.m_Count, TCRecordID(), kOwnMAC);
    }
  };
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");
  SetProperty(m_Schema.m_Count, 3);

  m_Transaction.Commit();

  EXPECT_THAT(m_Notifier.get_Lines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "deleted Count[]@00:11:22:33:44:55=3",
                          "Count[]@00:11:22:33:44:55=3", "deleted Count[]@00:11:22:33:44:55=3"));
}

TEST_F(TCPropertyCollectionDriverTransaction, IsSentAndStoredBeforeItIsTold) {
  std::vector<std::size_t> Sent;
  std::vector<std::vector<std::string>> Stored;
  m_Notifier.m_OnTold = [&] {
    Sent.push_back(SentMails().size());
    Stored.push_back(StoredLines());
  };
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");
  SetProperty(m_Schema.m_Count, 3);

  m_Transaction.Commit();

  auto const Both = ElementsAre("Name[]@00:11:22:33:44:55=mine", "Count[]@00:11:22:33:44:55=3");
  EXPECT_THAT(Sent, ElementsAre(1u, 1u));
  EXPECT_THAT(Stored, ElementsAre(Both, Both));
}

TEST_F(TCPropertyCollectionDriverTransaction, IsClosedBeforeItIsTold) {
  TCPropertyTransaction* Open = &m_Transaction;
  m_Notifier.m_OnTold = [&] { Open = TCPropertyCollection::InTransaction(); };
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");

  m_Transaction.Commit();

  EXPECT_EQ(Open, nullptr);
  EXPECT_FALSE(m_Transaction.get_Active());
}

TEST_F(TCPropertyCollectionDriverTransaction, KeepsItsChangesAfterTheCommit) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");

  m_Transaction.Commit();

  EXPECT_EQ(m_Transaction.get_Changes().size(), 1u);
}

TEST_F(TCPropertyCollectionDriverTransaction, CommitsTheFirstOfTwoSetsOfOneKey) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "first");
  SetProperty(m_Schema.m_Name, "second");

  m_Transaction.Commit();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=first"));
  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1001 data=\"first\" "
                                       "mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_F(TCPropertyCollectionDriverTransaction, SendsNothingWhenItIsEmpty) {
  Start();
  m_Transaction.Begin();

  m_Transaction.Commit();

  EXPECT_THAT(SentMails(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverTransaction, IsClosedWhenItIsCommittedEmpty) {
  Start();
  m_Transaction.Begin();

  m_Transaction.Commit();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_FALSE(m_Transaction.get_Active());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverTransaction, SendsNothingWhenItIsRolledBack) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "dropped");

  m_Transaction.Rollback();

  EXPECT_THAT(SentMails(), IsEmpty());
  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverTransaction, HoldsTheStoreWhileItWritesItsChanges) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Mode, "1011");
  SetProperty(m_Schema.m_SiteMode, "2012");
  std::vector<bool> Free;  // wherever a choice traces that it changes
  TCapturedTraces const Traces([&](std::string const& /*Text*/) { Free.push_back(IsStoreFree()); });

  m_Transaction.Commit();

  EXPECT_THAT(Free, Not(IsEmpty()));
  EXPECT_THAT(Free, Each(false));
}

TEST_F(TCPropertyCollectionDriverTransaction, LeavesTheStoreFree) {
  Start();
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");

  m_Transaction.Commit();

  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverTransaction, LetsANotifierSetAProperty) {
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
  m_Transaction.Begin();
  SetProperty(m_Schema.m_Name, "mine");

  m_Transaction.Commit();

  EXPECT_THAT(
      SentMails(),
      ElementsAre(
          "property v2 Change 3: {id=1001 data=\"mine\" mac=\"00:11:22:33:44:55\" loaded=0}",
          "property v2 Change 3: {id=1002 data=\"6\" mac=\"00:11:22:33:44:55\" loaded=0}"));
}

// ---- lists ----

TEST_F(TCPropertyCollectionDriverList, HoldsEveryValueOfAPropertyWhoseClassHasATable) {
  Start();
  Store(m_Schema.m_Name, 7, "linked", kOwnMAC);
  Store(m_Schema.m_Name, 0, "theirs", kOtherMAC);
  Store(m_Schema.m_Name, 0, "mine", kOwnMAC);
  Store(m_Schema.m_Name, 0, "nobody's", "");

  EXPECT_THAT(AsLines(Driver()->DoLoadPropertyList(m_Schema.m_Name)),
              ElementsAre("Name[]@=nobody's", "Name[]@00:11:22:33:44:55=mine",
                          "Name[]@00:11:22:33:44:66=theirs", "Name[7]@00:11:22:33:44:55=linked"));
}

TEST_F(TCPropertyCollectionDriverList, HoldsOnlyLinkedValuesOfAPropertyWhoseClassHasNoTable) {
  Start();
  Store(m_Schema.m_PlantName, 0, "unlinked", "");
  Store(m_Schema.m_PlantName, 8, "second", "");
  Store(m_Schema.m_PlantName, 7, "first", "");

  EXPECT_THAT(AsLines(Driver()->DoLoadPropertyList(m_Schema.m_PlantName)),
              ElementsAre("PlantName[7]@=first", "PlantName[8]@=second"));
}

TEST_F(TCPropertyCollectionDriverList, HoldsNoOtherProperty) {
  Start();
  Store(m_Schema.m_Name, 0, "before", kOwnMAC);
  Store(m_Schema.m_Count, 0, "5", kOwnMAC);
  Store(m_Schema.m_Flag, 0, "1", kOwnMAC);

  EXPECT_THAT(AsLines(Driver()->DoLoadPropertyList(m_Schema.m_Count)),
              ElementsAre("Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverList, IsEmptyForAPropertyWithoutValues) {
  Start();
  Store(m_Schema.m_Flag, 0, "1", kOwnMAC);

  EXPECT_THAT(Driver()->DoLoadPropertyList(m_Schema.m_Name), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverList, IsWhatTheStoreAnswers) {
  Start();
  Store(m_Schema.m_Name, 0, "mine", kOwnMAC);

  EXPECT_THAT(AsLines(Driver()->GetProperties(m_Schema.m_Name)),
              ElementsAre("Name[]@00:11:22:33:44:55=mine"));
}

TEST_F(TCPropertyCollectionDriverList, HoldsCopies) {
  Start();
  Store(m_Schema.m_Name, 0, "old", kOwnMAC);
  std::list<TCCommonPropertyObject> const List = Driver()->DoLoadPropertyList(m_Schema.m_Name);

  Store(m_Schema.m_Name, 0, "new", kOwnMAC);

  EXPECT_THAT(AsLines(List), ElementsAre("Name[]@00:11:22:33:44:55=old"));
}

TEST_F(TCPropertyCollectionDriverList, FailsForAPropertyOfNoClass) {
  Start();

  TCException const Exception =
      CaughtException([&] { Driver()->DoLoadPropertyList(m_Schema.m_Loose); });

  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCPropertyContainer");
  EXPECT_EQ(Exception.get_Message(), "Property Container 0 have no TableID relation");
}
