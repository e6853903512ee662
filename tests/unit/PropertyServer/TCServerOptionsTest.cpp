// SPDX-License-Identifier: MIT
// The command line of property-server: defaults, environment, help and refusals.
#include "PropertyServer/TCServerOptions.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <vector>

using Property::TCServerOptions;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class ServerOptions : public ::testing::Test {
 protected:
  ServerOptions() {
    unsetenv("MAILROUTER_ADDRESS");
    unsetenv("STATE_DIRECTORY");
  }

  std::optional<TCServerOptions::TSExit> Parse(std::vector<char const*> Arguments) {
    Arguments.insert(Arguments.begin(), "/usr/sbin/property-server");
    return m_Options.Parse(static_cast<int>(Arguments.size()), Arguments.data());
  }

  /// The text of a refused command line; fails when it is not refused with code 2.
  std::string Refusal(std::vector<char const*> Arguments) {
    std::optional<TCServerOptions::TSExit> const Exit = Parse(std::move(Arguments));
    EXPECT_TRUE(Exit.has_value());
    EXPECT_EQ(Exit.value_or(TCServerOptions::TSExit()).Code, 2);
    return Exit.value_or(TCServerOptions::TSExit()).Text;
  }

  TCServerOptions m_Options;
};

TEST_F(ServerOptions, HaveDefaultsForEverything) {
  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Address(), "unix:path=/run/mailrouter/socket");
  EXPECT_EQ(m_Options.get_Database(), "/var/lib/property/values.db");
  EXPECT_FALSE(m_Options.get_Trace());
}

TEST_F(ServerOptions, TakeEveryOption) {
  ASSERT_FALSE(Parse({"--address", "unix:path=/a", "--database=/b", "--trace"}).has_value());

  EXPECT_EQ(m_Options.get_Address(), "unix:path=/a");
  EXPECT_EQ(m_Options.get_Database(), "/b");
  EXPECT_TRUE(m_Options.get_Trace());
}

TEST_F(ServerOptions, TakeTheAddressFromTheEnvironment) {
  setenv("MAILROUTER_ADDRESS", "unix:path=/environment", 1);

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Address(), "unix:path=/environment");
}

TEST_F(ServerOptions, PreferTheCommandLineToTheEnvironment) {
  setenv("MAILROUTER_ADDRESS", "unix:path=/environment", 1);

  ASSERT_FALSE(Parse({"--address=unix:path=/line"}).has_value());

  EXPECT_EQ(m_Options.get_Address(), "unix:path=/line");
}

TEST_F(ServerOptions, TakeAnEmptyAddressInTheEnvironmentForNone) {
  setenv("MAILROUTER_ADDRESS", "", 1);

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Address(), "unix:path=/run/mailrouter/socket");
}

TEST_F(ServerOptions, PutTheDatabaseIntoTheStateFolder) {
  setenv("STATE_DIRECTORY", "/state", 1);

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Database(), "/state/values.db");
}

TEST_F(ServerOptions, PutTheDatabaseIntoTheFirstOfSeveralStateFolders) {
  setenv("STATE_DIRECTORY", "/first:/second", 1);

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Database(), "/first/values.db");
}

TEST_F(ServerOptions, TakeAnEmptyStateFolderForNone) {
  setenv("STATE_DIRECTORY", "", 1);

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Database(), "/var/lib/property/values.db");
}

TEST_F(ServerOptions, ForgetTheFormerCommandLine) {
  ASSERT_FALSE(Parse({"--address=unix:path=/a", "--database=/b", "--trace"}).has_value());

  ASSERT_FALSE(Parse({}).has_value());

  EXPECT_EQ(m_Options.get_Address(), "unix:path=/run/mailrouter/socket");
  EXPECT_EQ(m_Options.get_Database(), "/var/lib/property/values.db");
  EXPECT_FALSE(m_Options.get_Trace());
}

TEST_F(ServerOptions, PrintTheVersion) {
  std::optional<TCServerOptions::TSExit> const Exit = Parse({"--version"});

  ASSERT_TRUE(Exit.has_value());
  EXPECT_EQ(Exit->Code, 0);
  EXPECT_THAT(Exit->Text, MatchesRegex("property-server [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ServerOptions, ExplainEachOptionWithItsDefault) {
  std::optional<TCServerOptions::TSExit> const Exit = Parse({"--help"});

  ASSERT_TRUE(Exit.has_value());
  EXPECT_EQ(Exit->Code, 0);
  EXPECT_THAT(Exit->Text, HasSubstr("Usage: property-server [OPTIONS]\n"));
  EXPECT_THAT(Exit->Text, HasSubstr("--address ADDRESS=unix:path=/run/mailrouter/socket "
                                    "(Env:MAILROUTER_ADDRESS)\n"));
  EXPECT_THAT(Exit->Text, HasSubstr("Address on which the mail router listens\n"));
  EXPECT_THAT(Exit->Text,
              HasSubstr("File with the values, made when missing (default: values.db in"));
  EXPECT_THAT(Exit->Text, HasSubstr("Print every mail to the standard output (default: off)\n"));
  EXPECT_THAT(Exit->Text, HasSubstr("--version "));
}

TEST_F(ServerOptions, RefuseAnUnknownOption) {
  EXPECT_EQ(Refusal({"--colour"}),
            "property-server: The following argument was not expected: --colour; see --help\n");
}

TEST_F(ServerOptions, RefuseAStrayArgument) {
  EXPECT_EQ(Refusal({"values.db"}),
            "property-server: The following argument was not expected: values.db; see --help\n");
}

TEST_F(ServerOptions, RefuseAnOptionWithoutItsValue) {
  EXPECT_EQ(Refusal({"--database"}),
            "property-server: --database: 1 required FILE missing; see --help\n");
}

TEST_F(ServerOptions, RefuseAnOptionGivenTwice) {
  EXPECT_EQ(Refusal({"--database", "a", "--database", "b"}),
            "property-server: --database: At Most 1 required but received 2; see --help\n");
}

TEST_F(ServerOptions, RefuseTheNextOptionAsAFile) {
  EXPECT_EQ(Refusal({"--database=", "--trace"}),
            "property-server: --database: \"--trace\" is no file name; see --help\n");
}

TEST_F(ServerOptions, RefuseAnEmptyFile) {
  EXPECT_EQ(Refusal({"--database", ""}),
            "property-server: --database: \"\" is no file name; see --help\n");
}

TEST_F(ServerOptions, RefuseAnAddressOfAnotherKind) {
  EXPECT_EQ(Refusal({"--address", "tcp:host=a"}),
            "property-server: --address: \"tcp:host=a\" does not begin with unix:; see --help\n");
}

TEST_F(ServerOptions, RefuseAnAddressOfAnotherKindInTheEnvironment) {
  setenv("MAILROUTER_ADDRESS", "tcp:host=a", 1);

  EXPECT_EQ(Refusal({}),
            "property-server: --address: \"tcp:host=a\" does not begin with unix:; see --help\n");
}
