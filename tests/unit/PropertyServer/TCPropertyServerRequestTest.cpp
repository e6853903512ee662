// SPDX-License-Identifier: MIT
// How the server answers requests, and which it refuses.
#include <gmock/gmock.h>

#include <filesystem>

#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

using Accessories::TCRecordID;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

TCMACAddress const kOwn("00:11:22:33:44:55");
TCMACAddress const kOther("00:11:22:33:44:66");

struct PropertyServerRequest : TPropertyServiceFixture {
  PropertyServerRequest() {
    Store({{1, TCRecordID(), TCMACAddress(), "for all"},
           {2, TCRecordID(), kOwn, "own"},
           {2, TCRecordID(), kOther, "other"},
           {2, TCRecordID(7), kOther, ""}});
    Start();
  }

  // The request is refused, and the log says why.
  void ExpectRefused(TSNorvMailContent const& Request, std::string const& Reason) {
    EXPECT_EQ(m_Proxy.Ask(Request), "refused");
    EXPECT_THAT(Errors().WaitFor(1), ElementsAre(EndsWith(" refused: Malformed mail: " + Reason)));
  }

  TPropertyProxy m_Proxy;
};

}  // namespace

TEST_F(PropertyServerRequest, ForAllIsAnsweredWithEveryValueInTheOrderOfKeys) {
  EXPECT_EQ(m_Proxy.Ask(RequestAll(1)),
            "property v2 Change 1:"
            " {id=1 data=\"for all\" mac=\"\" loaded=0}"
            " {id=2 data=\"own\" mac=\"00:11:22:33:44:55\" loaded=0}"
            " {id=2 data=\"other\" mac=\"00:11:22:33:44:66\" loaded=0}"
            " {id=2 data=\"\" link=\"7\" mac=\"00:11:22:33:44:66\" loaded=0}");
}

TEST_F(PropertyServerRequest, ForAllOfTheOwnDeviceIsAnsweredWithItsValuesAndThoseOfNone) {
  EXPECT_EQ(m_Proxy.Ask(RequestAll(0)),
            "property v2 Change 1:"
            " {id=1 data=\"for all\" mac=\"\" loaded=0}"
            " {id=2 data=\"own\" mac=\"00:11:22:33:44:55\" loaded=0}");
}

TEST_F(PropertyServerRequest, ForAllIsAnsweredWithWhatHasChangedSinceTheLastAnswer) {
  std::string const Before = m_Proxy.Ask(RequestAll(1));
  EXPECT_EQ(m_Proxy.Ask(RequestAll(1)), Before);
  m_Proxy.Send(Change({{1, "changed", "", ""}}));
  ASSERT_TRUE(m_Proxy.IsAcknowledged());
  EXPECT_THAT(m_Proxy.Ask(RequestAll(1)), HasSubstr("{id=1 data=\"changed\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerRequest, ForAllIsAnsweredWithALargeValueAgainAndAgain) {
  std::string const Large(kLargeText, 'x');
  m_Proxy.Send(Change({{1, Large, "", ""}}));
  ASSERT_TRUE(m_Proxy.IsAcknowledged());
  std::string const Record = "{id=1 data=\"" + Large + "\" mac=\"\" loaded=0}";
  for (int Time = 0; Time < 3; ++Time) {
    EXPECT_NE(m_Proxy.Ask(RequestAll(1)).find(Record), std::string::npos);
  }
}

TEST_F(PropertyServerRequest, ForAllIsAnsweredWithoutRecordsWhenThereAreNoValues) {
  Stop();
  std::filesystem::remove(Path());
  Start();
  EXPECT_EQ(m_Proxy.Ask(RequestAll(1)), "property v2 Change 1:");
}

TEST_F(PropertyServerRequest, ForOneIsAnsweredWithItsValue) {
  EXPECT_EQ(m_Proxy.Ask(RequestOne({2, "", "", "00:11:22:33:44:66"})),
            "property v2 Event 2: {id=2 data=\"other\" mac=\"00:11:22:33:44:66\" loaded=1}");
}

TEST_F(PropertyServerRequest, ForOneThatIsEmptyIsAnsweredAsLoaded) {
  EXPECT_EQ(m_Proxy.Ask(RequestOne({2, "", "7", "00:11:22:33:44:66"})),
            "property v2 Event 2: {id=2 data=\"\" link=\"7\" mac=\"00:11:22:33:44:66\" loaded=1}");
}

TEST_F(PropertyServerRequest, ForOneThatIsMissingIsAnsweredAsNotLoaded) {
  EXPECT_EQ(m_Proxy.Ask(RequestOne({2, "", "8", "00:11:22:33:44:66"})),
            "property v2 Event 2: {id=2 data=\"\" link=\"8\" mac=\"00:11:22:33:44:66\" loaded=0}");
  EXPECT_EQ(m_Proxy.Ask(RequestOne({1, "", "", "00:11:22:33:44:66"})),
            "property v2 Event 2: {id=1 data=\"\" mac=\"00:11:22:33:44:66\" loaded=0}");
  EXPECT_EQ(m_Proxy.Ask(RequestOne({3, "", "", ""})),
            "property v2 Event 2: {id=3 data=\"\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerRequest, OfAnotherSignalIsRefused) {
  EXPECT_EQ(m_Proxy.Ask({Norv_PropertyMail, eNorvRequest, 3, TCNorvMailBody::Empty()}), "refused");
  EXPECT_EQ(m_Proxy.Ask(Change({{1, "changed", "", ""}})), "refused");
  EXPECT_EQ(m_Proxy.get_Refusal(), "the service refuses");
}

TEST_F(PropertyServerRequest, OfAnotherMailClassIsRefused) {
  EXPECT_EQ(m_Proxy.Ask({TCNorvMailClassID("property", 3), eNorvRequest, 1, RequestAll(1).Body}),
            "refused");
  EXPECT_EQ(m_Proxy.get_Refusal(), "the service refuses");
}

TEST_F(PropertyServerRequest, ForAllWithoutARecordIsRefused) {
  ExpectRefused({Norv_PropertyMail, eNorvRequest, 1, TCNorvMailBody::Empty()},
                "a request for all properties has one record");
}

TEST_F(PropertyServerRequest, ForAllOfAnotherLayoutIsRefused) {
  ExpectRefused(Foreign(eNorvRequest, 1), "records of another layout");
}

TEST_F(PropertyServerRequest, ForOneOfAnotherLayoutIsRefused) {
  ExpectRefused(Foreign(eNorvRequest, 2), "records of another layout");
}

TEST_F(PropertyServerRequest, ForOneWithTwoRecordsIsRefused) {
  ExpectRefused(Values(eNorvRequest, 2, {{1, "", "", ""}, {2, "", "", ""}}),
                "a request for one property has one record");
}

TEST_F(PropertyServerRequest, ForOneWithALinkThatIsNoNumberIsRefused) {
  ExpectRefused(RequestOne({1, "", "seven", ""}), "a link that is no number");
}

TEST_F(PropertyServerRequest, ForOneWithADeviceThatIsNoMACIsRefused) {
  ExpectRefused(RequestOne({1, "", "", "00:11"}), "a device that is no MAC address");
}
