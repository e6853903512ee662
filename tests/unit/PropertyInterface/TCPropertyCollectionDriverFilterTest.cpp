// SPDX-License-Identifier: MIT
// Received values of other devices, and which of them are taken.
#include "DriverFixture.h"

using Accessories::TCRecordID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionDriverFilter : TDriverFixture {};

}  // namespace

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
