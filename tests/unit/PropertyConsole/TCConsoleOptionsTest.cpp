// SPDX-License-Identifier: MIT
// The command line of property-console: defaults, file, help and refusals.
#include "PropertyConsole/TCConsoleOptions.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "tests/support/PrivateFolder.h"

namespace {

using Property::TCConsoleOptions;
using Property::TERole;
using ::testing::HasSubstr;

class ConsoleOptions : public ::testing::Test {
 protected:
  ConsoleOptions() { unsetenv("STATE_DIRECTORY"); }
  ~ConsoleOptions() override { std::filesystem::remove_all(m_Folder); }

  std::optional<TCConsoleOptions::TSExit> Parse(std::vector<char const*> Arguments) {
    Arguments.insert(Arguments.begin(), "/usr/bin/property-console");
    return m_Options.Parse(static_cast<int>(Arguments.size()), Arguments.data());
  }
  /// The text of a refused command line; fails when it is not refused with code 2.
  std::string Refusal(std::vector<char const*> Arguments) {
    auto const Exit = Parse(std::move(Arguments));
    EXPECT_TRUE(Exit.has_value());
    EXPECT_EQ(Exit.value_or(TCConsoleOptions::TSExit()).Code, 2);
    return Exit.value_or(TCConsoleOptions::TSExit()).Text;
  }
  std::string WriteConfiguration(std::string const& Text) const {
    std::string const Path = m_Folder + "/console.toml";
    std::ofstream(Path) << Text;
    return Path;
  }

  std::string const m_Folder = MakePrivateFolder();
  TCConsoleOptions m_Options;
};

TEST_F(ConsoleOptions, ServeThisMachineAloneByDefault) {
  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Command(), TCConsoleOptions::TECommand::eServe);
  EXPECT_EQ(m_Options.get_Settings().Address, "127.0.0.1");
  EXPECT_EQ(m_Options.get_Settings().Port, 8420U);
  EXPECT_EQ(m_Options.get_Settings().Users, "/var/lib/property-console/users");
}

TEST_F(ConsoleOptions, TakeTheFolderOfTheServiceManager) {
  setenv("STATE_DIRECTORY", "/srv/a:/srv/b", 1);

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Settings().Users, "/srv/a/users");
}

TEST_F(ConsoleOptions, AreTakenFromTheFile) {
  std::string const File = WriteConfiguration(
      "# of this device\nport = 0\nhost-name = [\"box\", \"box.example\"]\nthreads = 3\n");

  ASSERT_FALSE(Parse({"--config", File.c_str()}).has_value());

  EXPECT_EQ(m_Options.get_Settings().Port, 0U);
  EXPECT_EQ(m_Options.get_Settings().Names, (std::vector<std::string>{"box", "box.example"}));
  EXPECT_EQ(m_Options.get_Settings().Threads, 3U);
}

TEST_F(ConsoleOptions, GoBeforeTheFile) {
  std::string const File = WriteConfiguration("port = 1\n");

  ASSERT_FALSE(Parse({"--config", File.c_str(), "--port", "2"}).has_value());

  EXPECT_EQ(m_Options.get_Settings().Port, 2U);
}

TEST_F(ConsoleOptions, RefuseAFileWithAnythingElse) {
  EXPECT_THAT(Refusal({"--config", WriteConfiguration("prot = 1\n").c_str()}), HasSubstr("prot"));
  EXPECT_THAT(Refusal({"--config", WriteConfiguration("port = x\n").c_str()}), HasSubstr("port"));
  EXPECT_THAT(Refusal({"--config", (m_Folder + "/none").c_str()}), HasSubstr("none"));
}

TEST_F(ConsoleOptions, NameAUserToAdd) {
  ASSERT_FALSE(Parse({"user", "add", "anna", "--role", "operator", "--users", "f"}).has_value());

  EXPECT_EQ(m_Options.get_Command(), TCConsoleOptions::TECommand::eAddUser);
  EXPECT_EQ(m_Options.get_UserName(), "anna");
  EXPECT_EQ(m_Options.get_Role(), TERole::eOperator);
  EXPECT_EQ(m_Options.get_Settings().Users, "f");
}

TEST_F(ConsoleOptions, NameAUserToRemove) {
  ASSERT_FALSE(Parse({"user", "remove", "anna"}).has_value());

  EXPECT_EQ(m_Options.get_Command(), TCConsoleOptions::TECommand::eRemoveUser);
  EXPECT_EQ(m_Options.get_UserName(), "anna");
}

TEST_F(ConsoleOptions, AskForTheUsers) {
  ASSERT_FALSE(Parse({"user", "list"}).has_value());

  EXPECT_EQ(m_Options.get_Command(), TCConsoleOptions::TECommand::eListUsers);
}

TEST_F(ConsoleOptions, RefuseUsersThatCannotBe) {
  EXPECT_THAT(Refusal({"user"}), HasSubstr("subcommand"));
  EXPECT_THAT(Refusal({"user", "add", "anna"}), HasSubstr("--role"));
  EXPECT_THAT(Refusal({"user", "add", "anna", "--role", "king"}), HasSubstr("--role"));
  EXPECT_THAT(Refusal({"user", "add", "a:b", "--role", "viewer"}), HasSubstr("a user's name"));
  EXPECT_THAT(Refusal({"user", "add", "a", "--role", "viewer", "password"}), HasSubstr("password"));
}

TEST_F(ConsoleOptions, DoNotServeOthersInPlainText) {
  EXPECT_THAT(Refusal({"--listen", "0.0.0.0"}), HasSubstr("others could read passwords"));
  EXPECT_FALSE(Parse({"--listen", "0.0.0.0", "--plain-http"}).has_value());
  EXPECT_FALSE(Parse({"--listen", "::", "--certificate", "c", "--key", "k"}).has_value());
  EXPECT_FALSE(Parse({"--listen", "::1"}).has_value());
}

TEST_F(ConsoleOptions, TellFiguresToEverybodyOnlyWhereThatIsSaid) {
  ASSERT_FALSE(Parse({}).has_value());
  EXPECT_FALSE(m_Options.get_Settings().Metrics);

  ASSERT_FALSE(Parse({"--metrics"}).has_value());
  EXPECT_TRUE(m_Options.get_Settings().Metrics);

  std::string const Path = WriteConfiguration("metrics = true\n");
  ASSERT_FALSE(Parse({"--config", Path.c_str()}).has_value());
  EXPECT_TRUE(m_Options.get_Settings().Metrics);
}

TEST_F(ConsoleOptions, RefuseWhatCannotBeMeant) {
  EXPECT_THAT(Refusal({"--certificate", "c"}), HasSubstr("--certificate and --key go together"));
  EXPECT_THAT(Refusal({"--listen", "localhost"}), HasSubstr("no address of numbers"));
  EXPECT_THAT(Refusal({"--port", "65536"}), HasSubstr("--port"));
  EXPECT_THAT(Refusal({"--port", "-1"}), HasSubstr("--port"));
  EXPECT_THAT(Refusal({"--users=", "--port"}), HasSubstr("--users"));
  EXPECT_THAT(Refusal({"--host-name", "a\r\nX: y"}), HasSubstr("a\\r\\nX: y"));
  EXPECT_THAT(Refusal({"--threads", "0"}), HasSubstr("--threads"));
  EXPECT_THAT(Refusal({"--nonsense\x1b[2J"}), HasSubstr("\\x1b[2J"));
}

TEST_F(ConsoleOptions, HaveHelpAndAVersion) {
  auto const Help = Parse({"--help"});
  ASSERT_TRUE(Help.has_value());
  EXPECT_EQ(Help->Code, 0);
  EXPECT_THAT(Help->Text, HasSubstr("--listen"));
  auto const Version = Parse({"--version"});
  ASSERT_TRUE(Version.has_value());
  EXPECT_EQ(Version->Code, 0);
  EXPECT_THAT(Version->Text, HasSubstr("property-console "));
}

}  // namespace
