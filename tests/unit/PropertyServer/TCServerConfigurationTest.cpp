// SPDX-License-Identifier: MIT
// The configuration: its defaults, what it limits and hides, and where it is read from.
#include "PropertyServer/TCServerConfiguration.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ConfigurationFixture.h"
#include "Platform/Utility/TCException.h"
#include "tests/support/PrivateFolder.h"

using Property::TCServerConfiguration;

namespace {

struct ServerConfiguration : TConfigurationFixture {};

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
