// SPDX-License-Identifier: MIT
// property-console user: adding, removing and listing.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "tests/console/ConsoleFixture.h"

namespace {

class UserCommandTest : public TConsoleFixture {
 protected:
  std::string Users() const {
    std::ostringstream Text;
    Text << std::ifstream(File("users")).rdbuf();
    return Text.str();
  }
};

TEST_F(UserCommandTest, KeepsAHashOfThePasswordOnTheStandardInput) {
  ASSERT_EQ(Command({"user", "add", "anna", "--role", "viewer"}, "correct horse"), 0);

  EXPECT_THAT(Users(), ::testing::MatchesRegex("anna:viewer:\\$y\\$[^\n]*\n"));
  EXPECT_EQ(Users().find("horse"), std::string::npos);
}

TEST_F(UserCommandTest, ListsUsersWithTheirRoles) {
  AddUser("bert", "administrator");
  AddUser("anna", "viewer");

  auto const List = Start({CONSOLE_PROGRAM, "user", "list", "--users", File("users")});

  EXPECT_EQ(List->Hear(), "anna\tviewer");
  EXPECT_EQ(List->Hear(), "bert\tadministrator");
  EXPECT_EQ(List->End(), 0);
}

TEST_F(UserCommandTest, RemovesAUser) {
  AddUser("anna", "viewer");

  EXPECT_EQ(Command({"user", "remove", "anna"}), 0);

  EXPECT_EQ(Users(), "");
  EXPECT_EQ(Command({"user", "remove", "anna"}), 1);
}

TEST_F(UserCommandTest, RefusesPasswordsThatAreNone) {
  EXPECT_EQ(Command({"user", "add", "anna", "--role", "viewer"}), 1);
  EXPECT_EQ(Command({"user", "add", "anna", "--role", "viewer"}, "short"), 1);
  EXPECT_EQ(Command({"user", "add", "anna", "--role", "viewer"}, std::string(257, 'x')), 1);

  EXPECT_EQ(Users(), "");
}

TEST_F(UserCommandTest, RefusesASecondUserOfOneName) {
  AddUser("anna", "viewer");
  std::string const Former = Users();

  EXPECT_EQ(Command({"user", "add", "anna", "--role", "operator"}, kPassword), 1);

  EXPECT_EQ(Users(), Former);
}

}  // namespace
