// SPDX-License-Identifier: MIT
// Changes that are reset, taken back, and taken back unless they are confirmed in time.
#include <gmock/gmock.h>
#include <unistd.h>

#include "PropertyInterface/TCNorvControlObject.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/unit/PropertyServer/ControlFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace {

namespace PropertyControl = Property::PropertyControl;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using PropertyServerUndo = TControlFixture;

}  // namespace

TEST_F(PropertyServerUndo, TellsWhichTransactionAMailHasMade) {
  Start();
  TPropertyProxy Writer;
  EXPECT_EQ(Outcome(Writer), "no mail");
  Writer.Send(Change({{1, "a", "", ""}}));
  Writer.Send(Change({{1, "b", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(Outcome(Writer), "transaction 2");
}

TEST_F(PropertyServerUndo, TellsWhyAMailWasRefused) {
  Start("[limits]\nvalue_bytes = 4\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "too long", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(Outcome(Writer), "property 1 has 8 bytes, at most 4 are allowed (value_bytes)");
}

TEST_F(PropertyServerUndo, StillKnowsAfterARestartWhatBecameOfAMail) {
  Start();
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}}));
  Writer.Send(Control(PropertyControl::kUndo, {Transaction("7")}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  Stop();
  Start();
  EXPECT_EQ(Outcome(Writer), "the history has no transaction 7 that user " +
                                 std::to_string(getuid()) + " may take back");
}

TEST_F(PropertyServerUndo, ResetsValuesForEverybody) {
  Start();
  Set({{1, "a", "", ""}, {2, "b", "", ""}});
  TPropertyProxy Reader;
  Reader.Subscribe();
  EXPECT_EQ(Send(PropertyControl::kReset, {Place(1), Place(9)}), "transaction 2");
  EXPECT_THAT(Reader.m_Published.WaitFor(1), ElementsAre("property v2 Event 1: {id=1 mac=\"\"}"));
  EXPECT_EQ(AllTexts(), "2 data=\"b\";");
  Stop();
  Start();
  EXPECT_EQ(AllTexts(), "2 data=\"b\";");
}

TEST_F(PropertyServerUndo, ResetsNothingThatIsNotThere) {
  Start();
  EXPECT_EQ(Send(PropertyControl::kReset, {Place(9)}), "nothing");
}

TEST_F(PropertyServerUndo, ResetsOnlyWhatTheSenderMayWrite) {
  Start("[[rule]]\nproperties = [1]\nread = [\"user:4242\"]\n");
  Set({{1, "a", "", ""}});
  EXPECT_EQ(SendAs(4242, PropertyControl::kReset, {Place(1)}),
            "user 4242 may not write property 1");
  EXPECT_EQ(AllTexts(), "1 data=\"a\";");
}

TEST_F(PropertyServerUndo, TellsNobodyOfTheRemovalOfWhatHeMayNotRead) {
  Start("[[rule]]\nproperties = [1]\nread = [\"user:4242\"]\n");
  Set({{2, "b", "", ""}});
  TSNorvMailSender Reader;
  Reader.User = 4242;
  TCNorvMailBody::TCWriter Writer(TCNorvPropertyObject::TCRecord().get_Signature());
  TCNorvPropertyObject::TCRecord Removed;
  Removed.m_ID = 2;
  Removed.Encode(Writer);
  TSNorvMailContent const Published{Norv_PropertyMail, 4, 1, Writer.Finish()};
  Execute([&] { EXPECT_EQ(m_Service->m_Server.OnForward(Reader, Published), nullptr); });
}

TEST_F(PropertyServerUndo, RestoresWhatATransactionHasChanged) {
  Start();
  Set({{1, "a", "", ""}, {2, "b", "", ""}});
  Set({{1, "c", "", ""}, {3, "new", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("2")}), "transaction 3");
  EXPECT_EQ(AllTexts(), "1 data=\"a\";2 data=\"b\";");
  TControlRecords const History = Ask(PropertyControl::kHistory);
  EXPECT_EQ(History.at(0).m_Undoes.get_AsString(), "2");
  EXPECT_TRUE(History.at(0).m_Removed.get_AsBool());
  EXPECT_FALSE(History.at(0).m_Data.IsAssigned());
  EXPECT_EQ(History.at(1).m_Data.get_AsString(), "a");
}

TEST_F(PropertyServerUndo, RestoresWhatAnUndoHasTakenBack) {
  Start();
  Set({{3, "new", "", ""}});
  Send(PropertyControl::kUndo, {Transaction("1")});
  EXPECT_EQ(AllTexts(), "");
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("2")}), "transaction 3");
  EXPECT_EQ(AllTexts(), "3 data=\"new\";");
}

TEST_F(PropertyServerUndo, RestoresTheFirstOfSeveralTextsThatOneMailHasSet) {
  Start();
  Set({{1, "a", "", ""}});
  Set({{1, "b", "", ""}, {1, "c", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("2")}), "transaction 3");
  EXPECT_EQ(AllTexts(), "1 data=\"a\";");
}

TEST_F(PropertyServerUndo, RefusesToTakeBackWhatWasChangedSince) {
  Start();
  Set({{1, "a", "", ""}, {2, "b", "7", "00:11:22:AA:BB:CC"}, {3, "c", "", ""}});
  Set({{1, "x", "", ""}, {2, "y", "7", "00:11:22:AA:BB:CC"}});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("1")}),
            "changed since then: property 1, property 2 of record 7 of device 00:11:22:AA:BB:CC");
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("1", true)}), "transaction 3");
  EXPECT_EQ(AllTexts(), "");
}

TEST_F(PropertyServerUndo, ListsABoundedNumberOfChangedValues) {
  Start();
  std::vector<TPropertyRecord> First;
  std::vector<TPropertyRecord> Second;
  for (int Number = 1; Number <= 30; ++Number) {
    First.push_back({Number, "a", "", ""});
    Second.push_back({Number, "b", "", ""});
  }
  Set(First);
  Set(Second);
  EXPECT_THAT(Send(PropertyControl::kUndo, {Transaction("1")}),
              HasSubstr("property 20 and 10 others"));
}

TEST_F(PropertyServerUndo, RefusesWhatTheHistoryDoesNotHave) {
  Start("secret = [5]\n[history]\nentries = 3\n");
  Set({{5, "hidden", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("1")}),
            "the history does not have the texts of property 5, which is or was secret");
  Set({{1, "a", "", ""}, {2, "b", "", ""}, {3, "c", "", ""}, {4, "d", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("2")}),
            "the history does not have the whole of transaction 2 any more");
  EXPECT_THAT(Send(PropertyControl::kUndo, {Transaction("1")}),
              HasSubstr("the history has no transaction 1 that user "));
}

TEST_F(PropertyServerUndo, DoesNotRestoreATextThatWasSecret) {
  Start("secret = [5]\n");
  Set({{5, "hidden", "", ""}});
  Execute([this] { m_Service->m_Server.SetConfiguration(Configured("")); });
  Set({{5, "shown", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("2")}),
            "the history does not have the texts of property 5, which is or was secret");
}

TEST_F(PropertyServerUndo, TellsNothingOfWhatTheSenderMayNotChange) {
  Start("[[rule]]\nproperties = [1]\nread = [\"user:4242\"]\nwrite = [\"user:4242\"]\n");
  Set({{1, "a", "", ""}, {2, "b", "", ""}});
  Set({{1, "c", "", ""}});
  EXPECT_EQ(SendAs(4242, PropertyControl::kUndo, {Transaction("1")}),
            "the history has no transaction 1 that user 4242 may take back");
  EXPECT_EQ(SendAs(4242, PropertyControl::kUndo, {Transaction("99")}),
            "the history has no transaction 99 that user 4242 may take back");
  EXPECT_EQ(SendAs(4242, PropertyControl::kUndo, {Transaction("2")}), "transaction 3");
}

TEST_F(PropertyServerUndo, TakesBackWhatIsNotConfirmedInTime) {
  Start();
  Set({{1, "a", "", ""}});
  TPropertyProxy Reader;
  Reader.Subscribe();
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(1), Value(1, "b"), Value(2, "new")}),
            "transaction 2");
  EXPECT_THAT(
      Reader.m_Published.WaitFor(2),
      ElementsAre(HasSubstr("data=\"b\""),
                  "property v2 Event 1: {id=1 data=\"a\" mac=\"\" loaded=0} {id=2 mac=\"\"}"));
  EXPECT_EQ(AllTexts(), "1 data=\"a\";");
  TControlRecords const History = Ask(PropertyControl::kHistory);
  EXPECT_EQ(History.at(0).m_Transaction.get_AsString(), "3");
  EXPECT_EQ(History.at(0).m_Undoes.get_AsString(), "2");
  EXPECT_EQ(History.at(0).m_Program.get_AsString(), "property-server");
  EXPECT_THAT(Ask(PropertyControl::kPending), IsEmpty());
}

TEST_F(PropertyServerUndo, LeavesWhatIsConfirmed) {
  Start();
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(1, "b")}), "transaction 1");
  TControlRecords const Pending = Ask(PropertyControl::kPending);
  ASSERT_EQ(Pending.size(), 1U);
  EXPECT_EQ(Pending[0].m_Transaction.get_AsString(), "1");
  EXPECT_NEAR(Pending[0].m_Seconds.get_AsInteger(), 3600, 60);
  EXPECT_NEAR(Ask(PropertyControl::kExplain, Place(1)).at(0).m_Seconds.get_AsInteger(), 3600, 60);
  EXPECT_EQ(Send(PropertyControl::kConfirm, {Transaction("1")}), "nothing");
  EXPECT_THAT(Ask(PropertyControl::kPending), IsEmpty());
  Stop();
  Start();
  EXPECT_THAT(Ask(PropertyControl::kPending), IsEmpty());
  EXPECT_EQ(AllTexts(), "1 data=\"b\";");
}

TEST_F(PropertyServerUndo, ConfirmsNothingOfAnother) {
  Start("[[rule]]\nproperties = [1]\nread = [\"everybody\"]\n");
  Send(PropertyControl::kChange, {Seconds(3600), Value(1, "b")});
  EXPECT_EQ(SendAs(4242, PropertyControl::kConfirm, {Transaction("1")}),
            "no transaction 1 waits for a confirmation of user 4242");
  EXPECT_THAT(AskAs(4242, PropertyControl::kPending), IsEmpty());
  EXPECT_EQ(Ask(PropertyControl::kPending).size(), 1U);
}

TEST_F(PropertyServerUndo, GoesOnWaitingAfterARestart) {
  Start();
  Set({{1, "a", "", ""}});
  Send(PropertyControl::kChange, {Seconds(3600), Value(1, "b")});
  Stop();
  Start();
  EXPECT_EQ(Ask(PropertyControl::kPending).size(), 1U);
  EXPECT_EQ(Send(PropertyControl::kConfirm, {Transaction("2")}), "nothing");
}

TEST_F(PropertyServerUndo, TakesBackAtTheStartWhatWasDueMeanwhile) {
  Start("[history]\nentries = 0\n");
  Set({{1, "former", "", ""}});
  Send(PropertyControl::kChange, {Seconds(3600), Value(1, "b"), Place(1)});
  Stop();
  {
    Property::TCPropertyDatabase Database(Path());
    Property::TSPendingChange Change = Database.ReadPending().at(0);
    Change.Left = 0;
    Property::TCPropertyDatabase::TCTransaction Transaction(Database);
    Transaction.NotePending(Change);
    Transaction.Commit();
  }
  TPropertyServiceFixture::Start(
      Property::TEDurability::eFull,
      "[[rule]]\nproperties = [1]\nwrite = [\"user:root\"]\n[limits]\nvalue_bytes = 1\n");
  TPropertyProxy Reader;
  Reader.Subscribe();
  while (AllTexts() != "1 data=\"former\";") {
    Reader.m_Published.WaitFor(1);
  }
  EXPECT_THAT(Ask(PropertyControl::kPending), IsEmpty());
}

TEST_F(PropertyServerUndo, SettlesAWaitingChangeThatIsTakenBack) {
  Start();
  Set({{1, "a", "", ""}});
  Send(PropertyControl::kChange, {Seconds(3600), Value(1, "b")});
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("2")}), "transaction 3");
  EXPECT_THAT(Ask(PropertyControl::kPending), IsEmpty());
  EXPECT_EQ(AllTexts(), "1 data=\"a\";");
}

TEST_F(PropertyServerUndo, LetsAValueWaitForOneConfirmationOnly) {
  Start();
  Send(PropertyControl::kChange, {Seconds(3600), Value(1, "b")});
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(1, "c")}),
            "property 1 waits for the confirmation of an earlier change; confirm that one or undo "
            "it first");
}

TEST_F(PropertyServerUndo, BoundsHowManyChangesOfAUserWait) {
  Start();
  for (int Number = 1; Number <= 16; ++Number) {
    Send(PropertyControl::kChange, {Seconds(3600), Value(Number, "b")});
  }
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(17, "b")}),
            "too many changes wait for their confirmation already, at most 16 of a user and 64 in "
            "all may; confirm some or undo them");
}

TEST_F(PropertyServerUndo, CountsWhatAWaitingChangeWouldRestoreAmongTheValues) {
  Start("[limits]\nbytes = 10\n");
  Set({{1, "12345678", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(1, "abc")}),
            "all values would have 11 bytes, at most 10 are allowed (bytes)");
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(1, "a")}), "transaction 2");
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(2, "bc")}),
            "all values would have 11 bytes, at most 10 are allowed (bytes)");
}

TEST_F(PropertyServerUndo, CountsItAfterARestartToo) {
  Start("[limits]\nvalues = 2\n");
  Set({{1, "1", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(1, "a")}), "transaction 2");
  Stop();
  Start("[limits]\nvalues = 2\n");
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(2, "b")}),
            "there would be 3 values, at most 2 are allowed (values)");
}

TEST_F(PropertyServerUndo, CountsItNoMoreWhenItIsConfirmed) {
  Start("[limits]\nbytes = 10\n");
  Set({{1, "12345678", "", ""}});
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(1, "a")}), "transaction 2");
  Send(PropertyControl::kConfirm, {Transaction("2")});
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(2, "bc")}), "transaction 3");
}

TEST_F(PropertyServerUndo, BoundsTheTimeThatAChangeMayWait) {
  Start();
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(0), Value(1, "b")}),
            "a change may wait 1 to 604800 seconds for its confirmation, not 0");
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(604801), Value(1, "b")}),
            "a change may wait 1 to 604800 seconds for its confirmation, not 604801");
}

TEST_F(PropertyServerUndo, RefusesMailsThatItCanNotRead) {
  Start();
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("x")}),
            "Malformed mail: its transaction is no number");
  EXPECT_EQ(Send(PropertyControl::kUndo, {}), "Malformed mail: it has one record");
  EXPECT_EQ(Send(PropertyControl::kReset, {Seconds(1)}),
            "Malformed mail: a record without a property's number");
  EXPECT_EQ(Send({eNorvChange, 99}, {Seconds(1)}), "the server knows no mail 99 about changes");
}

TEST_F(PropertyServerUndo, WaitsForTheDiskToTakeSomethingBack) {
  Start();
  Set({{1, "a", "", ""}});
  Execute(DiskFaults::FillDisk);
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "b", "", ""}}));
  Writer.Send(Control(PropertyControl::kUndo, {Transaction("1", true)}));
  Execute(DiskFaults::Repair);
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(Outcome(Writer), "transaction 3");
  EXPECT_EQ(AllTexts(), "");
}
