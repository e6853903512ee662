// SPDX-License-Identifier: MIT
// The configuration file: what it grants, limits and hides, and how each mistake is refused.
#include "PropertyServer/TCServerConfiguration.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "Platform/Utility/TCException.h"
#include "tests/support/PrivateFolder.h"

using Property::TCServerConfiguration;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

constexpr uid_t kPanel = 4001;
constexpr uid_t kStranger = 4002;
constexpr gid_t kProperty = 7000;
constexpr gid_t kOperators = 7001;
constexpr gid_t kNone = 7999;

std::map<std::string, unsigned> const kUsers = {{"root", 0}, {"panel", kPanel}};
std::map<std::string, unsigned> const kGroups = {{"property", kProperty},
                                                 {"operators", kOperators}};

std::string s_Removed;            // is not known
std::string s_Broken = "broken";  // can not be looked up

// "large" needs a buffer of 100000 bytes.
template <class TEntry>
int FindFake(std::map<std::string, unsigned> const& Known, char const* Name, TEntry* Entry,
             unsigned TEntry::*Id, std::size_t Size, TEntry** Found) {
  *Found = nullptr;
  std::string const Wanted = Name;
  if (Wanted == s_Broken) {
    return EIO;
  }
  if (Wanted == "endless" || (Wanted == "large" && Size < 100000)) {
    return ERANGE;
  }
  auto const Place = Known.find(Wanted);
  if ((Place == Known.end() && Wanted != "large") || Wanted == s_Removed) {
    return Wanted == "absent" ? ENOENT : 0;
  }
  Entry->*Id = Wanted == "large" ? kOperators : Place->second;
  *Found = Entry;
  return 0;
}

}  // namespace

// In the place of the system's users and groups, so that the tests do not depend on them.
extern "C" int getpwnam_r(char const* Name, passwd* Entry, char* /*Buffer*/, std::size_t Size,
                          passwd** Found) {
  return FindFake(kUsers, Name, Entry, &passwd::pw_uid, Size, Found);
}

extern "C" int getgrnam_r(char const* Name, group* Entry, char* /*Buffer*/, std::size_t Size,
                          group** Found) {
  return FindFake(kGroups, Name, Entry, &group::gr_gid, Size, Found);
}

namespace {

TSNorvMailSender Sender(uid_t User, gid_t Group = kNone, std::vector<gid_t> Groups = {}) {
  TSNorvMailSender Result;
  Result.User = User;
  Result.Group = Group;
  Result.Groups = std::move(Groups);
  return Result;
}

TSNorvMailSender const kGroupMember = Sender(kStranger, kProperty);

TCServerConfiguration Parse(std::string const& Text) {
  return TCServerConfiguration::Parse(Text, "property.toml");
}

std::string MessageOf(std::function<void()> const& Action) {
  try {
    Action();
  } catch (TCException const& Refusal) {
    return Refusal.what();
  }
  return "nothing was thrown";
}

std::string Refusal(std::string const& Text) {
  return MessageOf([&Text] { Parse(Text); });
}

std::string Rule(std::string const& Body) {
  return "[[rule]]\nproperties = [100]\n" + Body + "\n";
}

class ServerConfiguration : public ::testing::Test {
 protected:
  ~ServerConfiguration() override {
    s_Removed.clear();
    s_Broken = "broken";
  }
};

class ServerConfigurationFile : public ::testing::Test {
 protected:
  ServerConfigurationFile() : m_Folder(MakePrivateFolder()), m_Path(m_Folder + "/property.toml") {}
  ~ServerConfigurationFile() override { std::filesystem::remove_all(m_Folder); }

  void Write(std::string const& Text) const { std::ofstream(m_Path) << Text; }
  std::string LoadingMessage() const {
    return MessageOf([this] { TCServerConfiguration::Load(m_Path); });
  }

  std::string m_Folder;
  std::string m_Path;
};

}  // namespace

// ---- defaults ----

TEST_F(ServerConfiguration, HasDefaultLimits) {
  Property::TSServerLimits const Limits = TCServerConfiguration().get_Limits();

  EXPECT_EQ(Limits.ValueBytes, 16777216U);
  EXPECT_EQ(Limits.MailBytes, 67108864U);
  EXPECT_EQ(Limits.MailsPerSecond, 250000U);
  EXPECT_EQ(Limits.ConnectionsPerUser, 512U);
  EXPECT_EQ(Limits.Connections, 4096U);
}

TEST_F(ServerConfiguration, KeepsTenThousandEntriesOfNinetyDaysByDefault) {
  TCServerConfiguration const Configuration;

  EXPECT_EQ(Configuration.get_History().Entries, 10000U);
  EXPECT_EQ(Configuration.get_History().Bytes, 16777216U);
  EXPECT_EQ(Configuration.get_History().Age, std::chrono::hours(90 * 24));
}

TEST_F(ServerConfiguration, HidesNothingByDefault) {
  EXPECT_FALSE(TCServerConfiguration().IsSecret(100));
}

TEST_F(ServerConfiguration, TakesAnEmptyTextForTheDefaults) {
  TCServerConfiguration const Configuration = Parse("");

  EXPECT_EQ(Configuration.get_Limits().ValueBytes, 16777216U);
  EXPECT_EQ(Configuration.get_History().Entries, 10000U);
  EXPECT_TRUE(Configuration.MayRead(kGroupMember, 100));
}

// ---- who may do what without rules ----

TEST_F(ServerConfiguration, LetsRootDoEverything) {
  TCServerConfiguration const Configuration = Parse(Rule("write = [\"user:panel\"]"));
  TSNorvMailSender const Root = Sender(0);

  EXPECT_TRUE(Configuration.MayConnect(Root));
  EXPECT_TRUE(Configuration.MayRead(Root, 100));
  EXPECT_TRUE(Configuration.MayWrite(Root, 100));
  EXPECT_TRUE(Configuration.MayAdminister(Root));
  EXPECT_TRUE(Configuration.ReadsEverything(Root));
}

TEST_F(ServerConfiguration, LetsItsOwnUserDoEverything) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:panel\"]"));
  TSNorvMailSender const Own = Sender(geteuid());

  EXPECT_TRUE(Configuration.MayConnect(Own));
  EXPECT_TRUE(Configuration.MayRead(Own, 100));
  EXPECT_TRUE(Configuration.MayWrite(Own, 100));
  EXPECT_TRUE(Configuration.MayAdminister(Own));
  EXPECT_TRUE(Configuration.ReadsEverything(Own));
}

TEST_F(ServerConfiguration, LetsTheDefaultGroupDoEverything) {
  TCServerConfiguration const Configuration;

  EXPECT_TRUE(Configuration.MayConnect(kGroupMember));
  EXPECT_TRUE(Configuration.MayRead(kGroupMember, 100));
  EXPECT_TRUE(Configuration.MayWrite(kGroupMember, 100));
  EXPECT_TRUE(Configuration.MayAdminister(kGroupMember));
  EXPECT_TRUE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfiguration, SaysWhoMayAdminister) {
  EXPECT_EQ(TCServerConfiguration().get_Administrators(),
            "root, the server's own user and members of the group property");
  EXPECT_EQ(Parse("group = \"operators\"").get_Administrators(),
            "root, the server's own user and members of the group operators");
  s_Removed = "property";
  EXPECT_EQ(TCServerConfiguration().get_Administrators(), "root and the server's own user");
}

TEST_F(ServerConfiguration, CountsFurtherGroups) {
  TCServerConfiguration const Configuration;
  TSNorvMailSender const Member = Sender(kStranger, kNone, {5, kProperty, 6});

  EXPECT_TRUE(Configuration.MayConnect(Member));
  EXPECT_TRUE(Configuration.MayWrite(Member, 100));
  EXPECT_TRUE(Configuration.ReadsEverything(Member));
}

TEST_F(ServerConfiguration, DeniesOthersEverything) {
  TCServerConfiguration const Configuration;
  TSNorvMailSender const Stranger = Sender(kStranger, kNone, {5, 6});

  EXPECT_FALSE(Configuration.MayConnect(Stranger));
  EXPECT_FALSE(Configuration.MayRead(Stranger, 100));
  EXPECT_FALSE(Configuration.MayWrite(Stranger, 100));
  EXPECT_FALSE(Configuration.MayAdminister(Stranger));
  EXPECT_FALSE(Configuration.ReadsEverything(Stranger));
}

TEST_F(ServerConfiguration, DoesWithoutTheDefaultGroup) {
  s_Removed = "property";

  TCServerConfiguration const Configuration;

  EXPECT_TRUE(Configuration.MayConnect(Sender(0)));
  EXPECT_FALSE(Configuration.MayConnect(kGroupMember));
  EXPECT_FALSE(Configuration.MayRead(kGroupMember, 100));
  EXPECT_FALSE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfiguration, SaysThatTheDefaultGroupCanNotBeLookedUp) {
  s_Broken = "property";

  EXPECT_EQ(Refusal(""), "cannot look up the group \"property\": Input/output error");
}

TEST_F(ServerConfiguration, ReplacesTheDefaultGroupByTheNamedOne) {
  TCServerConfiguration const Configuration = Parse("group = \"operators\"");

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kOperators), 100));
  EXPECT_TRUE(Configuration.MayAdminister(Sender(kStranger, kOperators)));
  EXPECT_FALSE(Configuration.MayConnect(kGroupMember));
}

TEST_F(ServerConfiguration, TakesAGroupByItsNumber) {
  TCServerConfiguration const Configuration = Parse("group = \"4294967294\"");

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, 4294967294U), 100));
}

TEST_F(ServerConfiguration, FindsAGroupWithVeryManyMembers) {
  TCServerConfiguration const Configuration = Parse("group = \"large\"");

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kOperators), 100));
}

// ---- rules ----

TEST_F(ServerConfiguration, GrantsAUserWhatARuleGivesIt) {
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

TEST_F(ServerConfiguration, TakesAUserByItsNumber) {
  TCServerConfiguration const Configuration = Parse(Rule("write = [\"user:4002\"]"));

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger), 100));
}

TEST_F(ServerConfiguration, GrantsAGroupWhatARuleGivesIt) {
  TCServerConfiguration const Configuration = Parse(Rule("write = [\"group:operators\"]"));

  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kOperators), 100));
  EXPECT_TRUE(Configuration.MayWrite(Sender(kStranger, kNone, {kOperators}), 100));
  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger, kOperators), 100));
}

TEST_F(ServerConfiguration, GrantsEverybodyWhatARuleGivesToEverybody) {
  TCServerConfiguration const Configuration = Parse(Rule("read = [\"everybody\"]"));

  EXPECT_TRUE(Configuration.MayConnect(Sender(kStranger)));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 100));
  EXPECT_FALSE(Configuration.MayWrite(Sender(kStranger), 100));
  EXPECT_FALSE(Configuration.ReadsEverything(Sender(kStranger)));
}

TEST_F(ServerConfiguration, GrantsAllWhomAListNames) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:4009\", \"user:panel\", \"group:operators\", \"user:4005\"]"));

  EXPECT_TRUE(Configuration.MayRead(Sender(kPanel), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(4005), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(4009), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger, kOperators), 100));
  EXPECT_FALSE(Configuration.MayRead(Sender(4006), 100));
}

TEST_F(ServerConfiguration, TakesFromTheGroupWhatARuleGivesToOthers) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:root\"]"));

  EXPECT_FALSE(Configuration.MayRead(kGroupMember, 100));
  EXPECT_FALSE(Configuration.MayWrite(kGroupMember, 100));
  EXPECT_TRUE(Configuration.MayRead(kGroupMember, 101));
  EXPECT_FALSE(Configuration.ReadsEverything(kGroupMember));
  EXPECT_TRUE(Configuration.MayAdminister(kGroupMember));
}

TEST_F(ServerConfiguration, LeavesToTheGroupWhatARuleDoesNotSay) {
  TCServerConfiguration const Reading = Parse(Rule("read = [\"everybody\"]"));
  TCServerConfiguration const Writing = Parse(Rule("write = [\"user:panel\"]"));

  EXPECT_TRUE(Reading.MayWrite(kGroupMember, 100));
  EXPECT_TRUE(Writing.MayRead(kGroupMember, 100));
  EXPECT_FALSE(Writing.MayWrite(kGroupMember, 100));
}

TEST_F(ServerConfiguration, DoesNotLetThoseWhomARuleNamesAdminister) {
  TCServerConfiguration const Configuration =
      Parse(Rule("read = [\"user:panel\"]\nwrite = [\"user:panel\"]"));

  EXPECT_FALSE(Configuration.MayAdminister(Sender(kPanel)));
}

TEST_F(ServerConfiguration, SeesThatAGroupMemberStillReadsEverything) {
  TCServerConfiguration const Configuration = Parse(
      "[[rule]]\nproperties = [1]\nread = [\"everybody\"]\n"
      "[[rule]]\nproperties = [2]\nread = [\"group:property\"]\n"
      "[[rule]]\nproperties = [3]\nwrite = [\"user:panel\"]\n");

  EXPECT_TRUE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfiguration, SeesThatOneGroupMemberStillReadsEverything) {
  TCServerConfiguration const Configuration = Parse(Rule("read = [\"user:panel\"]"));

  EXPECT_TRUE(Configuration.ReadsEverything(Sender(kPanel, kProperty)));
  EXPECT_FALSE(Configuration.ReadsEverything(Sender(kPanel)));
  EXPECT_FALSE(Configuration.ReadsEverything(kGroupMember));
}

TEST_F(ServerConfiguration, NamesBothEndsOfARange) {
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

TEST_F(ServerConfiguration, LetsTheFirstRuleThatNamesAPropertyDecide) {
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

TEST_F(ServerConfiguration, GivesALaterRuleBothSidesOfAnEarlierRange) {
  TCServerConfiguration const Configuration = Parse(
      "[[rule]]\nproperties = [\"0-10\", \"2147483640-2147483647\"]\nread = [\"user:panel\"]\n"
      "[[rule]]\nproperties = [\"5-2147483647\"]\nread = [\"everybody\"]\n");

  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 10));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 11));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 2147483639));
  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 2147483640));
}

TEST_F(ServerConfiguration, TakesRulesAsAListOfTables) {
  TCServerConfiguration const Configuration =
      Parse("rule = [{properties = [1], read = [\"everybody\"]}]");

  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 1));
}

TEST_F(ServerConfiguration, CanReplaceAnother) {
  TCServerConfiguration Configuration = Parse(Rule("read = [\"everybody\"]"));

  Configuration = Parse("group = \"operators\"\nsecret = [7]");

  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 100));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger, kOperators), 100));
  EXPECT_TRUE(Configuration.IsSecret(7));
}

// ---- secrets, limits, history ----

TEST_F(ServerConfiguration, KnowsSecrets) {
  TCServerConfiguration const Configuration = Parse("secret = [\"200-210\", 120, 0, 2147483647]");

  for (int const Number : {0, 120, 200, 205, 210, 2147483647}) {
    EXPECT_TRUE(Configuration.IsSecret(Number)) << Number;
  }
  for (int const Number : {-1, 1, 119, 121, 199, 211, 2147483646}) {
    EXPECT_FALSE(Configuration.IsSecret(Number)) << Number;
  }
}

TEST_F(ServerConfiguration, TakesEveryLimit) {
  TCServerConfiguration const Configuration = Parse(
      "[limits]\nvalue_bytes = 1\nmail_bytes = 2\nmails_per_second = 3\n"
      "mail_records = 6\nconnections_per_user = 4\nconnections = 5\nvalues = 7\nbytes = "
      "8\nwaiting_bytes = 9\n");

  EXPECT_EQ(Configuration.get_Limits().ValueBytes, 1U);
  EXPECT_EQ(Configuration.get_Limits().MailBytes, 2U);
  EXPECT_EQ(Configuration.get_Limits().MailsPerSecond, 3U);
  EXPECT_EQ(Configuration.get_Limits().ConnectionsPerUser, 4U);
  EXPECT_EQ(Configuration.get_Limits().Connections, 5U);
  EXPECT_EQ(Configuration.get_Limits().MailRecords, 6U);
  EXPECT_EQ(Configuration.get_Limits().Values, 7U);
  EXPECT_EQ(Configuration.get_Limits().Bytes, 8U);
  EXPECT_EQ(Configuration.get_Limits().WaitingBytes, 9U);
}

TEST_F(ServerConfiguration, LeavesTheLimitsThatAreNotSet) {
  TCServerConfiguration const Configuration = Parse("[limits]\nconnections = 5\n");

  EXPECT_EQ(Configuration.get_Limits().ValueBytes, 16777216U);
  EXPECT_EQ(Configuration.get_Limits().ConnectionsPerUser, 512U);
}

TEST_F(ServerConfiguration, TakesTheBoundsOfTheHistory) {
  TCServerConfiguration const Configuration =
      Parse("[history]\nentries = 0\nbytes = 5000\ndays = 36500\n");

  EXPECT_EQ(Configuration.get_History().Entries, 0U);
  EXPECT_EQ(Configuration.get_History().Bytes, 5000U);
  EXPECT_EQ(Configuration.get_History().Age, std::chrono::hours(36500 * 24));
}

TEST_F(ServerConfiguration, LeavesTheAgeWhenOnlyTheEntriesAreSet) {
  TCServerConfiguration const Configuration = Parse("[history]\nentries = 5\n");

  EXPECT_EQ(Configuration.get_History().Entries, 5U);
  EXPECT_EQ(Configuration.get_History().Age, std::chrono::hours(90 * 24));
}

// ---- every mistake, with its whole message ----

struct TSMistake {
  char const* Name;
  std::string Text;
  std::string Message;
};

void PrintTo(TSMistake const& Mistake, std::ostream* Out) {
  *Out << Mistake.Name;
}

class ServerConfigurationMistake : public ::testing::TestWithParam<TSMistake> {};

TEST_P(ServerConfigurationMistake, IsRefusedWithItsLine) {
  EXPECT_EQ(Refusal(GetParam().Text), "property.toml:" + GetParam().Message);
}

namespace {

std::string const kNoRange =
    ", expected a number from 0 to 2147483647 or a range such as \"200-209\"";
std::string const kNobody = ", expected \"user:NAME\", \"group:NAME\" or \"everybody\"";
std::string const kRootKeys = ", expected group, secret, limits, history or rule";

std::vector<TSMistake> const kMistakes = {
    {"UnknownKey", "\ncolour = 1", "2: unknown key \"colour\"" + kRootKeys},
    {"UnknownKeyWithControlCharacters", "\"a\\n\\u0000\\u007F\" = 1",
     "1: unknown key \"a\\n\\x00\\x7f\"" + kRootKeys},
    {"UnknownLongKey", std::string(100, 'k') + " = 1",
     "1: unknown key \"" + std::string(64, 'k') + "...\"" + kRootKeys},
    {"UnknownLongKeyCutBetweenCharacters", "\"" + std::string(63, 'k') + "\\u00e9x\" = 1",
     "1: unknown key \"" + std::string(63, 'k') + "...\"" + kRootKeys},
    {"UnknownTable", "[limit]\n", "1: unknown key \"limit\"" + kRootKeys},
    {"UnknownDottedKey", "a.b.c = 1", "1: unknown key \"a\"" + kRootKeys},
    {"UnknownLimit", "[limits]\nproperties = 1",
     "2: unknown key \"properties\" in limits, expected values, bytes, waiting_bytes, value_bytes, "
     "mail_bytes, "
     "mail_records, "
     "mails_per_second, "
     "connections_per_user or connections"},
    {"UnknownHistoryKey", "[history]\nage = 1",
     "2: unknown key \"age\" in history, expected entries, bytes or days"},
    {"UnknownRuleKey", Rule("deny = [\"everybody\"]"),
     "3: unknown key \"deny\" in rule, expected properties, read or write"},

    {"GroupOfAnotherType", "group = 5", "1: group is 5, expected the name of a group as a text"},
    {"GroupThatIsATruthValue", "group = true",
     "1: group is true, expected the name of a group as a text"},
    {"GroupThatIsAList", "group = [\"a\"]",
     "1: group is a list, expected the name of a group as a text"},
    {"GroupThatIsADate", "group = 1979-05-27",
     "1: group is a date or time, expected the name of a group as a text"},
    {"UnknownGroup", "group = \"unheard\"",
     "1: group is \"unheard\", expected a group that this system has"},
    {"AbsentGroup", "group = \"absent\"",
     "1: group is \"absent\", expected a group that this system has"},
    {"EmptyGroup", "group = \"\"", "1: group is \"\", expected a group that this system has"},
    {"GroupThatIsNoNumber", "group = \"4294967295\"",
     "1: group is \"4294967295\", expected a group that this system has"},
    {"GroupThatOverflows", "group = \"99999999999999\"",
     "1: group is \"99999999999999\", expected a group that this system has"},
    {"GroupNameWithAZeroByte", "group = \"property\\u0000\"",
     "1: group is \"property\\x00\", expected a group that this system has"},
    {"GroupThatCanNotBeLookedUp", "group = \"broken\"",
     "1: group is \"broken\", which can not be looked up: Input/output error"},
    {"GroupThatNeverFits", "group = \"endless\"",
     "1: group is \"endless\", which can not be looked up: Numerical result out of range"},

    {"SecretsThatAreNoList", "secret = 5", "1: secret is 5, expected a list of property numbers"},
    {"NoSecrets", "secret = []", "1: secret is an empty list, expected property numbers"},
    {"NegativeSecret", "secret = [\n  -1]", "2: secret names -1" + kNoRange},
    {"OverflowingSecret", "secret = [2147483648]", "1: secret names 2147483648" + kNoRange},
    {"SecretWithAFraction", "secret = [1.5]",
     "1: secret names a number with a fraction" + kNoRange},
    {"SecretList", "secret = [[1]]", "1: secret names a list" + kNoRange},
    {"SecretThatIsNoRange", "secret = [\"12\"]", "1: secret names \"12\"" + kNoRange},
    {"EmptySecret", "secret = [\"\"]", "1: secret names \"\"" + kNoRange},
    {"RangeWithoutEnd", "secret = [\"12-\"]", "1: secret names \"12-\"" + kNoRange},
    {"RangeWithoutBeginning", "secret = [\"-12\"]", "1: secret names \"-12\"" + kNoRange},
    {"RangeToANegativeNumber", "secret = [\"1--2\"]", "1: secret names \"1--2\"" + kNoRange},
    {"RangeOfThree", "secret = [\"1-2-3\"]", "1: secret names \"1-2-3\"" + kNoRange},
    {"RangeWithSpaces", "secret = [\"1 - 2\"]", "1: secret names \"1 - 2\"" + kNoRange},
    {"OverflowingRange", "secret = [\"1-2147483648\"]",
     "1: secret names \"1-2147483648\"" + kNoRange},
    {"ReversedRange", "secret = [\n1,\n\"9-8\"]",
     "3: secret names \"9-8\", expected the lower number first"},
    {"OverlappingRanges", "secret = [\n\"10-20\",\n\"5-10\"]",
     "3: secret names 10 twice, expected each property once"},
    {"RepeatedNumber", "secret = [\n7,\n8,\n7]",
     "4: secret names 7 twice, expected each property once"},

    {"LimitsThatAreNoSection", "limits = 5", "1: limits is 5, expected a section [limits]"},
    {"SeveralLimits", "[[limits]]", "1: limits is a list, expected a section [limits]"},
    {"HistoryThatIsNoSection", "history = \"x\"",
     "1: history is \"x\", expected a section [history]"},
    {"LimitOfAnotherType", "[limits]\nconnections = \"9\"",
     "2: limits.connections is \"9\", expected a number from 1 to 100000"},
    {"LimitWithAFraction", "[limits]\nconnections = 9.0",
     "2: limits.connections is a number with a fraction, expected a number from 1 to 100000"},
    {"NoConnections", "[limits]\nconnections = 0",
     "2: limits.connections is 0, expected a number from 1 to 100000"},
    {"TooManyConnectionsOfAUser", "[limits]\nconnections_per_user = 100001",
     "2: limits.connections_per_user is 100001, expected a number from 1 to 100000"},
    {"NegativeLimit", "[limits]\nvalue_bytes = -1",
     "2: limits.value_bytes is -1, expected a number from 1 to 67108864"},
    {"LargeLimit", "[limits]\nmail_bytes = 67108865",
     "2: limits.mail_bytes is 67108865, expected a number from 1 to 67108864"},
    {"LimitThatOverflows", "[limits]\nmails_per_second = 4294967297",
     "2: limits.mails_per_second is 4294967297, expected a number from 1 to 1000000"},
    {"NegativeEntries", "[history]\nentries = -1",
     "2: history.entries is -1, expected a number from 0 to 1000000000"},
    {"TooManyBytes", "[history]\nbytes = 1099511627777",
     "2: history.bytes is 1099511627777, expected a number from 0 to 1099511627776"},
    {"NoDays", "[history]\ndays = 0", "2: history.days is 0, expected a number from 1 to 36500"},

    {"RulesThatAreNoList", "rule = 5", "1: rule is 5, expected sections [[rule]]"},
    {"OneRuleSection", "[rule]\nproperties = [1]",
     "1: rule is a table, expected sections [[rule]]"},
    {"NoRules", "rule = []", "1: rule is an empty list, expected sections [[rule]]"},
    {"RuleThatIsNoTable", "rule = [\n5]", "2: rule is 5, expected sections [[rule]]"},
    {"RuleWithoutProperties", "\n[[rule]]\nread = [\"everybody\"]",
     "2: rule has no properties, expected the numbers that it is about"},
    {"RuleThatSaysNothing", "[[rule]]\nproperties = [1]",
     "1: rule has neither read nor write, expected at least one of them"},
    {"RuleWithoutNumbers", "[[rule]]\nproperties = []\nread = [\"everybody\"]",
     "2: rule.properties is an empty list, expected property numbers"},
    {"RuleWithABadNumber", "[[rule]]\nproperties = [true]\nread = [\"everybody\"]",
     "2: rule.properties names true" + kNoRange},
    {"RuleWithARepeatedNumber", "[[rule]]\nproperties = [3, \"1-5\"]\nread = [\"everybody\"]",
     "2: rule.properties names 3 twice, expected each property once"},
    {"RuleBehindAnother",
     Rule("read = [\"everybody\"]") + "[[rule]]\nproperties = [100]\nwrite = [\"everybody\"]",
     "4: rule decides nothing, because rules before it name all its properties, expected it "
     "before them"},
    {"RuleBehindSeveralOthers",
     "[[rule]]\nproperties = [\"1-5\"]\nread = [\"everybody\"]\n"
     "[[rule]]\nproperties = [\"6-9\"]\nread = [\"everybody\"]\n"
     "[[rule]]\nproperties = [\"1-2\", \"4-7\", 9]\nread = [\"everybody\"]\n",
     "7: rule decides nothing, because rules before it name all its properties, expected it "
     "before them"},

    {"ReadThatIsNoList", Rule("read = \"everybody\""),
     "3: rule.read is \"everybody\", expected a list of users and groups"},
    {"WriteForNobody", Rule("write = []"),
     "3: rule.write is an empty list, expected users and groups"},
    {"ReaderOfAnotherType", Rule("read = [5]"), "3: rule.read names 5" + kNobody},
    {"ReaderWithoutKind", Rule("read = [\"panel\"]"), "3: rule.read names \"panel\"" + kNobody},
    {"ReaderOfAnUnknownKind", Rule("read = [\"role:panel\"]"),
     "3: rule.read names \"role:panel\"" + kNobody},
    {"UserWithoutName", Rule("read = [\"user:\"]"), "3: rule.read names \"user:\"" + kNobody},
    {"GroupWithoutName", Rule("read = [\"group:\"]"), "3: rule.read names \"group:\"" + kNobody},
    {"EverybodyWithAName", Rule("read = [\"everybody:\"]"),
     "3: rule.read names \"everybody:\"" + kNobody},
    {"UnknownUser", Rule("read = [\"everybody\",\n\"user:unheard\"]"),
     "4: rule.read names \"user:unheard\", expected a user that this system has"},
    {"UserThatIsAGroup", Rule("write = [\"user:operators\"]"),
     "3: rule.write names \"user:operators\", expected a user that this system has"},
    {"UnknownGroupInARule", Rule("write = [\"group:panel\"]"),
     "3: rule.write names \"group:panel\", expected a group that this system has"},
    {"UserWithAZeroByte", Rule("write = [\"user:panel\\u0000x\"]"),
     "3: rule.write names \"user:panel\\x00x\", expected a user that this system has"},
    {"UserThatIsNoNumber", Rule("write = [\"user:4294967295\"]"),
     "3: rule.write names \"user:4294967295\", expected a user that this system has"},
    {"UserThatCanNotBeLookedUp", Rule("write = [\"user:broken\"]"),
     "3: rule.write names \"user:broken\", which can not be looked up: Input/output error"},

    {"LongLine", "\n#" + std::string(1024, 'x'),
     "2: the line is longer than 1024 bytes, expected a list to be spread over several lines"},
    {"LetterInAKey", "\ngr\xc3\xb6\xc3\x9f = 1",
     "2: a character that is not ASCII, expected only in comments"},
    {"LetterBehindAText", "group = \"\\\"#\" \xef\xbb\xbb#\"",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterBehindALiteralText", "group = '\\' \xef\xbb\xbb",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterInAText", "group = \"\xc3\xa9\"",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterBehindTheBeginningOfAText", "group = \"#\xc3\xa9",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterThatIsNone", "\ngroup = \"\xff\"",
     "2: a character that is not ASCII, expected only in comments"},
    {"TextOfSeveralLines", "\ngroup = \"\"\"\n\"\"\"",
     "2: three quotation marks, expected a text on one line"},
    {"LiteralTextOfSeveralLines", "group = '''\nx'''",
     "1: three quotation marks, expected a text on one line"},
    {"VeryDeepKey",
     "[" +
         [] {
           std::string Key;
           for (int Part = 0; Part < 100000; ++Part) {
             Key += "a.";
           }
           return Key;
         }() +
         "a]",
     "1: the line is longer than 1024 bytes, expected a list to be spread over several lines"},
    {"LargeFile", std::string(1048577, '\n'),
     " the file is larger than 1048576 bytes, expected less"},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Files, ServerConfigurationMistake, ::testing::ValuesIn(kMistakes),
                         [](auto const& Info) { return Info.param.Name; });

// What follows the line is the TOML reader's own.
class ServerConfigurationSyntax : public ::testing::TestWithParam<TSMistake> {};

TEST_P(ServerConfigurationSyntax, IsRefusedWithItsLine) {
  EXPECT_THAT(Refusal(GetParam().Text),
              StartsWith("property.toml:" + GetParam().Message + ": no valid TOML: "));
}

INSTANTIATE_TEST_SUITE_P(
    Files, ServerConfigurationSyntax,
    ::testing::Values(
        TSMistake{"NoValue", "\ngroup =\n", "2"}, TSMistake{"OpenText", "group = \"x\n", "1"},
        TSMistake{"RepeatedKey", "secret = [1]\nsecret = [2]\n", "2"},
        TSMistake{"RepeatedSection", "[limits]\n[limits]\n", "2"},
        TSMistake{"NumberThatOverflows", "\n\nsecret = [9223372036854775808]\n", "3"},
        TSMistake{"InvalidCharacters", "#\n# \xff\n", "2"},
        TSMistake{"OverlongCharacters", "# \xc0\x80\n", "1"},
        TSMistake{"ZeroByte", std::string("\n\0", 2), "2"},
        TSMistake{"SectionWithoutBeginning", "\n[.a]\n", "2"},
        TSMistake{"SectionWithASign", "[+]\n", "1"}, TSMistake{"SectionBrokenOff", "[\n]\n", "1"},
        TSMistake{"ListSectionWithASign", "[[+]]\n", "1"},
        TSMistake{"DeepList", "secret = [[[[[[[[[1]]]]]]]]]", "1"},
        TSMistake{"DeepListOverManyLines", "secret = [\n[\n[\n[\n[\n[\n[\n[\n[\n1", "9"},
        TSMistake{"OpenList", "secret = [1,\n2,\n", "2"}),
    [](auto const& Info) { return Info.param.Name; });

TEST_F(ServerConfiguration, IsRefusedOnOneLine) {
  EXPECT_THAT(Refusal("secret = [t\n1]\n"),
              AllOf(StartsWith("property.toml:1: no valid TOML: "), Not(HasSubstr("\n"))));
}

// ---- files ----

TEST_F(ServerConfigurationFile, IsLoaded) {
  Write("secret = [5]\n");

  EXPECT_TRUE(TCServerConfiguration::Load(m_Path).IsSecret(5));
}

TEST_F(ServerConfigurationFile, MayBeginWithAByteOrderMark) {
  Write("\xef\xbb\xbfsecret = [5]\r\n");

  EXPECT_TRUE(TCServerConfiguration::Load(m_Path).IsSecret(5));
}

TEST_F(ServerConfigurationFile, MayHaveAnyLettersInComments) {
  Write("# gr\xc3\xb6\xc3\x9f\xef\xbb\xbb\nsecret = [5] # \xe2\x82\xac\n");

  EXPECT_TRUE(TCServerConfiguration::Load(m_Path).IsSecret(5));
}

TEST_F(ServerConfigurationFile, MayBeAsLargeAsAllowed) {
  Write("secret = [5]\n" + std::string(1048576 - 13, '\n'));

  EXPECT_TRUE(TCServerConfiguration::Load(m_Path).IsSecret(5));
}

TEST_F(ServerConfigurationFile, MayHaveVeryManyRules) {
  std::string Text;
  for (int Number = 0; Number < 10000; ++Number) {
    Text += "[[rule]]\nproperties = [" + std::to_string(2 * Number) + "]\nread = [\"everybody\"]\n";
  }
  Write(Text);

  TCServerConfiguration const Configuration = TCServerConfiguration::Load(m_Path);

  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 19998));
  EXPECT_FALSE(Configuration.MayRead(Sender(kStranger), 19997));
}

TEST_F(ServerConfigurationFile, NamesItselfInARefusal) {
  Write("\n\nsecret = []\n");

  EXPECT_EQ(LoadingMessage(), m_Path + ":3: secret is an empty list, expected property numbers");
}

TEST_F(ServerConfigurationFile, MayHavePercentSignsInARefusal) {
  Write("group = \"%s%n\"\n");

  EXPECT_EQ(LoadingMessage(),
            m_Path + ":1: group is \"%s%n\", expected a group that this system has");
}

TEST_F(ServerConfigurationFile, IsRefusedWhenMissing) {
  EXPECT_EQ(LoadingMessage(), "cannot read " + m_Path + ": No such file or directory");
}

TEST_F(ServerConfigurationFile, IsRefusedWhenItIsAFolder) {
  std::filesystem::create_directory(m_Path);

  EXPECT_EQ(LoadingMessage(), "cannot read " + m_Path + ": it is no regular file");
}

TEST_F(ServerConfigurationFile, IsRefusedWhenItIsAPipe) {
  ASSERT_EQ(mkfifo(m_Path.c_str(), 0600), 0);

  EXPECT_EQ(LoadingMessage(), "cannot read " + m_Path + ": it is no regular file");
}

TEST_F(ServerConfigurationFile, IsRefusedWhenTooLarge) {
  Write(std::string(1048577, '\n'));

  EXPECT_EQ(LoadingMessage(), m_Path + ": the file is larger than 1048576 bytes, expected less");
}

// ---- the example ----

TEST(ServerConfigurationForMembers, HoldsForRootAsForAMemberOfTheGroup) {
  auto const Configuration = TCServerConfiguration::ParseForMembers(
      "group = \"operators\"\n[[rule]]\nproperties = [5]\nwrite = [\"user:panel\"]\n", "test.toml");
  TSNorvMailSender Root;
  Root.User = 0;
  Root.Group = kNone;
  EXPECT_TRUE(Configuration.MayWrite(Root, 4));
  EXPECT_TRUE(Configuration.MayRead(Root, 5));
  EXPECT_FALSE(Configuration.MayWrite(Root, 5));
}

TEST(ServerConfigurationForMembers, IsRefusedWithItsLine) {
  try {
    TCServerConfiguration::ParseForMembers("\ngroup = 5\n", "test.toml");
    FAIL() << "nothing thrown";
  } catch (TCException const& Refused) {
    EXPECT_EQ(Refused.get_Message(),
              "test.toml:2: group is 5, expected the name of a group as a text");
  }
}

TEST(ExampleConfiguration, IsTheDefaults) {
  TCServerConfiguration const Configuration =
      TCServerConfiguration::Load(PROPERTY_EXAMPLE_CONFIGURATION);

  EXPECT_TRUE(Configuration.MayWrite(kGroupMember, 100));
  EXPECT_FALSE(Configuration.MayConnect(Sender(kPanel)));
  EXPECT_FALSE(Configuration.IsSecret(120));
}

TEST(ExampleConfiguration, IsRightWhenItsSettingsAreUncommented) {
  std::ifstream File(PROPERTY_EXAMPLE_CONFIGURATION);
  std::string Text;
  for (std::string Line; std::getline(File, Line);) {
    bool const IsSetting = Line.size() > 1 && Line[0] == '#' && Line[1] != ' ';
    Text += Line.substr(IsSetting ? 1 : 0) + "\n";
  }

  TCServerConfiguration const Configuration = Parse(Text);

  Property::TSServerLimits const Defaults;
  EXPECT_EQ(Configuration.get_Limits().ValueBytes, Defaults.ValueBytes);
  EXPECT_EQ(Configuration.get_Limits().MailBytes, Defaults.MailBytes);
  EXPECT_EQ(Configuration.get_Limits().MailsPerSecond, Defaults.MailsPerSecond);
  EXPECT_EQ(Configuration.get_Limits().ConnectionsPerUser, Defaults.ConnectionsPerUser);
  EXPECT_EQ(Configuration.get_Limits().Connections, Defaults.Connections);
  EXPECT_EQ(Configuration.get_History().Entries, Property::TSHistoryLimits().Entries);
  EXPECT_EQ(Configuration.get_History().Bytes, Property::TSHistoryLimits().Bytes);
  EXPECT_EQ(Configuration.get_History().Age, Property::TSHistoryLimits().Age);
  EXPECT_TRUE(Configuration.IsSecret(120));
  EXPECT_TRUE(Configuration.MayRead(Sender(kStranger), 119));
  EXPECT_TRUE(Configuration.MayWrite(Sender(kPanel), 100));
  EXPECT_FALSE(Configuration.MayWrite(kGroupMember, 200));
}
