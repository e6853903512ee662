// SPDX-License-Identifier: MIT
// Record identifiers: null, text and order.
#include "Platform/Utility/TCRecordID.h"

#include <gmock/gmock.h>

#include <limits>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

using Accessories::TCRecordID;

namespace {

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kGreatest = std::numeric_limits<int>::max();

static_assert(sizeof(TCRecordID) == 8);
static_assert(std::is_trivially_copyable_v<TCRecordID>);
static_assert(std::is_trivially_destructible_v<TCRecordID>);
static_assert(std::is_convertible_v<int, TCRecordID>);
static_assert(std::is_constructible_v<TCRecordID, std::string>);
static_assert(!std::is_convertible_v<std::string, TCRecordID>);
static_assert(!std::is_convertible_v<char const*, TCRecordID>);
static_assert(TCRecordID().IsNull());

}  // namespace

TEST(TCRecordID, IsNullAtFirst) {
  TCRecordID const ID;
  EXPECT_TRUE(ID.IsNull());
  EXPECT_EQ(ID.get_AsInteger(), 0);
  EXPECT_EQ(ID.get_AsString(), "");
}

TEST(TCRecordID, HoldsEveryInteger) {
  for (int const Number : {kLeast, -1, 0, 1, kGreatest}) {
    TCRecordID const ID = Number;
    EXPECT_FALSE(ID.IsNull()) << Number;
    EXPECT_EQ(ID.get_AsInteger(), Number);
    EXPECT_EQ(ID.get_AsString(), std::to_string(Number));
  }
}

TEST(TCRecordID, ReadsItsOwnText) {
  for (int const Number : {kLeast, -1, 0, 1, kGreatest}) {
    EXPECT_EQ(TCRecordID(TCRecordID(Number).get_AsString()), TCRecordID(Number));
  }
  EXPECT_EQ(TCRecordID(TCRecordID().get_AsString()), TCRecordID());
}

TEST(TCRecordID, TextThatIsNoNumberGivesNull) {
  for (char const* const Text : {"", " ", "x", "12x", " 12", "2147483648", "-2147483649"}) {
    EXPECT_TRUE(TCRecordID(std::string(Text)).IsNull()) << Text;
  }
}

TEST(TCRecordID, SetNullForgetsTheNumber) {
  TCRecordID ID = 12;
  ID.SetNull();
  EXPECT_EQ(ID, TCRecordID());
  EXPECT_EQ(ID.get_AsInteger(), 0);
}

TEST(TCRecordID, NullDiffersFromZero) {
  EXPECT_TRUE(TCRecordID() != TCRecordID(0));
  EXPECT_FALSE(TCRecordID() == TCRecordID(0));
}

TEST(TCRecordID, OrdersNullFirstThenByNumber) {
  std::set<TCRecordID> const IDs = {7, -3, TCRecordID(), kLeast, kGreatest, TCRecordID(), 7};
  EXPECT_THAT(std::vector<TCRecordID>(IDs.begin(), IDs.end()),
              testing::ElementsAre(TCRecordID(), TCRecordID(kLeast), TCRecordID(-3), TCRecordID(7),
                                   TCRecordID(kGreatest)));
}
