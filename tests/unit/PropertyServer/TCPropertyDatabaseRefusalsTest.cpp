// SPDX-License-Identifier: MIT
// Which refused mails the database remembers, and for how long.
#include <gmock/gmock.h>

#include "tests/unit/PropertyServer/DatabaseFixture.h"

namespace {

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TCPropertyPlace;
using Property::TSRefusal;
using Property::TSRefusals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::size_t kOfSender = 100;
constexpr std::size_t kOfUser = 2000;

struct DatabaseRefusals : DatabaseFixture {
  // As a commit of the server's leaves them.
  static void Note(TCPropertyDatabase& Database, TSNorvSenderKey const& Sender,
                   std::vector<TSRefusal> const& Refusals) {
    TCPropertyDatabase::TCTransaction Transaction(Database);
    Transaction.RememberMail(Sender, Refusals.back().Mail);
    for (TSRefusal const& Refusal : Refusals) {
      Transaction.NoteRefusal(Sender, Refusal);
    }
    Transaction.ForgetOldRefusals(Sender);
    Transaction.Commit();
  }

  // Mails with the numbers from `First` on.
  static std::vector<TSRefusal> Many(std::uint64_t First, std::size_t Count) {
    std::vector<TSRefusal> Refusals;
    for (std::size_t Index = 0; Index < Count; ++Index) {
      Refusals.push_back({First + Index, "no", {}, false});
    }
    return Refusals;
  }

  TSNorvSenderKey const m_Sender{1000, "sender"};
};

}  // namespace

TEST_F(DatabaseRefusals, AreKnownWithTheirReasonAndTheirValuesAfterARestart) {
  TCPropertyPlace const First(7, TCRecordID(), TCMACAddress());
  TCPropertyPlace const Second(-1, TCRecordID(3), TCMACAddress("00:11:22:33:44:55"));
  {
    TCPropertyDatabase Database(m_Path);
    Note(Database, m_Sender, {{4, "it is too large", {}, false}, {9, "no", {First, Second}, true}});
  }

  TSRefusals const Refusals = TCPropertyDatabase(m_Path).ReadRefusals(m_Sender);

  EXPECT_EQ(Refusals.Forgotten, 0U);
  ASSERT_THAT(Refusals.Known, SizeIs(2));
  EXPECT_EQ(Refusals.Known[0].Mail, 4U);
  EXPECT_EQ(Refusals.Known[0].Reason, "it is too large");
  EXPECT_THAT(Refusals.Known[0].Places, IsEmpty());
  EXPECT_FALSE(Refusals.Known[0].Compared);
  EXPECT_EQ(Refusals.Known[1].Mail, 9U);
  EXPECT_THAT(Refusals.Known[1].Places, ElementsAre(First, Second));
  EXPECT_TRUE(Refusals.Known[1].Compared);
}

TEST_F(DatabaseRefusals, AreOfAUserAndAnIdentityTogether) {
  TCPropertyDatabase Database(m_Path);
  Note(Database, m_Sender, {{1, "no", {}, false}});

  EXPECT_THAT(Database.ReadRefusals({1001, "sender"}).Known, IsEmpty());
  EXPECT_THAT(Database.ReadRefusals({1000, "another"}).Known, IsEmpty());
}

TEST_F(DatabaseRefusals, AreTheNewestOfASenderThatHasMany) {
  TCPropertyDatabase Database(m_Path);
  Note(Database, m_Sender, Many(1, kOfSender));
  Note(Database, m_Sender, Many(kOfSender + 1, 2));

  TSRefusals const Refusals = Database.ReadRefusals(m_Sender);

  EXPECT_EQ(Refusals.Forgotten, 2U);
  ASSERT_THAT(Refusals.Known, SizeIs(kOfSender));
  EXPECT_EQ(Refusals.Known.front().Mail, 3U);
  EXPECT_EQ(Refusals.Known.back().Mail, kOfSender + 2);
}

TEST_F(DatabaseRefusals, AreForgottenAMailAtATime) {
  TCPropertyDatabase Database(m_Path);
  TCPropertyPlace const Place(7, TCRecordID(), TCMACAddress());
  Note(Database, m_Sender, {{1, "no", {Place, Place}, true}});
  Note(Database, m_Sender, Many(2, kOfSender - 1));

  TSRefusals const Refusals = Database.ReadRefusals(m_Sender);

  EXPECT_EQ(Refusals.Forgotten, 1U);
  EXPECT_EQ(Refusals.Known.front().Mail, 2U);
}

TEST_F(DatabaseRefusals, AreTheNewestOfAUserThatHasMany) {
  TCPropertyDatabase Database(m_Path);
  Note(Database, {1001, "another's"}, {{1, "no", {}, false}});
  Note(Database, m_Sender, {{8, "no", {}, false}});
  for (std::size_t Sender = 0; Sender < kOfUser / kOfSender; ++Sender) {
    Note(Database, {1000, "sender " + std::to_string(Sender)}, Many(1, kOfSender));
  }

  EXPECT_EQ(Database.ReadRefusals(m_Sender).Forgotten, 8U);
  EXPECT_THAT(Database.ReadRefusals(m_Sender).Known, IsEmpty());
  EXPECT_THAT(Database.ReadRefusals({1000, "sender 0"}).Known, SizeIs(kOfSender));
  EXPECT_THAT(Database.ReadRefusals({1001, "another's"}).Known, SizeIs(1));
}

TEST_F(DatabaseRefusals, GoWithTheirSender) {
  TCPropertyDatabase Database(m_Path);
  Note(Database, m_Sender, {{1, "no", {}, false}});
  Note(Database, {1000, "later"}, {{1, "no", {}, false}});
  {
    TCPropertyDatabase::TCTransaction Transaction(Database);
    Transaction.ForgetSenders(1, {});
    Transaction.Commit();
  }

  EXPECT_EQ(QuerySQL(CopyAsLeft("left"), "SELECT group_concat(identity) FROM refusal"), "later");
}

TEST_F(DatabaseRefusals, HaveTheBeginningOfALongReason) {
  TCPropertyDatabase Database(m_Path);
  Note(Database, m_Sender, {{1, std::string(100000, 'x'), {}, false}});

  EXPECT_EQ(Database.ReadRefusals(m_Sender).Known.front().Reason, std::string(512, 'x'));
}

TEST_F(DatabaseRefusals, HaveWholeCharactersOfALongReason) {
  TCPropertyDatabase Database(m_Path);
  std::string const Fitting(510, 'x');
  Note(Database, m_Sender, {{1, Fitting + "\xe2\x82\xac is too much", {}, false}});

  EXPECT_EQ(Database.ReadRefusals(m_Sender).Known.front().Reason, Fitting);
}
