// SPDX-License-Identifier: MIT
// Who may sign in, while the file changes.
#include "PropertyConsole/TCUsers.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "PropertyConsole/Passwords.h"
#include "tests/support/PrivateFolder.h"

namespace {

using Property::TCUserFile;
using Property::TCUsers;
using Property::TERole;

class Users : public ::testing::Test {
 protected:
  Users() {
    SetSyslogSink([](int /*Priority*/, std::string const& Text) { LoggedText() += Text; });
    Add("anna", TERole::eOperator, "correct horse");
  }
  ~Users() override {
    SetSyslogSink(nullptr);
    std::filesystem::remove_all(m_Folder);
  }
  static std::string& LoggedText() {
    static std::string Text;
    return Text;
  }
  void Add(std::string const& Name, TERole Role, std::string const& Password) const {
    m_File.Add(Name, {Role, Property::HashPassword(Password)});
  }

  std::string const m_Folder = MakePrivateFolder();
  TCUserFile const m_File{m_Folder + "/users"};
};

TEST_F(Users, SignInWithTheirPassword) {
  TCUsers Known(m_File.get_Path());

  auto const Anna = Known.SignIn("anna", "correct horse");

  ASSERT_TRUE(Anna.has_value());
  EXPECT_EQ(Anna->Role, TERole::eOperator);
}

TEST_F(Users, DoNotSignInWithAnother) {
  TCUsers Known(m_File.get_Path());

  EXPECT_FALSE(Known.SignIn("anna", "correct horsf").has_value());
  EXPECT_FALSE(Known.SignIn("anna", "").has_value());
  EXPECT_FALSE(Known.SignIn("bert", "correct horse").has_value());
  EXPECT_FALSE(Known.SignIn("", "").has_value());
}

TEST_F(Users, AreKnownAsSoonAsTheyAreAdded) {
  TCUsers Known(m_File.get_Path());
  EXPECT_FALSE(Known.Find("bert").has_value());

  Add("bert", TERole::eViewer, "correct horse");

  EXPECT_TRUE(Known.Find("bert").has_value());
}

TEST_F(Users, AreUnknownAsSoonAsTheyAreRemoved) {
  TCUsers Known(m_File.get_Path());
  EXPECT_TRUE(Known.Find("anna").has_value());

  m_File.Remove("anna");

  EXPECT_FALSE(Known.Find("anna").has_value());
}

TEST_F(Users, AreUnknownWhenOthersMayReadTheFile) {
  TCUsers Known(m_File.get_Path());

  chmod(m_File.get_Path().c_str(), 0644);

  EXPECT_FALSE(Known.Find("anna").has_value());
  EXPECT_EQ(LoggedText(), "Nobody can sign in: " + m_File.get_Path() +
                              ": others than its owner may use it; say chmod 600");
}

TEST_F(Users, StopTheStartWhereTheirFileCannotBeRead) {
  chmod(m_File.get_Path().c_str(), 0644);

  EXPECT_THROW(TCUsers Known(m_File.get_Path()), TCException);
}

}  // namespace
