// SPDX-License-Identifier: MIT
// What becomes of the history's texts when properties become secret, and when they are no longer.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "ServiceFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace {

using Property::TCPropertyDatabase;
using Property::TEDurability;
using Property::TSHistoryEntry;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kSecret[] = "secret = [7]\n";
constexpr char kOpen[] = "";

struct SecretTexts : TPropertyServiceFixture {
  /// Sets property 7 to each text in turn.
  static void Set(std::vector<std::string> const& Texts) {
    TPropertyProxy Writer;
    for (std::string const& Text : Texts) {
      Writer.Send(Change({{7, Text, "", ""}}));
      ASSERT_TRUE(Writer.IsAcknowledged());
    }
  }

  void Reload(std::string const& Configuration) {
    Execute([&] { m_Service->m_Server.SetConfiguration(Configured(Configuration)); });
  }

  void Restart(std::string const& Configuration) {
    Stop();
    Start(TEDurability::eFull, Configuration);
  }

  /// The changes as "former > present", newest first.
  std::vector<std::string> History() {
    std::vector<std::string> Result;
    Execute([&] {
      for (TSHistoryEntry const& Entry : m_Service->m_Database.ReadHistory(100)) {
        Result.push_back(Entry.From.value_or("-") + " > " + (Entry.Secret ? "*" : Entry.To));
      }
    });
    return Result;
  }

  /// Whether the bytes of the database's file or of its log have `Text` in them.
  bool IsOnDisk(std::string const& Text) const {
    for (char const* Suffix : {"", "-wal"}) {
      std::ifstream File(Path() + Suffix, std::ios::binary);
      std::string const Bytes{std::istreambuf_iterator<char>(File),
                              std::istreambuf_iterator<char>()};
      if (Bytes.find(Text) != std::string::npos) {
        return true;
      }
    }
    return false;
  }

  std::uint64_t HistoryBytes() {
    std::uint64_t Bytes = 0;
    Execute([&] { Bytes = m_Service->m_Database.MeasureHistory(); });
    return Bytes;
  }
};

std::string Long(char Letter) {
  return std::string(20000, Letter);
}

}  // namespace

TEST_F(SecretTexts, GoWhenAPropertyBecomesSecretAtAReload) {
  Start();
  Set({"former text", Long('f'), "present text"});
  ASSERT_TRUE(IsOnDisk("former text"));

  Reload(kSecret);

  EXPECT_THAT(History(), ElementsAre("- > *", "- > *", "- > *"));
  EXPECT_FALSE(IsOnDisk("former text"));
  EXPECT_FALSE(IsOnDisk(Long('f').substr(0, 100)));
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=7 data=\"present text\" mac=\"\" loaded=0}");
}

TEST_F(SecretTexts, GoWhenAPropertyBecomesSecretBetweenTwoStarts) {
  Start();
  Set({"former text", Long('f'), "present text"});

  Restart(kSecret);

  EXPECT_THAT(History(), ElementsAre("- > *", "- > *", "- > *"));
  EXPECT_FALSE(IsOnDisk("former text"));
  EXPECT_FALSE(IsOnDisk(Long('f').substr(0, 100)));
  Stop();
  EXPECT_THAT(TCPropertyDatabase::Check(Path()), HasSubstr("is sound"));
}

TEST_F(SecretTexts, GoFromWhatWasForgottenBefore) {
  Start(TEDurability::eFull, "[history]\nentries = 1\n");
  Set({"former text", Long('f'), "text between", "present text"});

  Reload(kSecret);

  EXPECT_FALSE(IsOnDisk("former text"));
  EXPECT_FALSE(IsOnDisk(Long('f').substr(0, 100)));
  EXPECT_FALSE(IsOnDisk("text between"));
}

TEST_F(SecretTexts, OfOtherPropertiesStay) {
  Start();
  {
    TPropertyProxy Writer;
    Writer.Send(Change({{6, "a", "", ""}, {7, "b", "", ""}, {8, "c", "4", ""}}));
    ASSERT_TRUE(Writer.IsAcknowledged());
  }

  Reload(kSecret);

  EXPECT_THAT(History(), ElementsAre("- > c", "- > *", "- > a"));
  EXPECT_EQ(HistoryBytes(), 3U * 64 + 2);
  Restart(kSecret);
  EXPECT_EQ(HistoryBytes(), 3U * 64 + 2);
}

TEST_F(SecretTexts, StayHiddenWhenTheirPropertyIsNoLongerSecret) {
  Start(TEDurability::eFull, kSecret);
  Set({"former secret", "last secret"});
  Reload(kOpen);

  Set({"first", "second"});

  EXPECT_THAT(History(), ElementsAre("first > second", "- > first", "- > *", "- > *"));
}

TEST_F(SecretTexts, StayHiddenWhenTheirPropertyIsNoLongerSecretAtTheNextStart) {
  Start(TEDurability::eFull, kSecret);
  Set({"former secret", "last secret"});
  Restart(kOpen);
  Restart(kOpen);

  Set({"first"});
  Restart(kOpen);
  Set({"second"});

  EXPECT_THAT(History(), ElementsAre("first > second", "- > first", "- > *", "- > *"));
}

TEST_F(SecretTexts, StayHiddenWhenTheHistoryHasForgottenThatTheyWereSecret) {
  Start(TEDurability::eFull, "secret = [\"5-9\"]\n[history]\nentries = 1\n");
  Set({"last secret"});
  {
    TPropertyProxy Writer;
    Writer.Send(Change({{1, "other", "", ""}}));
    ASSERT_TRUE(Writer.IsAcknowledged());
  }
  ASSERT_THAT(History(), ElementsAre("- > other"));
  Restart(kOpen);

  Set({"first"});

  EXPECT_THAT(History(), ElementsAre("- > first", "- > other"));
}

TEST_F(SecretTexts, AreNoFormerTextsInAMailThatSetsItsPropertyTwice) {
  Start(TEDurability::eFull, kSecret);
  Set({"last secret"});
  Reload(kOpen);
  TPropertyProxy Writer;

  Writer.Send(Change({{7, "first", "", ""}, {7, "second", "", ""}}));

  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(History(), ElementsAre("- > second", "- > first", "- > *"));
}

TEST_F(SecretTexts, GoAgainWhenTheirPropertyIsSecretOnceMore) {
  Start(TEDurability::eFull, kSecret);
  Set({"secret"});
  Reload(kOpen);
  Set({"open once", "open twice"});

  Reload(kSecret);
  EXPECT_THAT(History(), ElementsAre("- > *", "- > *", "- > *"));
  EXPECT_FALSE(IsOnDisk("open once"));
  Reload(kOpen);
  Set({"first"});

  EXPECT_THAT(History(), ElementsAre("- > first", "- > *", "- > *", "- > *"));
}

// A change that the disk has no room for yet was taken while its property was not secret.
TEST_F(SecretTexts, OfChangesThatWaitAreNotNotedLater) {
  Start();
  Set({"before"});
  TPropertyProxy Writer;
  Execute([&] {
    m_Service->m_Database.ReserveLog();
    DiskFaults::LimitDisk(5 << 20);
  });
  Writer.Send(Change({{7, std::string(8 << 20, 'w'), "", ""}}));
  ASSERT_THAT(Errors().WaitFor(1), ElementsAre(HasSubstr("Changes wait until")));

  Reload(kSecret);
  Execute([] { DiskFaults::Repair(); });

  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(History(), ElementsAre("- > *", "- > *"));
}

TEST_F(SecretTexts, KeepAConfigurationOutOfForceAsLongAsTheyCanNotGo) {
  Start();
  Set({"former text", "present text"});
  Execute([] { DiskFaults::BreakDisk(); });

  std::string Reason;
  Execute([&] {
    try {
      m_Service->m_Server.SetConfiguration(Configured(kSecret));
    } catch (TCException const& Failure) {
      Reason = Failure.get_Message();
    }
  });
  EXPECT_THAT(Reason, HasSubstr("cannot commit to"));
  Execute([] { DiskFaults::Repair(); });
  Set({"last text"});
  EXPECT_THAT(History(), ElementsAre("present text > last text", "former text > present text",
                                     "- > former text"));

  Reload(kSecret);

  EXPECT_FALSE(IsOnDisk("former text"));
}

// What is hidden needs little room; writing the file anew needs as much as the file has.
TEST_F(SecretTexts, AreErasedAtTheNextStartWhenThereWasNoRoomForIt) {
  Store({{1, {}, {}, std::string(8 << 20, 'v')}});
  Start();
  Set({"former text", "present text"});
  Execute([&] {
    m_Service->m_Database.ReserveLog();
    DiskFaults::LimitDisk(14 << 20);
  });

  Reload(kSecret);

  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr("may still be in unused parts of the file")));
  EXPECT_THAT(History(), ElementsAre("- > *", "- > *"));
  DiskFaults::Repair();
  Restart(kSecret);
  EXPECT_FALSE(IsOnDisk("former text"));
}
