// SPDX-License-Identifier: MIT
// Changes of this process: the mails it sends.
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionDriverChange : TDriverFixture {};

}  // namespace

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
