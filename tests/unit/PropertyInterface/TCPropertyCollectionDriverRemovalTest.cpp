// SPDX-License-Identifier: MIT
// Received mails that say what the server does not hold.
#include "DriverFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionDriverRemoval : TDriverFixture {};
struct TCPropertyCollectionDriverWhole : TDriverFixture {};

/// As the first record: what the mail does not have, the server does not hold.
TRecord const kWhole{TRecord::kNothing, "", "", ""};

/// Says that the server holds no value of `ID` for this device.
TRecord NoValue(int ID) {
  return {ID, "", "", kOwnMAC, false, false};
}

}  // namespace

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
