// SPDX-License-Identifier: MIT
// A server that knows the schema: what it refuses, and what it keeps aside.
#include "PropertyServer/TCServerSchema.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/unit/PropertyServer/ControlFixture.h"

namespace {

namespace PropertyControl = Property::PropertyControl;
namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// "Good" has the container 100, Device, and in it 101, Brightness, an integer. "Other" has 201.
struct ServerSchema : TControlFixture {
  ServerSchema() { fs::create_directory(Folder()); }

  std::string Folder() const { return m_Folder + "/schemas"; }
  void Install(std::string const& Library) const {
    fs::copy_file(std::string(TEST_LIBRARIES) + "/" + Library + ".so",
                  Folder() + "/" + Library + ".so");
    fs::permissions(Folder() + "/" + Library + ".so", fs::perms::owner_all);
  }
  void StartWith(std::string const& Library, std::string const& Configuration = "") {
    Install(Library);
    m_Schema.Load();
    Start(Configuration, &m_Schema);
  }
  std::string Refused(int Number, std::string const& Data) {
    TPropertyProxy Writer;
    Writer.Send(Change({{Number, Data, "", ""}}));
    EXPECT_TRUE(Writer.IsAcknowledged());
    return Outcome(Writer);
  }
  static Property::TSSchemaTrialSettings Settings() {
    Property::TSSchemaTrialSettings Settings;
    Settings.Program = TRIAL_PROGRAM;
    return Settings;
  }

  Property::TCServerSchema m_Schema{{Folder()}, Settings()};
};

Property::TSPropertyRecord Stored(int Number, std::string const& Data) {
  return {Number, Accessories::TCRecordID(), TCMACAddress(), Data};
}

}  // namespace

TEST_F(ServerSchema, TakesWhatItAllows) {
  StartWith("Good");
  EXPECT_EQ(Refused(101, "60"), "transaction 1");
}

TEST_F(ServerSchema, RefusesATextThatIsNoNumber) {
  StartWith("Good");
  EXPECT_THAT(Refused(101, "bright"), HasSubstr("Device/Brightness: 'bright' is no whole number"));
  EXPECT_EQ(AllTexts(), "");
}

TEST_F(ServerSchema, RefusesNumbersOfNoProperty) {
  StartWith("Good");
  EXPECT_EQ(Refused(7, "x"), "no property has the number 7");
  EXPECT_EQ(Refused(100, "x"), "100 is no property but the container Device");
}

TEST_F(ServerSchema, RefusesSuchTextsOfControlMailsToo) {
  StartWith("Good");
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(60), Value(7, "x")}),
            "no property has the number 7");
  EXPECT_EQ(Send(PropertyControl::kReset, {Place(7)}), "nothing");
}

TEST_F(ServerSchema, AllowsUnknownNumbersWhileALibraryIsMissing) {
  Install("Throw");
  StartWith("Good");
  EXPECT_EQ(Refused(7, "x"), "transaction 1");
  EXPECT_EQ(Refused(100, "x"), "100 is no property but the container Device");
}

TEST_F(ServerSchema, AllowsEverythingWithoutALibrary) {
  m_Schema.Load();
  Start("", &m_Schema);
  EXPECT_EQ(Refused(7, "x"), "transaction 1");
}

TEST_F(ServerSchema, KeepsAsideWhatNoFieldHas) {
  Store({Stored(7, "seven"), Stored(100, "a container's"), Stored(101, "60")});
  StartWith("Good", "secret = [100]\n");
  EXPECT_EQ(AllTexts(), "101 data=\"60\";");
  EXPECT_EQ(TPropertyProxy().Ask(RequestOne({7, "", "", ""})),
            "property v2 Event 2: {id=7 data=\"\" mac=\"\" loaded=0}");
  TControlRecords const Orphans = Ask(PropertyControl::kOrphans);
  ASSERT_EQ(Orphans.size(), 2U);
  EXPECT_EQ(Orphans[0].m_ID.get_AsInteger(), 7);
  EXPECT_EQ(Orphans[0].m_Data.get_AsString(), "seven");
  EXPECT_EQ(Orphans[0].m_Text.get_AsString(), "no property has the number 7");
  EXPECT_FALSE(Orphans[1].m_Data.IsAssigned());
  EXPECT_EQ(Orphans[1].m_Text.get_AsString(), "100 is no property but the container Device");
  TControlRecords const Rest = Ask(PropertyControl::kOrphans, Place(7));
  ASSERT_EQ(Rest.size(), 1U);
  EXPECT_EQ(Rest[0].m_ID.get_AsInteger(), 100);
  EXPECT_TRUE(Ask(PropertyControl::kExplain, Place(7)).at(0).m_Orphan.get_AsBool());
}

TEST_F(ServerSchema, GivesWhatItKeepsAsideInPages) {
  std::vector<Property::TSPropertyRecord> Many;
  for (int Link = 0; Link < 1001; ++Link) {
    Many.push_back({7, Accessories::TCRecordID(Link), TCMACAddress(), "x"});
  }
  Store(Many);
  StartWith("Good");
  TControlRecords const Page = Ask(PropertyControl::kOrphans);
  ASSERT_EQ(Page.size(), 1001U);
  EXPECT_FALSE(Page.back().m_ID.IsAssigned());
  EXPECT_EQ(Ask(PropertyControl::kOrphans,
                [&Page](TControlRecord& Record) {
                  Record.m_ID = 7;
                  Record.m_Link = Page[999].m_Link;
                })
                .size(),
            1U);
}

TEST_F(ServerSchema, ForgetsWhatItKeepsAside) {
  Store({Stored(7, "seven"), Stored(8, "eight")});
  StartWith("Good");
  EXPECT_EQ(Send(PropertyControl::kForget, {Place(7)}), "transaction 1");
  EXPECT_EQ(Send(PropertyControl::kForget, {Place(7)}), "no value of a property 7 is kept aside");
  EXPECT_EQ(Ask(PropertyControl::kOrphans).size(), 1U);
  Stop();
  Start();
  EXPECT_EQ(AllTexts(), "8 data=\"eight\";");
}

TEST_F(ServerSchema, BringsBackWhatALibraryKnowsAgain) {
  Store({Stored(201, "1")});
  StartWith("Good");
  TPropertyProxy Reader;
  Reader.Subscribe();
  EXPECT_EQ(AllTexts(), "");
  Install("Other");
  Execute([this] {
    m_Schema.Load();
    m_Service->m_Server.OnSchemaLoaded();
  });
  EXPECT_THAT(Reader.m_Published.WaitFor(1).at(0), HasSubstr("id=201 data=\"1\""));
  EXPECT_EQ(AllTexts(), "201 data=\"1\";");
  EXPECT_THAT(Ask(PropertyControl::kOrphans), IsEmpty());
}

TEST_F(ServerSchema, TakesAChangeBackThoughItsPropertyIsUnknownByThen) {
  Store({Stored(7, "former")});
  Start();
  EXPECT_EQ(Send(PropertyControl::kChange, {Seconds(3600), Value(7, "x")}), "transaction 1");
  Stop();
  StartWith("Good");
  EXPECT_EQ(Send(PropertyControl::kUndo, {Transaction("1")}), "no property has the number 7");
  EXPECT_EQ(Ask(PropertyControl::kPending).size(), 1U);
}

TEST_F(ServerSchema, TellsOfItsLibraries) {
  Install("Throw");
  StartWith("Good");
  TControlRecords const Libraries = Ask(PropertyControl::kSchemas);
  ASSERT_EQ(Libraries.size(), 2U);
  EXPECT_EQ(Libraries[0].m_Path.get_AsString(), Folder() + "/Good.so");
  EXPECT_TRUE(Libraries[0].m_Held.get_AsBool());
  EXPECT_NE(Libraries[0].m_Inode.get_AsString(), "");
  EXPECT_FALSE(Libraries[0].m_Text.IsAssigned());
  EXPECT_TRUE(Libraries[1].m_Refused.get_AsBool());
  EXPECT_NE(Libraries[1].m_Text.get_AsString(), "");
}

TEST_F(ServerSchema, IsForAdministrators) {
  Store({Stored(7, "seven")});
  StartWith("Good", "[[rule]]\nproperties = [7]\nread = [\"user:4242\"]\n");
  EXPECT_THROW(AskAs(4242, PropertyControl::kOrphans), TCException);
  EXPECT_THROW(AskAs(4242, PropertyControl::kSchemas), TCException);
  EXPECT_EQ(SendAs(4242, PropertyControl::kForget, {Place(7)}),
            "user 4242 may not have the values of property 7 forgotten");
}
