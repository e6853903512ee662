// SPDX-License-Identifier: MIT
// The file of users: what it may hold, who may read it, how it is changed.
#include "PropertyConsole/TCUserFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "Platform/Utility/TCException.h"
#include "tests/support/PrivateFolder.h"

namespace {

using Property::TCUserFile;
using Property::TERole;

class UserFile : public ::testing::Test {
 protected:
  ~UserFile() override { std::filesystem::remove_all(m_Folder); }

  void Write(std::string const& Text, mode_t Mode = 0600) const {
    std::ofstream(m_Path) << Text;
    chmod(m_Path.c_str(), Mode);
  }
  template <class TAction>
  static std::string FailureOf(TAction const& Action) {
    try {
      Action();
      return "none";
    } catch (TCException const& Exception) {
      return Exception.get_Message();
    }
  }
  std::string LoadFailure() const {
    return FailureOf([this] { m_File.Load(); });
  }

  std::string const m_Folder = MakePrivateFolder();
  std::string const m_Path = m_Folder + "/users";
  TCUserFile const m_File{m_Path};
};

TEST_F(UserFile, HasNoUsersWhereThereIsNone) {
  EXPECT_TRUE(m_File.Load().empty());
}

TEST_F(UserFile, KeepsWhatIsAdded) {
  m_File.Add("anna", {TERole::eAdministrator, "$y$a:b"});
  m_File.Add("bert", {TERole::eViewer, "$y$c"});

  auto const Users = m_File.Load();
  ASSERT_EQ(Users.size(), 2U);
  EXPECT_EQ(Users.at("anna").Role, TERole::eAdministrator);
  EXPECT_EQ(Users.at("anna").Hash, "$y$a:b");
  EXPECT_EQ(Users.at("bert").Role, TERole::eViewer);
}

TEST_F(UserFile, IsForItsOwnerAlone) {
  m_File.Add("anna", {TERole::eViewer, "$y$a"});

  struct stat Status {};
  ASSERT_EQ(stat(m_Path.c_str(), &Status), 0);
  EXPECT_EQ(Status.st_mode & 07777U, 0600U);
}

TEST_F(UserFile, LeavesNothingBesideItself) {
  m_File.Add("anna", {TERole::eViewer, "$y$a"});
  m_File.Add("bert", {TERole::eViewer, "$y$a"});

  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_Folder), {}), 1);
}

TEST_F(UserFile, RefusesASecondUserOfOneName) {
  m_File.Add("anna", {TERole::eViewer, "$y$a"});

  EXPECT_EQ(FailureOf([this] {
              m_File.Add("anna", {TERole::eOperator, "$y$b"});
            }),
            "there is a user anna already; remove it first");
  EXPECT_EQ(m_File.Load().at("anna").Hash, "$y$a");
}

TEST_F(UserFile, LosesWhoIsRemoved) {
  m_File.Add("anna", {TERole::eViewer, "$y$a"});
  m_File.Add("bert", {TERole::eViewer, "$y$b"});

  m_File.Remove("anna");

  EXPECT_EQ(m_File.Load().count("anna"), 0U);
  EXPECT_EQ(m_File.Load().count("bert"), 1U);
}

TEST_F(UserFile, CannotLoseWhoIsNotThere) {
  EXPECT_EQ(FailureOf([this] { m_File.Remove("anna\n"); }),
            "there is no user anna\\n in " + m_Path);
}

TEST_F(UserFile, IsNotReadWhereOthersMay) {
  Write("anna:viewer:$y$a\n", 0640);

  EXPECT_EQ(LoadFailure(), m_Path + ": others than its owner may use it; say chmod 600");
}

TEST_F(UserFile, IsNotReadWithLinesThatAreNone) {
  Write("anna:viewer:$y$a\nbert\n");
  EXPECT_EQ(LoadFailure(), m_Path + ":2: a line is NAME:ROLE:HASH");
  Write("anna:king:$y$a\n");
  EXPECT_EQ(LoadFailure(), m_Path + ":1: no such name or role can be");
  Write("\x1b[2J:viewer:$y$a\n");
  EXPECT_EQ(LoadFailure(), m_Path + ":1: no such name or role can be");
  Write("anna:viewer:a\nanna:viewer:b\n");
  EXPECT_EQ(LoadFailure(), m_Path + ":2: the user anna is there twice");
}

TEST_F(UserFile, IsNotReadWhereItIsNoFileOfUsers) {
  std::filesystem::create_directory(m_Path);
  EXPECT_EQ(LoadFailure(), m_Path + ": it is no regular file");
}

TEST_F(UserFile, IsNotReadWhenItIsTooLarge) {
  Write(std::string((1 << 20) + 1, 'x'));

  EXPECT_EQ(LoadFailure(), m_Path + ": it is larger than 1 MiB");
}

TEST_F(UserFile, IsAsItWasWhenItCannotBeReplaced) {
  TCUserFile const Nowhere(m_Folder + "/none/users");

  EXPECT_EQ(FailureOf([&] {
              Nowhere.Add("anna", {TERole::eViewer, "$y$a"});
            }),
            "cannot use the folder of " + m_Folder + "/none/users: No such file or directory");
}

TEST_F(UserFile, LosesNobodyWhenManyAreAddedAtOnce) {
  std::vector<std::thread> Threads;
  for (int User = 0; User < 8; ++User) {
    Threads.emplace_back([this, User] {
      m_File.Add("user" + std::to_string(User), {TERole::eViewer, "$y$a"});
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }

  EXPECT_EQ(m_File.Load().size(), 8U);
}

TEST_F(UserFile, KnowsWhatCanBeAName) {
  for (char const* Good : {"a", "Anna.B_c-9", "0"}) {
    EXPECT_EQ(TCUserFile::CheckName(Good), "") << Good;
  }
  for (std::string const& Bad :
       {std::string(), std::string(65, 'a'), std::string("-a"), std::string("a:b"),
        std::string("a b"), std::string("a\n"), std::string("\xc3\xa4"), std::string("a\0", 2)}) {
    EXPECT_NE(TCUserFile::CheckName(Bad), "") << Bad;
  }
}

}  // namespace
