// SPDX-License-Identifier: MIT
// How mails come to the disk: together, in order, whole, and without holding the loop up.
#include "PropertyServer/TCCommitQueue.h"

#include <gmock/gmock.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <optional>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "tests/support/MailSender.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace {

using Property::PlaceOf;
using Property::TCCommitQueue;
using Property::TCPropertyDatabase;
using Property::TCTakenMails;
using Property::TEDurability;
using Property::TSTakenMail;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kMany = 5000;  // records, of which some slices are made
constexpr uid_t kUser = 1000;

struct CommitQueue : DatabaseFixture {
  CommitQueue() {
    DiskFaults::Install();
    m_Database.emplace(m_Path);
    m_Taken.emplace(*m_Database, [] { return std::vector<TSNorvSenderKey>(); });
    MakeQueue(TEDurability::eFull);
  }
  ~CommitQueue() override { DiskFaults::Repair(); }

  void MakeQueue(TEDurability Durability) {
    m_Queue.emplace(
        *m_Database, *m_Taken, m_Loop, Durability,
        [this](std::list<TSTakenMail>& Stored) {
          for (TSTakenMail const& Mail : Stored) {
            m_Stored.push_back(Mail.Mail.Number);
          }
          Stored.clear();
        },
        [this](bool Failing, char const* /*Reason*/) { m_Troubles.push_back(Failing); });
    m_Queue->SetHistoryLimits({});
  }

  // A mail that gives the properties from 1 to `Count` the value `Data`.
  static TSTakenMail Mail(std::uint64_t Number, int Count, std::string const& Data) {
    TSTakenMail Taken({{}, Number, {Norv_Mail(), 2, 3, TCNorvMailBody::Empty()}});
    Taken.Mail.Sender = NewSender("sender", kUser);
    for (int Property = 1; Property <= Count; ++Property) {
      Taken.Changes.push_back({Property, Accessories::TCRecordID(), TCMACAddress(), Data});
    }
    return Taken;
  }
  // What the history gets of the mail, an entry for each of its changes.
  static void NoteChanges(TSTakenMail& Mail) {
    Mail.Origin.Time = Property::CurrentTime();
    for (Property::TSPropertyRecord const& Change : Mail.Changes) {
      Property::TSHistoryEntry Entry;
      Entry.Transaction = 1;
      Entry.Origin = Mail.Origin;
      Entry.Number = Change.Number;
      Mail.History.push_back(Entry);
    }
  }
  static TCNorvMailClassID Norv_Mail() { return TCNorvMailClassID("property", 2); }

  // Turns the loop until so many mails are stored; returns how often it served something else while
  // a transaction was under way.
  int TurnUntilStored(std::size_t Mails) {
    int Turns = 0;
    TCFileDescriptor const File(eventfd(1, EFD_CLOEXEC));  // always ready
    TCNorvWatchedFile const Ready(m_Loop, File.get(), EPOLLIN, [&](std::uint32_t /*Events*/) {
      Turns += m_Queue->IsStoring() ? 1 : 0;
    });
    while (m_Stored.size() < Mails) {
      m_Loop.Turn();
    }
    return Turns;
  }

  // Turns the loop until a slice of what waits is written, but not the last one.
  void TurnUntilStoring() {
    while (!m_Queue->IsStoring()) {
      m_Loop.Turn();
    }
    ASSERT_THAT(m_Stored, IsEmpty());
  }

  std::string Left(std::string const& Copy) const {
    return QuerySQL(CopyAsLeft(Copy),
                    "SELECT count(*) FROM (SELECT number FROM property_value UNION SELECT number "
                    "FROM history)");
  }

  TCNorvEventLoop m_Loop;
  std::optional<TCPropertyDatabase> m_Database;
  std::optional<TCTakenMails> m_Taken;
  std::optional<TCCommitQueue> m_Queue;
  std::vector<std::uint64_t> m_Stored;  // numbers
  std::vector<bool> m_Troubles;
};

}  // namespace

TEST_F(CommitQueue, StoresAllThatWaitsInOneTransaction) {
  m_Queue->Add(Mail(1, 1, "first"));
  m_Queue->Add(Mail(2, 2, "second"));
  EXPECT_EQ(m_Queue->get_WaitingCount(), 2U);

  TurnUntilStored(2);

  EXPECT_THAT(m_Stored, ElementsAre(1, 2));
  EXPECT_EQ(m_Queue->get_CommitCount(), 1U);
  EXPECT_EQ(m_Queue->get_WaitingCount(), 0U);
  EXPECT_THAT(Values(*m_Database), ElementsAre("1/-/=second", "2/-/=second"));
  EXPECT_EQ(m_Database->LastMail({kUser, "sender"}), 2U);
}

TEST_F(CommitQueue, KnowsTheValuesThatWait) {
  Property::TCPropertyPlace const Place = PlaceOf({1, {}, {}, ""});
  EXPECT_EQ(m_Queue->Find(Place), nullptr);
  m_Queue->Add(Mail(1, 1, "first"));
  m_Queue->Add(Mail(2, 1, "second"));
  ASSERT_NE(m_Queue->Find(Place), nullptr);
  EXPECT_EQ(m_Queue->Find(Place)->Data, "second");
  EXPECT_TRUE(m_Queue->Commit());
  EXPECT_EQ(m_Queue->Find(Place), nullptr);
}

TEST_F(CommitQueue, StoresNothingOfARefusedMailButItsNumber) {
  TSTakenMail Refused = Mail(3, 1, "refused");
  Refused.Refused = true;
  m_Queue->Add(std::move(Refused));
  EXPECT_TRUE(m_Queue->Commit());
  EXPECT_THAT(m_Stored, ElementsAre(3));
  EXPECT_THAT(Values(*m_Database), IsEmpty());
  EXPECT_EQ(m_Database->LastMail({kUser, "sender"}), 3U);
}

TEST_F(CommitQueue, ServesTheLoopBetweenTheSlicesOfALargeMail) {
  m_Queue->Add(Mail(1, kMany, "value"));
  EXPECT_GE(TurnUntilStored(1), 5);
  EXPECT_EQ(m_Queue->get_CommitCount(), 1U);
  EXPECT_THAT(Values(*m_Database), SizeIs(kMany));
}

TEST_F(CommitQueue, ServesTheLoopBetweenTheSlicesOfALargeMailThatIsStoredLater) {
  m_Queue.reset();
  MakeQueue(TEDurability::eRelaxed);
  m_Queue->Add(Mail(1, kMany, "value"));
  EXPECT_GE(TurnUntilStored(1), 5);
  EXPECT_THAT(Values(*m_Database), SizeIs(kMany));
}

TEST_F(CommitQueue, ServesTheLoopBetweenTheSlicesOfAMailThatChangesOneValueOften) {
  TSTakenMail Large = Mail(1, kMany, "value");
  for (Property::TSPropertyRecord& Change : Large.Changes) {
    Change.Number = 7;
  }
  NoteChanges(Large);
  m_Queue->Add(std::move(Large));
  EXPECT_GE(TurnUntilStored(1), 5);
  EXPECT_EQ(m_Queue->get_CommitCount(), 1U);
  EXPECT_THAT(Values(*m_Database), ElementsAre("7/-/=value"));
  EXPECT_THAT(m_Database->ReadHistory(2 * kMany), SizeIs(kMany));
}

TEST_F(CommitQueue, StoresNothingOfALargeMailBeforeAllOfIt) {
  m_Queue->Add(Mail(1, kMany, "value"));
  TurnUntilStoring();
  EXPECT_EQ(Left("meanwhile"), "0");
  TurnUntilStored(1);
  EXPECT_EQ(Left("afterwards"), std::to_string(kMany));
}

TEST_F(CommitQueue, StoresWhatComesMeanwhileAfterALargeMail) {
  m_Queue->Add(Mail(1, kMany, "large"));
  TurnUntilStoring();
  m_Queue->Add(Mail(2, 1, "small"));
  EXPECT_EQ(m_Queue->get_WaitingCount(), 2U);
  EXPECT_EQ(m_Queue->Find(PlaceOf({1, {}, {}, ""}))->Data, "small");
  EXPECT_EQ(m_Queue->Find(PlaceOf({2, {}, {}, ""}))->Data, "large");

  TurnUntilStored(2);

  EXPECT_THAT(m_Stored, ElementsAre(1, 2));
  EXPECT_EQ(m_Queue->get_CommitCount(), 2U);
  EXPECT_EQ(Values(*m_Database).front(), "1/-/=small");
}

TEST_F(CommitQueue, FinishesWhatIsBeingStoredWhenAllIsToBe) {
  m_Queue->Add(Mail(1, kMany, "large"));
  TurnUntilStoring();
  m_Queue->Add(Mail(2, 1, "small"));
  EXPECT_TRUE(m_Queue->Commit());
  EXPECT_THAT(m_Stored, ElementsAre(1, 2));
  EXPECT_EQ(Values(*m_Database).front(), "1/-/=small");
}

TEST_F(CommitQueue, KeepsTheOrderWhenALargeMailCanNotBeStored) {
  m_Queue->Add(Mail(1, kMany, "large"));
  TurnUntilStoring();
  m_Queue->Add(Mail(2, 1, "small"));
  DiskFaults::FillDisk();
  while (m_Troubles.empty()) {
    m_Loop.Turn();
  }
  EXPECT_THAT(m_Stored, IsEmpty());
  EXPECT_EQ(m_Queue->get_WaitingCount(), 2U);
  EXPECT_EQ(m_Queue->Find(PlaceOf({1, {}, {}, ""}))->Data, "small");

  DiskFaults::Repair();
  TurnUntilStored(2);

  EXPECT_THAT(m_Stored, ElementsAre(1, 2));
  EXPECT_THAT(m_Troubles, ElementsAre(true, false));
  EXPECT_EQ(Values(*m_Database).front(), "1/-/=small");
  EXPECT_THAT(Values(*m_Database), SizeIs(kMany));
}

TEST_F(CommitQueue, NotesOnlyAsMuchHistoryAsIsKept) {
  Property::TSHistoryLimits Limits;
  Limits.Entries = 3;
  m_Queue->SetHistoryLimits(Limits);
  TSTakenMail Large = Mail(1, kMany, "value");
  NoteChanges(Large);
  m_Queue->Add(std::move(Large));
  EXPECT_TRUE(m_Queue->Commit());
  auto const Entries = m_Database->ReadHistory(10);
  ASSERT_THAT(Entries, SizeIs(3));
  EXPECT_EQ(Entries.front().Number, kMany);
}

TEST_F(CommitQueue, SaysWhetherAMailWaitsForItsEffect) {
  EXPECT_FALSE(m_Queue->IsAnyWithoutEffect());
  TSTakenMail& Waiting = m_Queue->Add(Mail(1, kMany, "value"));
  EXPECT_TRUE(m_Queue->IsAnyWithoutEffect());
  TurnUntilStoring();
  EXPECT_TRUE(m_Queue->IsAnyWithoutEffect());
  Waiting.InEffect = true;
  EXPECT_FALSE(m_Queue->IsAnyWithoutEffect());
}
