// SPDX-License-Identifier: MIT
// What the server answers who asks for properties as people call them.
#include <gtest/gtest.h>

#include <filesystem>

#include "PropertyServer/TCServerSchema.h"
#include "tests/unit/PropertyServer/ControlFixture.h"

namespace {

namespace fs = std::filesystem;
using Property::PropertyControl::kFind;
using Property::PropertyControl::kMostFound;

constexpr char kDevice[] = "02:00:00:00:00:01";

// The schema of the command's tests: 111, Device/Display/Brightness, and what else lies in
// containers of each kind.
struct FindRequests : TControlFixture {
  FindRequests() {
    fs::create_directory(Folder());
    fs::copy_file(TOOL_SCHEMA, Folder() + "/schema.so");
    fs::permissions(Folder() + "/schema.so", fs::perms::owner_all);
    m_Schema.Load();
  }

  std::string Folder() const { return m_Folder + "/schemas"; }
  void StartWithSchema(std::string const& Configuration = "") { Start(Configuration, &m_Schema); }

  static TControlFiller Named(std::string const& Text, std::string const& MAC = kDevice) {
    return [=](TControlRecord& Record) {
      Record.m_Text.set_AsString(Text);
      Record.m_MAC.set_AsString(MAC);
    };
  }
  TControlRecord const& Find(TControlFiller const& Filler, unsigned User = 0) {
    m_Answers.push_back(AskAs(User, kFind, Filler));
    return m_Answers.back().at(0);
  }
  std::string Reason(std::string const& Text) {
    TControlRecord const& Record = Find(Named(Text));
    EXPECT_TRUE(Record.m_Refused.get_AsBool());
    EXPECT_FALSE(Record.m_ID.IsAssigned());
    return Record.m_Text.get_AsString();
  }

  static Property::TSSchemaTrialSettings Settings() {
    Property::TSSchemaTrialSettings Settings;
    Settings.Program = TRIAL_PROGRAM;
    return Settings;
  }

  std::deque<TControlRecords> m_Answers;
  Property::TCServerSchema m_Schema{{Folder()}, Settings()};
};

}  // namespace

TEST_F(FindRequests, FindsAValueByANumberANameAPathAndABeginning) {
  StartWithSchema();
  Set({{111, "60", "", kDevice}});
  for (char const* Text : {"111", "Brightness", "Device/Display/Brightness", "Bri", "brightness"}) {
    TControlRecord const& Found = Find(Named(Text));
    EXPECT_EQ(Found.m_ID.get_AsString(), "111") << Text;
    EXPECT_EQ(Found.m_Path.get_AsString(), "Device/Display/Brightness");
    EXPECT_EQ(Found.m_MAC.get_AsString(), kDevice);
    EXPECT_EQ(Found.m_Data.get_AsString(), "60");
    EXPECT_TRUE(Found.m_Held.get_AsBool());
    EXPECT_FALSE(Found.m_Refused.IsAssigned());
    EXPECT_FALSE(Found.m_Text.IsAssigned());
  }
}

TEST_F(FindRequests, FindsTheValueOfARecord) {
  StartWithSchema();
  Set({{311, "Anna", "7", ""}});
  EXPECT_EQ(Find(Named("UserName[7]", "")).m_Data.get_AsString(), "Anna");
  TControlRecord const& Found = Find([](TControlRecord& Record) {
    Record.m_Text.set_AsString("UserName");
    Record.m_Link.set_AsString("7");
  });
  EXPECT_EQ(Found.m_Link.get_AsString(), "7");
  EXPECT_EQ(Found.m_Data.get_AsString(), "Anna");
}

TEST_F(FindRequests, TellsAChoiceAsItIsStoredAndAsPeopleReadIt) {
  StartWithSchema();
  Set({{112, "1122", "", kDevice}});
  TControlRecord const& Found = Find(Named("Mode"));
  EXPECT_EQ(Found.m_Data.get_AsString(), "1122");
  EXPECT_EQ(Found.m_Text.get_AsString(), "By night");
}

TEST_F(FindRequests, TellsTheDefaultOfWhatIsNotStoredOrEmpty) {
  StartWithSchema();
  Set({{113, "", "", kDevice}});
  for (char const* Text : {"PinLength", "Name"}) {
    EXPECT_FALSE(Find(Named(Text)).m_Held.get_AsBool());
  }
  EXPECT_EQ(Find(Named("PinLength")).m_Data.get_AsString(), "6");
  EXPECT_EQ(Find(Named("Device/Display/Name")).m_Data.get_AsString(), "Unit");
  EXPECT_FALSE(Find(Named("Host")).m_Data.IsAssigned());
}

TEST_F(FindRequests, MeansTheAskersDeviceWhereThePropertyIsOneOfDevices) {
  StartWithSchema();
  Set({{111, "60", "", kDevice}, {111, "10", "", ""}, {211, "8", "", ""}});
  TCMACAddress::SetOwn(TCMACAddress(std::string(kDevice)));
  TPropertyProxy Asker;
  auto const Answer = Asker.AskFor(
      Control(kFind, {[](TControlRecord& Record) { Record.m_Text.set_AsString("Brightness"); },
                      [](TControlRecord& Record) { Record.m_Text.set_AsString("PinLength"); }}));
  ASSERT_TRUE(Answer);
  TControlRecords const Found = Records(*Answer);
  ASSERT_EQ(Found.size(), 2U);
  EXPECT_EQ(Found[0].m_Data.get_AsString(), "60");
  EXPECT_EQ(Found[1].m_Data.get_AsString(), "8");
  EXPECT_EQ(Found[1].m_MAC.get_AsString(), "");
}

TEST_F(FindRequests, SaysWhyANameMeansNothing) {
  StartWithSchema();
  EXPECT_EQ(Reason("Brighness"),
            "no property 'Brighness'; did you mean Device/Display/Brightness?");
  EXPECT_EQ(Reason("Device/D"), "no property 'Device/D'");
  EXPECT_EQ(Reason("Ho"), "'Ho' is ambiguous: Device/Display/Host, Policy/Access/Hos\\x1b[31mtile");
  EXPECT_EQ(Reason("Access"),
            "'Access' is no property but a group with Policy/Access/PinLength, "
            "Policy/Access/Motto, Policy/Access/Hos\\x1b[31mtile");
  EXPECT_EQ(Reason("999"), "no property has the number 999");
  EXPECT_EQ(Reason(""), "no property ''");
  EXPECT_EQ(Reason("UserName[x]"),
            "'UserName[x]' names no record: a number has to stand in the brackets");
}

TEST_F(FindRequests, ShowsNoControlCharacterAndNoLongNameInAReason) {
  StartWithSchema();
  EXPECT_EQ(Reason("a\x1b[31m\n\xff"), "no property 'a\\x1b[31m\\n\\xff'");
  EXPECT_EQ(Reason(std::string(100000, 'x')), "no property '" + std::string(256, 'x') + "...'");
  EXPECT_EQ(Reason(std::string("a\0b", 3)), "no property 'a\\x00b'");
}

TEST_F(FindRequests, TellsNothingOfWhatTheAskerMayNotRead) {
  StartWithSchema("[[rule]]\nproperties = [111]\nread = [\"user:4242\"]\n");
  Set({{211, "8", "", ""}});
  TControlRecord const& Found = Find(Named("PinLength"), 4242);
  EXPECT_TRUE(Found.m_Refused.get_AsBool());
  EXPECT_EQ(Found.m_Text.get_AsString(), "user 4242 may not read Policy/Access/PinLength");
  EXPECT_FALSE(Found.m_Data.IsAssigned());
  EXPECT_FALSE(Found.m_Held.IsAssigned());
  EXPECT_EQ(Find(Place(7), 4242).m_Text.get_AsString(), "user 4242 may not read property 7");
  EXPECT_FALSE(Find(Named("Brightness"), 4242).m_Refused.IsAssigned());
}

TEST_F(FindRequests, HasTheTextOfASecretOnlyWhenAsked) {
  StartWithSchema("secret = [212]\n");
  Set({{212, "hidden", "", ""}});
  TControlRecord const& Found = Find(Named("Motto", ""));
  EXPECT_TRUE(Found.m_Secret.get_AsBool());
  EXPECT_FALSE(Found.m_Data.IsAssigned());
  EXPECT_EQ(Find([](TControlRecord& Record) {
              Record.m_ID = 212;
              Record.m_Secret.set_AsBool(true);
            }).m_Data.get_AsString(),
            "hidden");
}

TEST_F(FindRequests, AnswersNamesWithNothingWithoutASchema) {
  Start();
  Set({{111, "60", "", ""}});
  EXPECT_EQ(AskMany(kFind, {Named("111"), Place(111)}).size(), 0U);
}

TEST_F(FindRequests, FindsANumberWithoutASchema) {
  Start();
  Set({{111, "60", "", ""}});
  TControlRecords const Found = AskMany(kFind, {Place(111), Place(7)});
  ASSERT_EQ(Found.size(), 2U);
  EXPECT_EQ(Found[0].m_Data.get_AsString(), "60");
  EXPECT_FALSE(Found[0].m_Path.IsAssigned());
  EXPECT_FALSE(Found[1].m_Held.get_AsBool());
  EXPECT_FALSE(Found[1].m_Refused.IsAssigned());
}

TEST_F(FindRequests, DoesNotTellWhatIsKeptAside) {
  Store({{7, Accessories::TCRecordID(), TCMACAddress(), "seven"}});
  StartWithSchema();
  EXPECT_FALSE(Find(Place(7)).m_Held.get_AsBool());
}

TEST_F(FindRequests, AnswersSeveralInTheirOrder) {
  StartWithSchema();
  Set({{111, "60", "", kDevice}, {112, "1122", "", kDevice}});
  TControlRecords const Found = AskMany(kFind, {Named("Mode"), Named("Volume"), Named("111")});
  ASSERT_EQ(Found.size(), 3U);
  EXPECT_EQ(Found[0].m_ID.get_AsInteger(), 112);
  EXPECT_TRUE(Found[1].m_Refused.get_AsBool());
  EXPECT_EQ(Found[2].m_ID.get_AsInteger(), 111);
}

TEST_F(FindRequests, RefusesTooManyAtOnce) {
  StartWithSchema();
  std::vector<TControlFiller> const Most(kMostFound, Named("111"));
  EXPECT_EQ(AskMany(kFind, Most).size(), 100U);
  std::vector<TControlFiller> TooMany = Most;
  TooMany.push_back(Named("111"));
  try {
    AskMany(kFind, TooMany);
    FAIL() << "it was answered";
  } catch (TCException const& Refused) {
    EXPECT_EQ(Refused.get_Message(), "101 properties are asked for, at most 100 are found at once");
  }
}

TEST_F(FindRequests, RefusesToAnswerWithVeryLargeValuesAtOnce) {
  StartWithSchema();
  Set({{212, std::string(std::size_t{14} << 20, 'x'), "", ""}});
  std::vector<TControlFiller> Many(4, Named("Motto", ""));
  EXPECT_EQ(AskMany(kFind, Many).size(), 4U);
  Many.push_back(Many.front());
  try {
    AskMany(kFind, Many);
    FAIL() << "it was answered";
  } catch (TCException const& Refused) {
    EXPECT_EQ(Refused.get_Message(),
              "the values have more than 64 MiB together; ask for fewer at once");
  }
}

TEST_F(FindRequests, RefusesAQuestionThatCanNotBeRead) {
  StartWithSchema();
  std::string const Both = "Malformed mail: a property is asked for by its number or by a text";
  EXPECT_EQ(Refusal(kFind), Both);
  EXPECT_EQ(Refusal(kFind,
                    [](TControlRecord& Record) {
                      Record.m_ID = 111;
                      Record.m_Text.set_AsString("Brightness");
                    }),
            Both);
  EXPECT_EQ(Refusal(kFind, Named("111", "02:00")),
            "Malformed mail: a device that is no MAC address");
  EXPECT_EQ(Refusal(kFind,
                    [](TControlRecord& Record) {
                      Record.m_ID = 111;
                      Record.m_Link.set_AsString("x");
                    }),
            "Malformed mail: a link that is no number");
}

TEST_F(FindRequests, RefusesRecordsOfAnotherLayout) {
  StartWithSchema();
  TSNorvMailContent Mail = Foreign(eNorvRequest, kFind.Name);
  Mail.MailClass = Property::Norv_ControlMail;
  EXPECT_EQ(TPropertyProxy().Ask(Mail), "refused");
}
