// SPDX-License-Identifier: MIT
// What values are called among the changes on their way.
#include "PropertyInterface/ChangeKey.h"

#include <gmock/gmock.h>

#include <limits>
#include <set>

#include "tests/unit/CommonProperties/StoreFixture.h"

using Accessories::TCRecordID;
using Property::ChangeKey;
using Property::TCPropertyKey;

namespace {

constexpr int kNumber = 1002;  // of the schema
constexpr std::size_t kLongestKey = 15;

struct ChangeKeys : TSchemaFixture {};

void ExpectSame(TCPropertyKey const& Key, TCRecordID const& Link, std::string const& MAC) {
  EXPECT_EQ(Key.get_ID().get_Number(), kNumber);
  EXPECT_EQ(Key.get_Link(), Link);
  EXPECT_EQ(Key.get_MAC().get_AsString(':'), MAC);
}

}  // namespace

TEST_F(ChangeKeys, NameThePlaceInTheStore) {
  TTestStore Store;
  int const Greatest = std::numeric_limits<int>::max();
  int const Least = std::numeric_limits<int>::min();
  for (std::string const MAC :
       {"", "00:00:00:00:00:00", "00:11:22:33:44:55", "FE:DC:BA:98:76:54", "FF:FF:FF:FF:FF:FF"}) {
    for (TCRecordID const& Link : {TCRecordID(), TCRecordID(0), TCRecordID(1), TCRecordID(-1),
                                   TCRecordID(Greatest), TCRecordID(Least)}) {
      std::string const Key = ChangeKey(kNumber, Link, TCMACAddress(MAC));
      EXPECT_LE(Key.size(), kLongestKey);
      ExpectSame(Property::StoreKey(Key), Link, MAC);
    }
  }
}

TEST_F(ChangeKeys, AreAllDifferent) {
  std::set<std::string> Keys;
  for (int const Number : {0, 1, -1, 256}) {
    for (TCRecordID const& Link : {TCRecordID(), TCRecordID(0), TCRecordID(1), TCRecordID(-1)}) {
      for (char const* const MAC : {"", "00:00:00:00:00:00", "00:00:00:00:00:01", kOwnMAC}) {
        Keys.insert(ChangeKey(Number, Link, TCMACAddress(MAC)));
      }
    }
  }
  EXPECT_EQ(Keys.size(), 64U);
}

TEST_F(ChangeKeys, OfPropertiesThatTheSchemaLacksNameNoPlace) {
  TTestStore Store;
  TCException const Exception =
      CaughtException([] { Property::StoreKey(ChangeKey(1, TCRecordID(), TCMACAddress())); });
  EXPECT_EQ(Exception.get_Message(), "Property ID 1 is not defined");
}
