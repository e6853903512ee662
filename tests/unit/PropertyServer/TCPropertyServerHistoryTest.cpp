// SPDX-License-Identifier: MIT
// What the server answers who asks what has changed, by whom, and what is secret.
#include <gmock/gmock.h>
#include <unistd.h>

#include "PropertyInterface/TCNorvControlObject.h"
#include "tests/unit/PropertyServer/ControlFixture.h"

namespace {

namespace PropertyControl = Property::PropertyControl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using PropertyServerHistory = TControlFixture;

// A change as "transaction: number former -> present".
std::string Line(TControlRecord const& Record) {
  auto const Text = [](TCNorvField const& Field) {
    return Field.IsAssigned() ? Field.get_AsString() : std::string("nothing");
  };
  if (!Record.m_ID.IsAssigned()) {
    return "more";
  }
  return Record.m_Transaction.get_AsString() + ": " + Record.m_ID.get_AsString() + " " +
         Text(Record.m_Former) + " -> " + Text(Record.m_Data) +
         (Record.m_Secret.get_AsBool() ? " secret" : "");
}

std::vector<std::string> Lines(TControlRecords const& Records) {
  std::vector<std::string> Texts;
  for (TControlRecord const& Record : Records) {
    Texts.push_back(Line(Record));
  }
  return Texts;
}

}  // namespace

TEST_F(PropertyServerHistory, TellsTheNewestChangeFirst) {
  Start();
  Set({{1, "a", "", ""}, {2, "b", "", ""}});
  Set({{1, "c", "", ""}});
  EXPECT_THAT(Lines(Ask(PropertyControl::kHistory)),
              ElementsAre("2: 1 a -> c", "1: 2 nothing -> b", "1: 1 nothing -> a"));
}

TEST_F(PropertyServerHistory, TellsWhoHasMadeAChangeAndWhen) {
  Start();
  Set({{1, "a", "7", "00:11:22:AA:BB:CC"}});
  TControlRecords const Answer = Ask(PropertyControl::kHistory);
  TControlRecord const& Change = Answer.at(0);
  EXPECT_EQ(Change.m_User.get_AsString(), std::to_string(getuid()));
  EXPECT_EQ(Change.m_Process.get_AsInteger(), getpid());
  EXPECT_EQ(Change.m_Link.get_AsString(), "7");
  EXPECT_EQ(Change.m_MAC.get_AsString(), "00:11:22:AA:BB:CC");
  EXPECT_GT(std::stoll(Change.m_Time.get_AsString()), 1577836800000000LL);
}

TEST_F(PropertyServerHistory, AnswersInPages) {
  Start();
  Set({{1, "a", "", ""}, {2, "b", "", ""}, {3, "c", "", ""}});
  auto const Two = [](TControlRecord& Record) { Record.m_Limit = 2; };
  auto const First = Ask(PropertyControl::kHistory, Two);
  EXPECT_THAT(Lines(First), ElementsAre("1: 3 nothing -> c", "1: 2 nothing -> b", "more"));
  auto const Rest = Ask(PropertyControl::kHistory, [&First](TControlRecord& Record) {
    Record.m_Limit = 2;
    Record.m_Place = First.back().m_Place;
  });
  EXPECT_THAT(Lines(Rest), ElementsAre("1: 1 nothing -> a"));
}

TEST_F(PropertyServerHistory, EndsAPageWhereItsTextsAreMany) {
  Start();
  std::string const Long(300000, 'x');
  Set({{1, Long, "", ""}});
  Set({{2, "short", "", ""}});
  Set({{3, Long, "", ""}});
  auto const Page = Ask(PropertyControl::kHistory);
  ASSERT_EQ(Page.size(), 2U);
  EXPECT_EQ(Page.at(0).m_ID.get_AsInteger(), 3);
  EXPECT_EQ(Line(Page.at(1)), "more");
}

TEST_F(PropertyServerHistory, LooksAtABoundedPartForOnePage) {
  Start();
  std::vector<TPropertyRecord> Many;
  Set({{1, "rare", "", ""}});
  for (int Index = 0; Index < 9999; ++Index) {
    Many.push_back({2, "often", std::to_string(Index), ""});
  }
  Set(Many);
  EXPECT_THAT(Lines(Ask(PropertyControl::kHistory, [](auto& Record) { Record.m_ID = 1; })),
              ElementsAre("1: 1 nothing -> rare"));
  Set({{3, "one more", "", ""}});
  EXPECT_THAT(Lines(Ask(PropertyControl::kHistory, [](auto& Record) { Record.m_ID = 1; })),
              IsEmpty());
}

TEST_F(PropertyServerHistory, IsNarrowedByPropertyRecordAndDevice) {
  Start();
  Set({{1, "a", "", ""}, {1, "b", "7", ""}, {1, "c", "", "00:11:22:AA:BB:CC"}, {2, "d", "", ""}});
  EXPECT_THAT(Lines(Ask(PropertyControl::kHistory, [](auto& Record) { Record.m_ID = 2; })),
              ElementsAre("1: 2 nothing -> d"));
  EXPECT_THAT(
      Lines(Ask(PropertyControl::kHistory, [](auto& Record) { Record.m_Link.set_AsString("7"); })),
      ElementsAre("1: 1 nothing -> b"));
  EXPECT_THAT(Lines(Ask(PropertyControl::kHistory,
                        [](auto& Record) {
                          Record.m_ID = 1;
                          Record.m_Link.set_AsString("");
                          Record.m_MAC.set_AsString("");
                        })),
              ElementsAre("1: 1 nothing -> a"));
}

TEST_F(PropertyServerHistory, IsNarrowedByWriterTimeAndTransaction) {
  Start();
  Set({{1, "a", "", ""}});
  Set({{1, "b", "", ""}});
  auto const All = Ask(PropertyControl::kHistory);
  auto const Count = [this](std::function<void(TControlRecord&)> const& Filter) {
    return Ask(PropertyControl::kHistory, Filter).size();
  };
  EXPECT_EQ(Count([](auto& Record) { Record.m_Transaction.set_AsString("1"); }), 1U);
  EXPECT_EQ(Count([](auto& Record) { Record.m_Transaction.set_AsString("3"); }), 0U);
  EXPECT_EQ(Count([&All](auto& Record) { Record.m_Time = All[0].m_Time; }), 1U);
  EXPECT_EQ(Count([&All](auto& Record) { Record.m_Program = All[0].m_Program; }), 2U);
  EXPECT_EQ(Count([](auto& Record) { Record.m_Program.set_AsString("nobody"); }), 0U);
  EXPECT_EQ(Count([&All](auto& Record) { Record.m_User = All[0].m_User; }), 2U);
  EXPECT_EQ(Count([](auto& Record) { Record.m_User.set_AsString("4242"); }), 0U);
}

TEST_F(PropertyServerHistory, HasNoTextOfASecret) {
  Start("secret = [5]\n");
  Set({{5, "hidden", "", ""}});
  Set({{5, "hidden too", "", ""}});
  EXPECT_THAT(Lines(Ask(PropertyControl::kHistory)),
              ElementsAre("2: 5 nothing -> nothing secret", "1: 5 nothing -> nothing secret"));
}

TEST_F(PropertyServerHistory, TellsNothingOfWhatTheAskerMayNotRead) {
  Start("[[rule]]\nproperties = [1]\nread = [\"user:4242\"]\n");
  Set({{1, "a", "", ""}, {2, "b", "", ""}});
  EXPECT_THAT(Lines(AskAs(4242, PropertyControl::kHistory)), ElementsAre("1: 1 nothing -> a"));
  auto const Two = [](TControlRecord& Record) { Record.m_ID = 2; };
  EXPECT_THAT(Lines(AskAs(4242, PropertyControl::kHistory, Two)), IsEmpty());
  TControlRecords const Answer = AskAs(4242, PropertyControl::kExplain, Two);
  TControlRecord const& Explained = Answer.at(0);
  EXPECT_FALSE(Explained.m_Held.get_AsBool());
  for (TCNorvField const* Field : {&Explained.m_Data, &Explained.m_User, &Explained.m_Program,
                                   &Explained.m_Transaction, &Explained.m_Secret}) {
    EXPECT_FALSE(Field->IsAssigned());
  }
}

TEST_F(PropertyServerHistory, ExplainsWhereAValueComesFrom) {
  Start("secret = [5]\n");
  Set({{1, "a", "", ""}});
  Set({{5, "b", "", ""}});
  TControlRecords const Answer =
      Ask(PropertyControl::kExplain, [](auto& Record) { Record.m_ID = 1; });
  TControlRecord const& First = Answer.at(0);
  EXPECT_TRUE(First.m_Held.get_AsBool());
  EXPECT_EQ(First.m_Data.get_AsString(), "a");
  EXPECT_FALSE(First.m_Secret.get_AsBool());
  EXPECT_EQ(First.m_Transaction.get_AsString(), "1");
  EXPECT_EQ(First.m_Process.get_AsInteger(), getpid());
  TControlRecords const SecretAnswer =
      Ask(PropertyControl::kExplain, [](auto& Record) { Record.m_ID = 5; });
  TControlRecord const& Secret = SecretAnswer.at(0);
  EXPECT_TRUE(Secret.m_Secret.get_AsBool());
  EXPECT_EQ(Secret.m_Transaction.get_AsString(), "2");
}

TEST_F(PropertyServerHistory, ExplainsSeveralValuesInTheirOrder) {
  Start();
  Set({{1, "a", "", ""}, {1, "b", "7", ""}});
  auto const Answer = AskMany(PropertyControl::kExplain, {[](auto& Record) {
                                                            Record.m_ID = 1;
                                                            Record.m_Link.set_AsString("7");
                                                          },
                                                          [](auto& Record) { Record.m_ID = 9; },
                                                          [](auto& Record) { Record.m_ID = 1; }});
  ASSERT_EQ(Answer.size(), 3U);
  EXPECT_EQ(Answer[0].m_Data.get_AsString(), "b");
  EXPECT_FALSE(Answer[1].m_Held.get_AsBool());
  EXPECT_EQ(Answer[2].m_Data.get_AsString(), "a");
}

TEST_F(PropertyServerHistory, NamesTheSecretsThatTheAskerMayRead) {
  Start(
      "secret = [3, \"10-20\"]\n"
      "[[rule]]\nproperties = [\"12-15\"]\nread = [\"user:4242\"]\n"
      "[[rule]]\nproperties = [16]\nread = [\"user:4242\"]\n");
  auto const Ranges = [](TControlRecords const& Records) {
    std::string Text;
    for (TControlRecord const& Record : Records) {
      Text += Record.m_ID.get_AsString() + "-" + Record.m_Last.get_AsString() + " ";
    }
    return Text;
  };
  EXPECT_EQ(Ranges(Ask(PropertyControl::kSecrets)), "3-3 10-20 ");
  EXPECT_EQ(Ranges(AskAs(4242, PropertyControl::kSecrets)), "12-16 ");
}

TEST_F(PropertyServerHistory, RefusesWhatItCanNotRead) {
  Start();
  EXPECT_EQ(Refusal({eNorvRequest, 99}), "the server knows no question 99 about changes");
  EXPECT_EQ(Refusal(PropertyControl::kHistory,
                    [](auto& Record) { Record.m_Time.set_AsString("yesterday"); }),
            "Malformed mail: its time is no number");
  EXPECT_EQ(
      Refusal(PropertyControl::kHistory, [](auto& Record) { Record.m_Place.set_AsString("-1"); }),
      "Malformed mail: its place is no number");
  EXPECT_EQ(
      Refusal(PropertyControl::kHistory, [](auto& Record) { Record.m_Link.set_AsString("x"); }),
      "Malformed mail: a link that is no number");
  EXPECT_EQ(Refusal(PropertyControl::kExplain,
                    [](auto& Record) {
                      Record.m_MAC.set_AsString("x");
                      Record.m_ID = 1;
                    }),
            "Malformed mail: a device that is no MAC address");
  EXPECT_EQ(Refusal(PropertyControl::kExplain, [](auto&) {}),
            "Malformed mail: a record without a property's number");
}
