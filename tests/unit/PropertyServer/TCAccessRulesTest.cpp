// SPDX-License-Identifier: MIT
// Which rule decides, and for whom.
#include "PropertyServer/TCAccessRules.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <limits>
#include <optional>
#include <vector>

namespace {

using Property::TCAccessList;
using Property::TCAccessRules;
using Property::TSPropertyRange;

constexpr uid_t kPanel = 70001;
constexpr uid_t kOther = 70002;
constexpr gid_t kOwners = 80001;  // the group that owns what no rule names
constexpr gid_t kOperators = 80002;
constexpr gid_t kNobody = 80003;
constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

TSNorvMailSender Sender(uid_t User, gid_t Group = kNobody, std::vector<gid_t> Groups = {}) {
  TSNorvMailSender Result;
  Result.User = User;
  Result.Group = Group;
  Result.Groups = std::move(Groups);
  return Result;
}

TCAccessList User(uid_t Number) {
  TCAccessList List;
  List.AddUser(Number);
  return List;
}

TCAccessList Group(gid_t Number) {
  TCAccessList List;
  List.AddGroup(Number);
  return List;
}

TCAccessList Everybody() {
  TCAccessList List;
  List.AddEverybody();
  return List;
}

std::vector<int> Readable(TCAccessRules const& Rules, TSNorvMailSender const& Sender, int First,
                          int Last) {
  std::vector<int> Numbers;
  for (int Number = First; Number <= Last; ++Number) {
    if (Rules.MayRead(Sender, Number)) {
      Numbers.push_back(Number);
    }
  }
  return Numbers;
}

// ---- lists ----

TEST(TCAccessListTest, GrantsNobodyAnythingWhileItIsEmpty) {
  EXPECT_FALSE(TCAccessList().Grants(Sender(0, 0, {0})));
  EXPECT_FALSE(TCAccessList().GrantsGroup(0));
}

TEST(TCAccessListTest, GrantsItsUsersAndNoOthers) {
  TCAccessList List = User(kOther);
  List.AddUser(kPanel);
  EXPECT_TRUE(List.Grants(Sender(kPanel)));
  EXPECT_TRUE(List.Grants(Sender(kOther)));
  EXPECT_FALSE(List.Grants(Sender(kPanel + kOther)));
}

TEST(TCAccessListTest, GrantsItsGroupsByTheFirstAndTheFurtherOnes) {
  TCAccessList const List = Group(kOperators);
  EXPECT_TRUE(List.Grants(Sender(kPanel, kOperators)));
  EXPECT_TRUE(List.Grants(Sender(kPanel, kNobody, {kOwners, kOperators})));
  EXPECT_FALSE(List.Grants(Sender(kPanel, kNobody, {kOwners})));
}

TEST(TCAccessListTest, DoesNotTakeAUserForAGroupOfTheSameNumber) {
  EXPECT_FALSE(User(kPanel).Grants(Sender(kOther, kPanel, {kPanel})));
  EXPECT_FALSE(Group(kPanel).Grants(Sender(kPanel)));
}

TEST(TCAccessListTest, GrantsAGroupAsSuchOnlyByItsNumberOrEverybody) {
  EXPECT_TRUE(Group(kOperators).GrantsGroup(kOperators));
  EXPECT_TRUE(Everybody().GrantsGroup(kOperators));
  EXPECT_FALSE(User(kPanel).GrantsGroup(kOperators));
}

// ---- who may everything ----

TEST(TCAccessRulesTest, LetRootAndTheServersUserDoEverything) {
  TCAccessRules Rules;
  ASSERT_TRUE(Rules.Add({{100, 100}}, User(kPanel), User(kPanel)));
  for (uid_t const Owner : {uid_t{0}, geteuid()}) {
    EXPECT_TRUE(Rules.MayConnect(Sender(Owner)));
    EXPECT_TRUE(Rules.MayRead(Sender(Owner), 100));
    EXPECT_TRUE(Rules.MayWrite(Sender(Owner), 100));
    EXPECT_TRUE(Rules.MayAdminister(Sender(Owner)));
    EXPECT_TRUE(Rules.ReadsEverything(Sender(Owner)));
  }
}

TEST(TCAccessRulesTest, GrantOthersNothingWithoutGroupAndRule) {
  TCAccessRules const Rules;
  TSNorvMailSender const Other = Sender(kPanel, kOwners, {kOwners});
  EXPECT_FALSE(Rules.MayConnect(Other));
  EXPECT_FALSE(Rules.MayRead(Other, 1));
  EXPECT_FALSE(Rules.MayWrite(Other, 1));
  EXPECT_FALSE(Rules.MayAdminister(Other));
  EXPECT_FALSE(Rules.ReadsEverything(Other));
}

TEST(TCAccessRulesTest, LeaveTheGroupWhatNoRuleNames) {
  TCAccessRules Rules;
  Rules.SetGroup(kOwners);
  TSNorvMailSender const Member = Sender(kPanel, kNobody, {kOwners});
  for (int const Number : {kLowest, 0, kHighest}) {
    EXPECT_TRUE(Rules.MayRead(Member, Number));
    EXPECT_TRUE(Rules.MayWrite(Member, Number));
    EXPECT_FALSE(Rules.MayRead(Sender(kPanel), Number));
  }
  EXPECT_TRUE(Rules.MayConnect(Member));
  EXPECT_TRUE(Rules.MayAdminister(Member));
  EXPECT_FALSE(Rules.MayConnect(Sender(kPanel)));
}

// ---- which rule decides ----

TEST(TCAccessRulesTest, TakeWhatARuleNamesFromTheGroup) {
  TCAccessRules Rules;
  Rules.SetGroup(kOwners);
  ASSERT_TRUE(Rules.Add({{100, 101}}, User(kPanel), User(kOther)));
  EXPECT_FALSE(Rules.MayRead(Sender(kPanel + kOther, kOwners), 100));
  EXPECT_TRUE(Rules.MayRead(Sender(kPanel), 101));
  EXPECT_FALSE(Rules.MayWrite(Sender(kPanel), 101));
  EXPECT_TRUE(Rules.MayWrite(Sender(kOther), 101));
  EXPECT_FALSE(Rules.MayRead(Sender(kPanel), 102));
}

TEST(TCAccessRulesTest, LeaveTheGroupTheSideThatARuleLeavesOut) {
  TCAccessRules Rules;
  Rules.SetGroup(kOwners);
  ASSERT_TRUE(Rules.Add({{100, 100}}, Everybody(), std::nullopt));
  EXPECT_TRUE(Rules.MayRead(Sender(kPanel), 100));
  EXPECT_FALSE(Rules.MayWrite(Sender(kPanel), 100));
  EXPECT_TRUE(Rules.MayWrite(Sender(kPanel, kOwners), 100));
}

TEST(TCAccessRulesTest, LetTheFirstRuleThatNamesAPropertyDecide) {
  TCAccessRules Rules;
  ASSERT_TRUE(Rules.Add({{104, 105}}, User(kPanel), std::nullopt));
  ASSERT_TRUE(Rules.Add({{102, 102}, {108, 109}}, User(kPanel), std::nullopt));
  ASSERT_TRUE(Rules.Add({{100, 110}}, User(kOther), std::nullopt));
  EXPECT_EQ(Readable(Rules, Sender(kPanel), 99, 111), (std::vector<int>{102, 104, 105, 108, 109}));
  EXPECT_EQ(Readable(Rules, Sender(kOther), 99, 111),
            (std::vector<int>{100, 101, 103, 106, 107, 110}));
}

TEST(TCAccessRulesTest, DecideAtBothEndsOfTheNumbers) {
  TCAccessRules Rules;
  ASSERT_TRUE(Rules.Add({{kHighest, kHighest}, {kLowest, kLowest}}, User(kPanel), std::nullopt));
  ASSERT_TRUE(Rules.Add({{kLowest, kHighest}}, User(kOther), std::nullopt));
  EXPECT_TRUE(Rules.MayRead(Sender(kPanel), kHighest));
  EXPECT_TRUE(Rules.MayRead(Sender(kPanel), kLowest));
  EXPECT_FALSE(Rules.MayRead(Sender(kOther), kHighest));
  EXPECT_TRUE(Rules.MayRead(Sender(kOther), kHighest - 1));
  EXPECT_TRUE(Rules.MayRead(Sender(kOther), kLowest + 1));
}

TEST(TCAccessRulesTest, RefuseARuleThatDecidesNothing) {
  TCAccessRules Rules;
  ASSERT_TRUE(Rules.Add({{100, 105}, {106, 110}}, User(kPanel), std::nullopt));
  EXPECT_FALSE(Rules.Add({{103, 108}}, User(kOther), std::nullopt));
  EXPECT_FALSE(Rules.MayConnect(Sender(kOther)));
}

// ---- who may connect, and who reads everything ----

TEST(TCAccessRulesTest, LetConnectWhomAnyRuleGrantsAnything) {
  TCAccessRules Rules;
  ASSERT_TRUE(Rules.Add({{100, 100}}, User(kPanel), std::nullopt));
  ASSERT_TRUE(Rules.Add({{101, 101}}, std::nullopt, Group(kOperators)));
  EXPECT_TRUE(Rules.MayConnect(Sender(kPanel)));
  EXPECT_TRUE(Rules.MayConnect(Sender(kOther, kOperators)));
  EXPECT_FALSE(Rules.MayConnect(Sender(kOther)));
  EXPECT_FALSE(Rules.MayAdminister(Sender(kPanel)));
}

TEST(TCAccessRulesTest, KnowThatTheGroupReadsEverythingUntilARuleTakesSome) {
  TCAccessRules Rules;
  Rules.SetGroup(kOwners);
  TSNorvMailSender const Member = Sender(kPanel, kOwners);
  EXPECT_TRUE(Rules.ReadsEverything(Member));
  EXPECT_FALSE(Rules.ReadsEverything(Sender(kPanel)));
  ASSERT_TRUE(Rules.Add({{100, 100}}, Everybody(), User(kOther)));
  ASSERT_TRUE(Rules.Add({{101, 101}}, Group(kOwners), User(kOther)));
  EXPECT_TRUE(Rules.ReadsEverything(Member));
  ASSERT_TRUE(Rules.Add({{102, 102}}, User(kOther), std::nullopt));
  EXPECT_FALSE(Rules.ReadsEverything(Member));
  EXPECT_TRUE(Rules.ReadsEverything(Sender(kOther, kOwners)));
}

// ---- rules that hold for their owners, too ----

TEST(TCAccessRulesTest, CountOwnersAsMembersOfTheGroupWhenTheyAreTriedOut) {
  TCAccessRules Rules;
  Rules.CountOwnersAsMembers();
  Rules.SetGroup(kOwners);
  ASSERT_TRUE(Rules.Add({{100, 100}}, User(kPanel), std::nullopt));
  ASSERT_TRUE(Rules.Add({{101, 101}}, Group(kOperators), Group(kOwners)));
  for (uid_t const Owner : {uid_t{0}, geteuid()}) {
    EXPECT_EQ(Readable(Rules, Sender(Owner), 99, 102), (std::vector<int>{99, 102}));
    EXPECT_TRUE(Rules.MayWrite(Sender(Owner), 101));
    EXPECT_TRUE(Rules.MayConnect(Sender(Owner)));
    EXPECT_TRUE(Rules.MayAdminister(Sender(Owner)));
    EXPECT_FALSE(Rules.MayCopy(Sender(Owner)));
    EXPECT_FALSE(Rules.ReadsEverything(Sender(Owner)));
  }
  EXPECT_FALSE(Rules.MayRead(Sender(kOther), 99));
}

TEST(TCAccessRulesTest, HaveTheProcesssOwnGroupWhenTheyAreTriedOutWithoutOne) {
  TCAccessRules Rules;
  Rules.CountOwnersAsMembers();
  EXPECT_TRUE(Rules.MayWrite(Sender(0), 100));
  EXPECT_TRUE(Rules.MayWrite(Sender(kOther, getegid()), 100));
  EXPECT_FALSE(Rules.MayWrite(Sender(kOther), 100));
}

}  // namespace
