// SPDX-License-Identifier: MIT
// Reads of values that the store does not hold: defaults for this device, requests for others.
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

struct TCPropertyCollectionDriverFetch : TDriverFixture {
  /// The requests that followed the one of the start.
  std::vector<std::string> RequestsForOne() {
    std::vector<std::string> Requests = m_Server.get_Requests();
    Requests.erase(Requests.begin());
    return Requests;
  }

  TCPropertyID& m_Level = *new TCPropertyID("Level", 1004, "", 1000, 0x10, 42);
};

}  // namespace

// ---- this device ----

TEST_F(TCPropertyCollectionDriverFetch, GivesAnOwnValueItsDefault) {
  Start();

  TCCommonPropertyObject const Value = GetProperty(m_Level);

  EXPECT_EQ(AsLine(Value), "Level[]@00:11:22:33:44:55=42");
  EXPECT_TRUE(Value.get_Defined());
}

TEST_F(TCPropertyCollectionDriverFetch, GivesAnOwnValueOfAnExplicitMACItsDefault) {
  Start();

  EXPECT_EQ(GetProperty(m_Level, TCRecordID(7), kOwnMAC).get_AsInteger(), 42);
}

TEST_F(TCPropertyCollectionDriverFetch, GivesAnOwnChoiceItsDefault) {
  Start();

  EXPECT_EQ(GetProperty(m_Schema.m_Mode).GetRealValue(), "1012");
}

TEST_F(TCPropertyCollectionDriverFetch, GivesASystemWideValueItsDefault) {
  Start();

  EXPECT_EQ(AsLine(GetProperty(m_Schema.m_SiteMode)), "SiteMode[]@=2011");
}

TEST_F(TCPropertyCollectionDriverFetch, LeavesAnOwnValueWithoutDefaultEmpty) {
  Start();

  TCCommonPropertyObject const Value = GetProperty(m_Schema.m_Name);

  EXPECT_EQ(Value.GetRealValue(), "");
  EXPECT_TRUE(Value.get_Defined());
}

TEST_F(TCPropertyCollectionDriverFetch, SendsNothingForOwnValues) {
  Start();

  GetProperty(m_Level);
  GetProperty(m_Level, TCRecordID(7), kOwnMAC);
  GetProperty(m_Schema.m_SiteName);

  EXPECT_THAT(RequestsForOne(), IsEmpty());
  EXPECT_THAT(SentMails(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverFetch, StoresNoDefault) {
  Start();

  GetProperty(m_Level);

  EXPECT_THAT(StoredLines(), IsEmpty());
}

// ---- another device ----

TEST_F(TCPropertyCollectionDriverFetch, AsksForAnotherDevicesValue) {
  m_Server.AnswerOne({{1001, "theirs", "7", kOtherMAC, true}});
  Start();

  TCCommonPropertyObject const Value = GetProperty(m_Schema.m_Name, TCRecordID(7), kOtherMAC);

  EXPECT_EQ(AsLine(Value), "Name[7]@00:11:22:33:44:66=theirs");
  EXPECT_TRUE(Value.get_Defined());
  EXPECT_THAT(RequestsForOne(),
              ElementsAre("property v2 Request 2: {id=1001 link=\"7\" mac=\"00:11:22:33:44:66\"}"));
}

TEST_F(TCPropertyCollectionDriverFetch, AsksWithTheNullLinkOfAnUnlinkedValue) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start();

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_THAT(RequestsForOne(),
              ElementsAre("property v2 Request 2: {id=1001 link=\"\" mac=\"00:11:22:33:44:66\"}"));
}

TEST_F(TCPropertyCollectionDriverFetch, StoresALoadedAnswer) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start();

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:66=theirs"));
}

TEST_F(TCPropertyCollectionDriverFetch, TellsALoadedAnswer) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start();

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:66=theirs"));
}

TEST_F(TCPropertyCollectionDriverFetch, DoesNotAskAgainForWhatItStored) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start();

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);
  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_EQ(RequestsForOne().size(), 1u);
}

TEST_F(TCPropertyCollectionDriverFetch, HandsAnAnswerThatIsNotLoadedToTheCallerOnly) {
  m_Server.AnswerOne({{1001, "unknown there", "", kOtherMAC, false}});
  Start();

  TCCommonPropertyObject const Value = GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_EQ(AsLine(Value), "Name[]@00:11:22:33:44:66=unknown there");
  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverFetch, AsksAgainForWhatWasNotLoaded) {
  m_Server.AnswerOne({{1001, "", "", kOtherMAC, false}});
  Start();

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);
  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_EQ(RequestsForOne().size(), 2u);
}

TEST_F(TCPropertyCollectionDriverFetch, TakesTheAnswerUnderAnyBoundSignal) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}}, 2, 3);
  Start();

  EXPECT_EQ(GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC).GetRealValue(), "theirs");
}

TEST_F(TCPropertyCollectionDriverFetch, StoresAnAnswerWhereItSaysThatItBelongs) {
  m_Server.AnswerOne({{1002, "5", "8", kThirdMAC, true}});
  Start();

  TCCommonPropertyObject const Value = GetProperty(m_Schema.m_Name, TCRecordID(7), kOtherMAC);

  EXPECT_EQ(AsLine(Value), "Name[7]@00:11:22:33:44:66=5");
  EXPECT_THAT(StoredLines(), ElementsAre("Count[8]@00:11:22:33:44:77=5"));
}

TEST_F(TCPropertyCollectionDriverFetch, StoresALoadedAnswerDespiteTheFilter) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start(true);

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:66=theirs"));
}

TEST_F(TCPropertyCollectionDriverFetch, DoesNotHoldTheStoreWhileItWaits) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start();
  bool Free = false;
  m_Server.OnRequest([&] { Free = IsStoreFree(); });

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_TRUE(Free);
}

TEST_F(TCPropertyCollectionDriverFetch, AnswersTrueForEveryValueThatItGives) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, false}});
  Start();
  TCCommonPropertyObject Own(m_Schema.m_Name, TCRecordID(), kOwnMAC);
  TCCommonPropertyObject Nobodys(m_Schema.m_Name, TCRecordID(), "");
  TCCommonPropertyObject Theirs(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_TRUE(Driver()->OnFetchProperty(Own));
  EXPECT_TRUE(Driver()->OnFetchProperty(Nobodys));
  EXPECT_TRUE(Driver()->OnFetchProperty(Theirs));
  EXPECT_EQ(Theirs.GetRealValue(), "theirs");
}

// ---- traces ----

TEST_F(TCPropertyCollectionDriverFetch, TracesARequestWithTheNameOfTheProperty) {
  m_Server.AnswerOne({{1001, "theirs", "", kOtherMAC, true}});
  Start();
  TCapturedTraces const Traces;

  GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_THAT(Traces.get_Traces(), Contains("PROPERTY: Fetch property Name from server"));
}

TEST_F(TCPropertyCollectionDriverFetch, TracesNoRequestForAnOwnValue) {
  Start();
  TCapturedTraces const Traces;

  GetProperty(m_Schema.m_Name);

  EXPECT_THAT(Traces.get_Traces(), Not(Contains(StartsWith("PROPERTY: Fetch property"))));
}

// ---- failures ----

TEST_F(TCPropertyCollectionDriverFetch, AnswersFalseWhenTheServerDoesNotAnswer) {
  Start();
  m_Server.Refuse();
  TCCommonPropertyObject Value(m_Schema.m_Name, TCRecordID(), kOtherMAC);

  EXPECT_FALSE(Driver()->OnFetchProperty(Value));
  EXPECT_EQ(Value.GetRealValue(), "");
}

TEST_F(TCPropertyCollectionDriverFetch, MakesTheStoreReportThatTheServerDoesNotAnswer) {
  Start();
  m_Server.Refuse();

  TCException const Exception =
      CaughtException([&] { GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC); });

  ExpectStoreException(Exception, "", "Unable to load Property Name(1001) String Field");
  EXPECT_THAT(m_Log.get_Warnings(),
              Contains("Timeout. Cannot fetch property Name(1001) String Field"));
}

TEST_F(TCPropertyCollectionDriverFetch, RefusesAnAnswerWithoutRecord) {
  m_Server.AnswerOne({});
  Start();

  TCException const Exception =
      CaughtException([&] { GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC); });

  ExpectDriverException(Exception, 220, "Mail.RecordCount() == 1",
                        "Missing property response record");
}

TEST_F(TCPropertyCollectionDriverFetch, RefusesAnAnswerWithTwoRecords) {
  m_Server.AnswerOne({{1001, "a", "", kOtherMAC, true}, {1001, "b", "", kOtherMAC, true}});
  Start();

  TCException const Exception =
      CaughtException([&] { GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC); });

  ExpectDriverException(Exception, 220, "Mail.RecordCount() == 1",
                        "Missing property response record");
  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverFetch, RefusesAnAnswerForAnUnknownProperty) {
  m_Server.AnswerOne({{9999, "theirs", "", kOtherMAC, true}});
  Start();

  TCException const Exception =
      CaughtException([&] { GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC); });

  ExpectDriverException(Exception, 222, "PropID!=__null", "Property ID 9999 is not defined");
  EXPECT_THAT(StoredLines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverFetch, LeavesTheStoreFreeAfterARefusedAnswer) {
  m_Server.AnswerOne({});
  Start();

  EXPECT_THROW(GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC), TCException);

  EXPECT_TRUE(IsStoreFree());
}
