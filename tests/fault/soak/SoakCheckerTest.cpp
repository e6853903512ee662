// SPDX-License-Identifier: MIT
// The checker passes what is right and says what is wrong with everything else.
#include "tests/fault/soak/SoakChecker.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

constexpr TSSoakKey kText{kSharedText, 1};
constexpr TSSoakKey kNumber{kSharedNumber, 1};
constexpr TSSoakKey kOther{kSharedText, 2};
constexpr std::size_t kFirstWriter = 0;
constexpr std::size_t kSecondWriter = 1;
constexpr std::size_t kListener = 2;

TSSoakLife Writer(std::string const& Name, int Stream,
                  std::vector<std::vector<TSSoakKey>> Changes) {
  TSSoakLife Life;
  Life.Name = Name;
  int Counter = 0;
  for (auto& Keys : Changes) {
    Life.Journal.Written[Stream].push_back({{Stream, ++Counter, 0}, std::move(Keys)});
  }
  Life.Journal.Acknowledged[Stream] = Counter;
  return Life;
}

// Two writers of three changes each, one of them of two values, and a listener that missed nothing.
class SoakChecker : public testing::Test {
 protected:
  SoakChecker() {
    m_Record.Lives = {Writer("first", 1, {{kText}, {kText, kNumber}, {kNumber}}),
                      Writer("second", 3, {{kText}, {kOther}, {kText}}), TSSoakLife()};
    m_Record.Lives[kListener].Name = "listener";
    m_Record.Lives[kListener].Listens = true;
    Append(1, kText, 1, 1);
    Append(2, kText, 3, 1);
    Append(3, kText, 1, 2);
    Append(3, kNumber, 1, 2);
    Append(4, kOther, 3, 2);
    Append(5, kNumber, 1, 3);
    Append(6, kText, 3, 3);
    TellAll();
    HoldAll();
  }

  void Append(std::uint64_t Transaction, TSSoakKey const& Key, int Stream, int Counter) {
    m_Record.History.push_back({Transaction, {Key, {Stream, Counter, 0}}, std::nullopt});
  }

  // Sets what follows from the history: the former values and the database.
  void HoldAll() {
    m_Record.Values.clear();
    for (TSSoakEntry& Entry : m_Record.History) {
      auto const Known = m_Record.Values.find(Entry.Value.Key);
      Entry.Former =
          Known == m_Record.Values.end() ? std::nullopt : std::make_optional(Known->second);
      m_Record.Values[Entry.Value.Key] = Entry.Value.Stamp;
    }
  }

  void TellAll() {
    Seen().clear();
    for (TSSoakEntry const& Entry : m_Record.History) {
      Seen().push_back(Entry.Value);
    }
  }

  std::vector<TSSoakNotice>& Seen() { return m_Record.Lives[kListener].Journal.Seen; }
  TSSoakJournal& First() { return m_Record.Lives[kFirstWriter].Journal; }

  void Interrupt() { m_Record.Lives[kListener].Interruptions = 1; }

  void Erase(std::size_t Place) {
    m_Record.History.erase(m_Record.History.begin() + static_cast<std::ptrdiff_t>(Place));
  }

  void EraseSeen(std::size_t Place) {
    Seen().erase(Seen().begin() + static_cast<std::ptrdiff_t>(Place));
  }

  // The first violation, or nothing.
  std::string Check() {
    try {
      TSoakChecker(m_Record).Check();
    } catch (std::runtime_error const& Violation) {
      return Violation.what();
    }
    return "";
  }

  TSSoakRecord m_Record;
};

}  // namespace

// ---- histories ----

TEST_F(SoakChecker, FindsNothingWrongWhereNothingIs) {
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakChecker, CountsWhatItHasChecked) {
  TSoakChecker Checker(m_Record);
  Checker.Check();
  EXPECT_EQ(Checker.get_Counts().Written, 7U);
  EXPECT_EQ(Checker.get_Counts().Acknowledged, 7U);
  EXPECT_EQ(Checker.get_Counts().Checked, 14U);
}

TEST_F(SoakChecker, FindsAChangeThatIsLostInTheMiddle) {
  Erase(4);
  HoldAll();
  EXPECT_EQ(Check(),
            "lost or reordered: property 2001 of record 1 = 3.3 (transaction 6) comes after 3.1 in "
            "the history");
}

TEST_F(SoakChecker, FindsAnAcknowledgedChangeThatIsLostAtTheEnd) {
  Erase(6);
  HoldAll();
  EXPECT_EQ(Check(), "lost: second had 3.3 acknowledged, and the history ends with .2");
}

TEST_F(SoakChecker, ToleratesThatAKilledWritersLastChangesAreMissing) {
  Erase(6);
  HoldAll();
  TellAll();
  m_Record.Lives[kSecondWriter].Killed = true;
  m_Record.Lives[kSecondWriter].Journal.Acknowledged[3] = 2;
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakChecker, FindsAWriterThatEndedWithoutAllItsAcknowledgements) {
  m_Record.Lives[kSecondWriter].Journal.Acknowledged[3] = 2;
  EXPECT_EQ(Check(), "second ended with 2 of 3 changes of stream 3 acknowledged");
}

TEST_F(SoakChecker, FindsAChangeThatWasStoredTwice) {
  Append(7, kText, 3, 3);
  HoldAll();
  EXPECT_EQ(Check(),
            "doubled or reordered: property 2001 of record 1 = 3.3 (transaction 7) comes after 3.3 "
            "in the history");
}

TEST_F(SoakChecker, FindsAWritersChangesInAnotherOrder) {
  std::swap(m_Record.History[4].Value, m_Record.History[6].Value);
  HoldAll();
  EXPECT_EQ(Check(),
            "lost or reordered: property 2001 of record 1 = 3.3 (transaction 4) comes after 3.1 in "
            "the history");
}

TEST_F(SoakChecker, FindsATransactionThatIsNotWhole) {
  Erase(3);
  HoldAll();
  EXPECT_EQ(Check(),
            "torn: property 2002 of record 1 is missing from the change 1.2, transaction 3");
}

TEST_F(SoakChecker, FindsATransactionThatIsMixedWithAnother) {
  m_Record.History[4].Transaction = 3;
  EXPECT_EQ(Check(),
            "torn: property 2001 of record 2 = 3.2 (transaction 3) is no part of the change 1.2");
}

TEST_F(SoakChecker, FindsAValueThatNobodyWrote) {
  Append(7, kText, 9, 1);
  HoldAll();
  EXPECT_EQ(Check(),
            "the history has what nobody wrote: property 2001 of record 1 = 9.1 (transaction 7)");
}

TEST_F(SoakChecker, FindsAWrongFormerValue) {
  m_Record.History[6].Former = TSSoakStamp{1, 1, 0};
  EXPECT_EQ(Check(),
            "the history says that property 2001 of record 1 = 3.3 (transaction 6) replaced 1.1, "
            "it replaced 1.2");
}

TEST_F(SoakChecker, FindsADatabaseThatDoesNotHoldWhatTheHistoryEndsWith) {
  m_Record.Values[kText] = {1, 2, 0};
  EXPECT_EQ(Check(),
            "the history ends with property 2001 of record 1 = 3.3, the database holds 1.2");
}

TEST_F(SoakChecker, PassesOnWhatAProcessComplainsOf) {
  First().Complaints.emplace_back("reads rubbish");
  EXPECT_EQ(Check(), "first reads rubbish");
}

TEST_F(SoakChecker, FindsAStoreThatDiffersFromTheDatabase) {
  m_Record.Database = {"2001 1  aa", "2002 1  bb"};
  for (TSSoakLife& Life : m_Record.Lives) {
    Life.Store = m_Record.Database;
  }
  m_Record.Lives[kListener].Store = {"2001 1  aa", "2002 1  cc"};
  EXPECT_EQ(Check(),
            "the store of listener differs from the database:\n  database  2002 1  bb\n  store     "
            "2002 1  cc");
}

// ---- keepers ----

class SoakCheckerKept : public SoakChecker {
 protected:
  // Keeper 1 has set a value, another, and has taken the second back.
  SoakCheckerKept() {
    m_Record.KeptHistory = {
        {2, 0, 1, "-", "1.1"}, {4, 0, 1, "1.1", "1.2"}, {6, 4, 1, "1.2", "1.1"}};
    m_Record.Kept[1] = "1.1";
    First().Kept[1] = {"1.1", "1.1"};
  }
};

TEST_F(SoakCheckerKept, PassesWhatWasTakenBack) {
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakCheckerKept, PassesAStepOfAKilledKeeperWhetherItWasTakenOrNot) {
  m_Record.Lives[kFirstWriter].Killed = true;
  First().Kept[1] = {"1.2", "1.1"};
  EXPECT_EQ(Check(), "");
  First().Kept[1] = {"1.1", "1.4"};
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakCheckerKept, PassesAKeeperOfWhichNothingWasTaken) {
  m_Record.Lives[kFirstWriter].Killed = true;
  First().Kept[2] = {"-", "2.1"};
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakCheckerKept, FindsAStepThatWasLost) {
  First().Kept[1] = {"1.2", "1.2"};
  EXPECT_EQ(Check(), "lost: keeper 1 of first has left 1.2, the database holds 1.1");
}

TEST_F(SoakCheckerKept, FindsAKeeperThatEndedInTheMiddleOfAStep) {
  First().Kept[1] = {"1.2", "1.1"};
  EXPECT_EQ(Check(), "first ended in the middle of a step of keeper 1");
}

TEST_F(SoakCheckerKept, FindsWhatWasTakenBackTwice) {
  m_Record.KeptHistory.push_back({7, 4, 1, "1.1", "1.1"});
  EXPECT_EQ(Check(), "doubled: transaction 7 of keeper 1 takes back 4, as another has before");
}

TEST_F(SoakCheckerKept, FindsAWrongFormerValue) {
  m_Record.KeptHistory[2].From = "1.1";
  EXPECT_EQ(Check(),
            "the history says that transaction 6 of keeper 1 replaced 1.1, it replaced 1.2");
}

TEST_F(SoakCheckerKept, FindsADatabaseThatDoesNotHoldWhatTheHistoryEndsWith) {
  m_Record.Kept.clear();
  EXPECT_EQ(Check(), "the history of keeper 1 ends with 1.1, the database holds -");
}

// ---- listeners ----

TEST_F(SoakChecker, FindsANotificationThatIsMissing) {
  EraseSeen(2);
  EXPECT_EQ(Check(),
            "listener, notification 2: property 2002 of record 1 = 1.2 instead of property 2001 of "
            "record 1 = 1.2 (transaction 3), after 0 interruptions");
}

TEST_F(SoakChecker, FindsThatTheLastNotificationIsMissing) {
  EraseSeen(6);
  EXPECT_EQ(Check(),
            "listener was not told of property 2001 of record 1 = 3.3 (transaction 6) and all that "
            "came after it");
}

TEST_F(SoakChecker, FindsANotificationThatComesTwice) {
  Interrupt();
  Seen().insert(Seen().begin() + 2, Seen()[1]);
  EXPECT_EQ(Check(),
            "listener, notification 2: property 2001 of record 1 = 3.1 instead of property 2001 of "
            "record 1 = 1.2 (transaction 3), and the values never were what it was told");
}

TEST_F(SoakChecker, FindsNotificationsInAnotherOrder) {
  Interrupt();
  std::swap(Seen()[0], Seen()[1]);
  EXPECT_EQ(Check(),
            "listener, notification 1: property 2001 of record 1 = 1.1 instead of property 2001 of "
            "record 1 = 1.2 (transaction 3), and the values never were what it was told");
}

TEST_F(SoakChecker, FindsANotificationOfWhatNobodyStored) {
  Interrupt();
  Seen().insert(Seen().begin() + 1, TSSoakNotice{kText, {1, 9, 0}});
  EXPECT_EQ(Check(),
            "listener, notification 1: property 2001 of record 1 = 1.9 instead of property 2001 of "
            "record 1 = 3.1 (transaction 2), and the values never were what it was told");
}

TEST_F(SoakChecker, ToleratesAListenerThatBeginsInTheMiddle) {
  Seen().erase(Seen().begin(), Seen().begin() + 2);
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakChecker, ToleratesThatAnInterruptedListenerIsToldInSum) {
  Interrupt();
  Seen() = {{kText, {1, 1, 0}},
            {kText, {1, 2, 0}},
            {kOther, {3, 2, 0}},
            {kNumber, {1, 3, 0}},
            {kText, {3, 3, 0}}};
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakChecker, FindsAValueThatIsMissingFromASum) {
  Interrupt();
  EraseSeen(5);
  EXPECT_EQ(Check(),
            "listener, notification 5: property 2001 of record 1 = 3.3 instead of property 2002 of "
            "record 1 = 1.3 (transaction 5), and the values never were what it was told");
}

TEST_F(SoakChecker, FindsThatOneInterruptionCostsTwoPieces) {
  Interrupt();
  Seen() = {{kText, {1, 1, 0}}, {kText, {1, 2, 0}}, {kNumber, {1, 2, 0}}, {kText, {3, 3, 0}}};
  EXPECT_NE(Check().find("after 1 interruptions"), std::string::npos);
}

TEST_F(SoakChecker, FindsHalfATransactionAtTheEndOfASum) {
  Interrupt();
  Seen() = {{kText, {1, 1, 0}}, {kText, {1, 2, 0}}};
  EXPECT_EQ(Check(),
            "listener, notification 1: property 2001 of record 1 = 1.2 instead of property 2001 of "
            "record 1 = 3.1 (transaction 2), and the values never were what it was told");
}

// ---- relaxed durability ----

class SoakCheckerRelaxed : public SoakChecker {
 protected:
  // The server dies with transaction 2 as the last that is stored; the first writer dies as well,
  // with its last change, which the listener has heard of.
  SoakCheckerRelaxed() {
    m_Record.Relaxed = true;
    m_Record.Deaths = {2};
    Interrupt();
    First().Written[1].push_back({{1, 4, 0}, {kText}});
    m_Record.Lives[kFirstWriter].Killed = true;
    Seen().insert(Seen().begin() + 2, {{kText, {1, 4, 0}}, {kText, {3, 1, 0}}});
  }
};

TEST_F(SoakCheckerRelaxed, ToleratesWhatTheDeathsOfServerAndWriterHaveTakenBack) {
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakCheckerRelaxed, FindsATakenBackChangeWithoutTheServersDeath) {
  m_Record.Deaths.clear();
  EXPECT_EQ(Check(),
            "listener was told of property 2001 of record 1 = 1.4, which is not in the history and "
            "was not taken back");
}

TEST_F(SoakCheckerRelaxed, FindsATakenBackChangeWhoseListenerHeardNothingInItsPlace) {
  EraseSeen(3);
  Seen().erase(Seen().begin() + 3, Seen().end());
  EXPECT_EQ(Check(),
            "listener, notification 2: property 2001 of record 1 = 1.4, and the values never were "
            "what it was told from there on");
}

TEST_F(SoakCheckerRelaxed, FindsThatSomethingWasTakenBackFromAnUninterruptedListener) {
  m_Record.Lives[kListener].Interruptions = 0;
  EXPECT_EQ(
      Check(),
      "listener, notification 2: property 2001 of record 1 = 1.4 is not the next, and nothing "
      "has interrupted it");
}

TEST_F(SoakCheckerRelaxed, ToleratesThatChangesAreStoredInAnotherOrderThanTold) {
  // Transactions 4 and 5 were told of in the other order before the server's death.
  m_Record.Deaths = {3};
  TellAll();
  Seen().insert(Seen().begin() + 4, {{kNumber, {1, 3, 0}}, {kNumber, {1, 2, 0}}});
  EXPECT_EQ(Check(), "");
}

TEST_F(SoakCheckerRelaxed, FindsThatStoredChangesWereTakenBack) {
  m_Record.Deaths = {6};
  TellAll();
  Seen().insert(Seen().begin() + 4, {{kNumber, {1, 3, 0}}, {kNumber, {1, 2, 0}}});
  EXPECT_EQ(Check(),
            "listener, notification 5: property 2002 of record 1 = 1.2, and from there on it was "
            "told again what it knew, or what was over");
}

TEST_F(SoakCheckerRelaxed, FindsANotificationThatComesTwice) {
  m_Record.Deaths = {6};
  TellAll();
  Seen().insert(Seen().begin() + 2, Seen()[1]);
  EXPECT_EQ(Check(),
            "listener, notification 2: property 2001 of record 1 = 3.1, and from there on it was "
            "told again what it knew, or what was over");
}
