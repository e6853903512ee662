// SPDX-License-Identifier: MIT
// Transactions: what is sent, stored and told, and in which order.
#include "CommonProperties/TCPropertyTransaction.h"
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyCollection;
using Property::TCPropertyTransaction;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

struct TCPropertyCollectionDriverTransaction : TDriverFixture {
  TCPropertyTransaction m_Transaction;
};

}  // namespace

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
