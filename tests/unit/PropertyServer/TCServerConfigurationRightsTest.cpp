// SPDX-License-Identifier: MIT
// Who may do what, without rules and by them.
#include <unistd.h>

#include <string>

#include "ConfigurationFixture.h"
#include "PropertyServer/TCServerConfiguration.h"

using Property::TCServerConfiguration;

namespace {

struct ServerConfigurationRights : TConfigurationFixture {};
struct ServerConfigurationRules : TConfigurationFixture {};

}  // namespace

// ---- without rules ----

TEST_F(ServerConfigurationRights, LetsRootDoEverything) {
  TCServerConfiguration const Configuration = Parse(Rule("write = [\"user:panel\"]"));
  TSNorvMailSender const Root = Sender(0);

  EXPECT_TRUE(Configuration.MayConnect(Root));
  EXPECT_TRUE(Configuration.MayRead(Root, 100));
  EXPECT_TRUE(Configuration.MayWrite(Root, 100));
  EXPECT_TRUE(Configuration.MayAdminister(Root));
  EXPECT_TRUE(Configuration.ReadsEverything(Root));
}

TEST_F(ServerConfigurationRights, LetsItsOwnUserDoEverything) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:panel\"]"));
  TSNorvMailSender const Own = Sender(geteuid());

  EXPECT_TRUE(Configuration.MayConnect(Own));
  EXPECT_TRUE(Configuration.MayRead(Own, 100));
  EXPECT_TRUE(Configuration.MayWrite(Own, 100));
  EXPECT_TRUE(Configuration.MayAdminister(Own));
  EXPECT_TRUE(Configuration.ReadsEverything(Own));
}

TEST_F(ServerConfigurationRights, LetsTheDefaultGroupDoEverything) {
  TCServerConfiguration const Configuration;

  EXPECT_TRUE(Configuration.MayConnect(kGroupMember));
  EXPECT_TRUE(Configuration.MayRead(kGroupMember, 100));
  EXPECT_TRUE(Configuration.MayWrite(kGroupMember, 100));
  EXPECT_TRUE(Configuration.MayAdminister(kGroupMember));
  EXPECT_TRUE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfigurationRights, SaysWhoMayAdminister) {
  EXPECT_EQ(TCServerConfiguration().get_Administrators(),
            "root, the server's own user and members of the group property");
  EXPECT_EQ(Parse("group = \"operators\"").get_Administrators(),
            "root, the server's own user and members of the group operators");
  Remove("property");
  EXPECT_EQ(TCServerConfiguration().get_Administrators(), "root and the server's own user");
}

TEST_F(ServerConfigurationRights, CountsFurtherGroups) {
  TCServerConfiguration const Configuration;
  TSNorvMailSender const Member = Sender(kStranger, kNone, {5, kProperty, 6});

  EXPECT_TRUE(Configuration.MayConnect(Member));
  EXPECT_TRUE(Configuration.MayWrite(Member, 100));
  EXPECT_TRUE(Configuration.ReadsEverything(Member));
}

TEST_F(ServerConfigurationRights, DeniesOthersEverything) {
  TCServerConfiguration const Configuration;
  TSNorvMailSender const Stranger = Sender(kStranger, kNone, {5, 6});

  EXPECT_FALSE(Configuration.MayConnect(Stranger));
  EXPECT_FALSE(Configuration.MayRead(Stranger, 100));
  EXPECT_FALSE(Configuration.MayWrite(Stranger, 100));
  EXPECT_FALSE(Configuration.MayAdminister(Stranger));
  EXPECT_FALSE(Configuration.ReadsEverything(Stranger));
}

TEST_F(ServerConfigurationRights, DoesWithoutTheDefaultGroup) {
  Remove("property");

  TCServerConfiguration const Configuration;

  EXPECT_TRUE(Configuration.MayConnect(Sender(0)));
  EXPECT_FALSE(Configuration.MayConnect(kGroupMember));
  EXPECT_FALSE(Configuration.MayRead(kGroupMember, 100));
  EXPECT_FALSE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfigurationRights, SaysThatTheDefaultGroupCanNotBeLookedUp) {
  Break("property");

  EXPECT_EQ(Refusal(""), "cannot look up the group \"property\": Input/output error");
}

TEST_F(ServerConfigurationRights, ReplacesTheDefaultGroupByTheNamedOne) {
  TCServerConfiguration const Configuration = Parse("group = \"operators\"");

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kOperators), 100));
  EXPECT_TRUE(Configuration.MayAdminister(Sender(kStranger, kOperators)));
  EXPECT_FALSE(Configuration.MayConnect(kGroupMember));
}

TEST_F(ServerConfigurationRights, TakesAGroupByItsNumber) {
  TCServerConfiguration const Configuration = Parse("group = \"4294967294\"");

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, 4294967294U), 100));
}

TEST_F(ServerConfigurationRights, FindsAGroupWithVeryManyMembers) {
  TCServerConfiguration const Configuration = Parse("group = \"large\"");

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kOperators), 100));
}

// ---- rules ----

TEST_F(ServerConfigurationRules, GrantsAUserWhatARuleGivesIt) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:panel\"]"));

  EXPECT_TRUE(Configuration.MayConnect(Sender(kPanel)));
  EXPECT_TRUE(Configuration.MayRead(Sender(kPanel), 100));
  EXPECT_TRUE(Configuration.MayWrite(Sender(kPanel), 100));
  EXPECT_FALSE(Configuration.MayRead(Sender(kPanel), 99));
  EXPECT_FALSE(Configuration.MayWrite(Sender(kPanel), 101));
  EXPECT_FALSE(Configuration.MayConnect(Sender(kStranger)));
  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 100));
}

TEST_F(ServerConfigurationRules, TakesAUserByItsNumber) {
  TCServerConfiguration const Configuration = Parse(Rule("write = [\"user:4002\"]"));

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger), 100));
}

TEST_F(ServerConfigurationRules, GrantsAGroupWhatARuleGivesIt) {
  TCServerConfiguration const Configuration = Parse(Rule("write = [\"group:operators\"]"));

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kOperators), 100));
  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kNone, {kOperators}), 100));
  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger, kOperators), 100));
}

TEST_F(ServerConfigurationRules, GrantsEverybodyWhatARuleGivesToEverybody) {
  TCServerConfiguration const Configuration = Parse(Rule("read = [\"everybody\"]"));

  EXPECT_TRUE(Configuration.MayConnect(Sender(kStranger)));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 100));
  EXPECT_FALSE(Configuration.MayWrite(Sender(kStranger), 100));
  EXPECT_FALSE(Configuration.ReadsEverything(Sender(kStranger)));
}

TEST_F(ServerConfigurationRules, GrantsAllWhomAListNames) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:4009\", \"user:panel\", \"group:operators\", \"user:4005\"]"));

  EXPECT_TRUE(Configuration.MayRead(Sender(kPanel), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(4005), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(4009), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger, kOperators), 100));
  EXPECT_FALSE(Configuration.MayRead(Sender(4006), 100));
}

TEST_F(ServerConfigurationRules, TakesFromTheGroupWhatARuleGivesToOthers) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:root\"]"));

  EXPECT_FALSE(Configuration.MayRead(kGroupMember, 100));
  EXPECT_FALSE(Configuration.MayWrite(kGroupMember, 100));
  EXPECT_TRUE(Configuration.MayRead(kGroupMember, 101));
  EXPECT_FALSE(Configuration.ReadsEverything(kGroupMember));
  EXPECT_TRUE(Configuration.MayAdminister(kGroupMember));
}

TEST_F(ServerConfigurationRules, LeavesToTheGroupWhatARuleDoesNotSay) {
  TCServerConfiguration const Reading = Parse(Rule("read = [\"everybody\"]"));
  TCServerConfiguration const Writing = Parse(Rule("write = [\"user:panel\"]"));

  EXPECT_TRUE(Reading.MayWrite(kGroupMember, 100));
  EXPECT_TRUE(Writing.MayRead(kGroupMember, 100));
  EXPECT_FALSE(Writing.MayWrite(kGroupMember, 100));
}

TEST_F(ServerConfigurationRules, DoesNotLetThoseWhomARuleNamesAdminister) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:panel\"]"));

  EXPECT_FALSE(Configuration.MayAdminister(Sender(kPanel)));
}

TEST_F(ServerConfigurationRules, SeesThatAGroupMemberStillReadsEverything) {
  TCServerConfiguration const Configuration = Parse(
      "[[rule]]\nproperties = [1]\nread = [\"everybody\"]\n"
      "[[rule]]\nproperties = [2]\nread = [\"group:property\"]\n"
      "[[rule]]\nproperties = [3]\nwrite = [\"user:panel\"]\n");

  EXPECT_TRUE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfigurationRules, SeesThatOneGroupMemberStillReadsEverything) {
  TCServerConfiguration const Configuration = Parse(Rule("read = [\"user:panel\"]"));

  EXPECT_TRUE(Configuration.ReadsEverything(Sender(kPanel, kProperty)));
  EXPECT_FALSE(Configuration.ReadsEverything(Sender(kPanel)));
  EXPECT_FALSE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfigurationRules, NamesBothEndsOfARange) {
  TCServerConfiguration const Configuration = Parse(
      "[[rule]]\nproperties = [\"200-209\", 0, \"2147483646-2147483647\"]\n"
      "read = [\"everybody\"]\n");
  TSNorvMailSender const Stranger = Sender(kStranger);

  EXPECT_FALSE(Configuration.MayRead(Stranger, -1));
  EXPECT_TRUE(Configuration.MayRead(Stranger, 0));
  EXPECT_FALSE(Configuration.MayRead(Stranger, 1));
  EXPECT_FALSE(Configuration.MayRead(Stranger, 199));
  EXPECT_TRUE(Configuration.MayRead(Stranger, 200));
  EXPECT_TRUE(Configuration.MayRead(Stranger, 209));
  EXPECT_FALSE(Configuration.MayRead(Stranger, 210));
  EXPECT_FALSE(Configuration.MayRead(Stranger, 2147483645));
  EXPECT_TRUE(Configuration.MayRead(Stranger, 2147483647));
}

TEST_F(ServerConfigurationRules, LetsTheFirstRuleThatNamesAPropertyDecide) {
  TCServerConfiguration const Configuration = Parse(
      "[[rule]]\nproperties = [\"20-29\", 40]\nread = [\"user:panel\"]\n"
      "[[rule]]\nproperties = [\"10-49\"]\nread = [\"everybody\"]\n");
  TSNorvMailSender const Stranger = Sender(kStranger);

  for (int const Number : {10, 19, 30, 39, 41, 49}) {
    EXPECT_TRUE(Configuration.MayRead(Stranger, Number)) << Number;
  }
  for (int const Number : {9, 20, 29, 40, 50}) {
    EXPECT_FALSE(Configuration.MayRead(Stranger, Number)) << Number;
  }
  EXPECT_TRUE(Configuration.MayRead(Sender(kPanel), 29));
}

TEST_F(ServerConfigurationRules, GivesALaterRuleBothSidesOfAnEarlierRange) {
  TCServerConfiguration const Configuration = Parse(
      "[[rule]]\nproperties = [\"0-10\", \"2147483640-2147483647\"]\nread = [\"user:panel\"]\n"
      "[[rule]]\nproperties = [\"5-2147483647\"]\nread = [\"everybody\"]\n");

  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 10));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 11));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 2147483639));
  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 2147483640));
}

TEST_F(ServerConfigurationRules, TakesRulesAsAListOfTables) {
  TCServerConfiguration const Configuration =
      Parse("rule = [{properties = [1], read = [\"everybody\"]}]");

  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 1));
}
