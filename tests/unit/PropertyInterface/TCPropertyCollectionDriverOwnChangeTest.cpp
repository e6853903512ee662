// SPDX-License-Identifier: MIT
// Changes on their way: what an answer or a published mail may not replace.
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

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

}  // namespace

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
