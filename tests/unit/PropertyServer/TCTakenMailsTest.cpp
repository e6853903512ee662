// SPDX-License-Identifier: MIT
// Whose last mails are remembered, and for how long.
#include "PropertyServer/TCTakenMails.h"

#include <gmock/gmock.h>

#include "tests/unit/PropertyServer/DatabaseFixture.h"

namespace {

using Property::TCPropertyDatabase;
using Property::TCTakenMails;

constexpr uid_t kUser = 1000;
constexpr uid_t kAnother = 1001;

struct TakenMails : DatabaseFixture {
  // Takes one mail of each sender, so many in a transaction.
  void TakeOfEach(std::vector<TSNorvSenderKey> const& Senders, std::uint64_t Number) {
    TCPropertyDatabase::TCTransaction Transaction(m_Database);
    TCTakenMails::TCNumbers Stored;
    for (TSNorvSenderKey const& Sender : Senders) {
      m_Taken.Wait(Sender, Number);
      Stored[Sender] = Number;
    }
    m_Taken.Remember(Transaction, Stored);
    Transaction.Commit();
    m_Taken.OnStored(Stored);
    for (TSNorvSenderKey const& Sender : Senders) {
      m_Taken.TakeEffect(Sender, Number);
    }
  }

  // Takes mails of `Count` new senders.
  void TakeOfMany(uid_t User, int Count) {
    constexpr int kTogether = 100;
    for (int First = 0; First < Count; First += kTogether) {
      std::vector<TSNorvSenderKey> Senders;
      for (int Index = 0; Index < kTogether; ++Index) {
        Senders.push_back({User, "sender " + std::to_string(++m_Made)});
      }
      TakeOfEach(Senders, 1);
    }
  }

  std::size_t CountStored() const {
    return std::stoul(QuerySQL(CopyAsLeft("left"), "SELECT count(*) FROM sender"));
  }

  TCPropertyDatabase m_Database{m_Path};
  std::vector<TSNorvSenderKey> m_Connected;
  TCTakenMails m_Taken{m_Database, [this] { return m_Connected; }};
  int m_Made = 0;
};

}  // namespace

TEST_F(TakenMails, AreOfAUserAndAnIdentityTogether) {
  TakeOfEach({{kUser, "sender"}}, 7);

  EXPECT_EQ(m_Taken.get_Last({kUser, "sender"}), 7U);
  EXPECT_EQ(m_Taken.get_Last({kAnother, "sender"}), 0U);
  EXPECT_EQ(m_Taken.get_Last({kUser, "another"}), 0U);
}

TEST_F(TakenMails, AreKnownAfterARestart) {
  TakeOfEach({{kUser, "sender"}}, 7);

  TCTakenMails Next(m_Database, [] { return std::vector<TSNorvSenderKey>(); });

  EXPECT_EQ(Next.get_Last({kUser, "sender"}), 7U);
  EXPECT_EQ(Next.get_InEffect({kUser, "sender"}), 7U);
  EXPECT_EQ(Next.get_Last({kAnother, "sender"}), 0U);
}

TEST_F(TakenMails, WaitUntilTheyAreStored) {
  TSNorvSenderKey const Sender{kUser, "sender"};
  m_Taken.Wait(Sender, 1);
  EXPECT_EQ(m_Taken.get_Last(Sender), 1U);
  EXPECT_EQ(m_Taken.get_InEffect(Sender), 0U);
  EXPECT_TRUE(m_Taken.IsWaiting(Sender));

  m_Taken.OnStored({{Sender, 1}});
  EXPECT_FALSE(m_Taken.IsWaiting(Sender));
  EXPECT_EQ(m_Taken.get_InEffect(Sender), 0U);

  m_Taken.TakeEffect(Sender, 1);
  EXPECT_EQ(m_Taken.get_InEffect(Sender), 1U);
}

TEST_F(TakenMails, WaitWhileALaterOneOfTheirSenderDoes) {
  TSNorvSenderKey const Sender{kUser, "sender"};
  m_Taken.Wait(Sender, 1);
  m_Taken.Wait(Sender, 2);
  m_Taken.OnStored({{Sender, 1}});
  EXPECT_TRUE(m_Taken.IsWaiting(Sender));
}

TEST_F(TakenMails, TakeNoMemoryForEverySenderThatEverWas) {
  TakeOfMany(kUser, 5000);

  EXPECT_LE(m_Taken.get_InMemory(), TCTakenMails::kKeptInMemory);
  EXPECT_EQ(m_Taken.get_Last({kUser, "sender 1"}), 1U);
}

TEST_F(TakenMails, StayInMemoryWhileTheyAreUnderWay) {
  TSNorvSenderKey const Stored{kUser, "stored, not in effect"};
  TSNorvSenderKey const InEffect{kUser, "in effect, not stored"};
  m_Taken.Wait(Stored, 5);
  m_Taken.OnStored({{Stored, 5}});
  m_Taken.Wait(InEffect, 5);
  m_Taken.TakeEffect(InEffect, 5);

  TakeOfMany(kUser, 3000);

  EXPECT_EQ(m_Taken.get_InEffect(Stored), 0U);
  EXPECT_EQ(m_Taken.get_Last(InEffect), 5U);
  EXPECT_TRUE(m_Taken.IsWaiting(InEffect));
}

TEST_F(TakenMails, AreForgottenWhenManyOthersCameSince) {
  TakeOfMany(kUser, static_cast<int>(TCTakenMails::kRemembered) + 5000);

  EXPECT_EQ(m_Taken.get_Last({kUser, "sender 1"}), 0U);
  EXPECT_EQ(m_Taken.get_Last({kUser, "sender " + std::to_string(m_Made)}), 1U);
  EXPECT_LE(CountStored(), TCTakenMails::kRemembered + TCTakenMails::kForgetAfter + 100);
}

// Whose value is stored is the last writer's; nothing tells of the others.
TEST_F(TakenMails, OfOneSenderUnderManyNamesLeaveFewWritersBehind) {
  constexpr int kTogether = 100;
  TSNorvSenderKey const Sender{kUser, "sender"};
  std::uint64_t Number = 0;
  for (int Name = 0; Name < 15000;) {
    TCPropertyDatabase::TCTransaction Transaction(m_Database);
    for (int Index = 0; Index < kTogether; ++Index) {
      Property::TSProvenance Origin;
      Origin.User = kUser;
      Origin.ProcessName = "name " + std::to_string(++Name);
      Transaction.Put({1, Accessories::TCRecordID(), TCMACAddress(), "value"}, Origin);
    }
    m_Taken.Wait(Sender, ++Number);
    m_Taken.Remember(Transaction, {{Sender, Number}});
    Transaction.Commit();
    m_Taken.OnStored({{Sender, Number}});
  }

  EXPECT_LE(std::stoul(QuerySQL(CopyAsLeft("left"), "SELECT count(*) FROM writer")),
            10000 + TCTakenMails::kForgetAfter + kTogether);
}

TEST_F(TakenMails, OfAConnectedSenderAreNeverForgotten) {
  m_Connected = {{kUser, "connected"}, {kUser, "connected, sends nothing"}};
  TakeOfEach({{kUser, "connected"}, {kUser, "away"}}, 7);

  TakeOfMany(kUser, static_cast<int>(TCTakenMails::kRemembered) + 5000);

  TCTakenMails Next(m_Database, [] { return std::vector<TSNorvSenderKey>(); });
  EXPECT_EQ(Next.get_Last({kUser, "connected"}), 7U);
  EXPECT_EQ(Next.get_Last({kUser, "away"}), 0U);
}

TEST_F(TakenMails, OfOneUserAreNotForgottenForAnothersManySenders) {
  TakeOfEach({{kUser, "sender"}}, 7);

  TakeOfMany(kAnother, 2 * static_cast<int>(TCTakenMails::kRemembered) + 5000);

  TCTakenMails Next(m_Database, [] { return std::vector<TSNorvSenderKey>(); });
  EXPECT_EQ(Next.get_Last({kUser, "sender"}), 7U);
  EXPECT_EQ(Next.get_Last({kAnother, "sender " + std::to_string(m_Made)}), 1U);
}
