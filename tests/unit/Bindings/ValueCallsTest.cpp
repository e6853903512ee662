// SPDX-License-Identifier: MIT
// Finding properties, and what the schema says of them.
#include "tests/unit/Bindings/BindingFixture.h"

namespace {

struct ValueCallsTest : TBindingFixture {
  ValueCallsTest() { Open(); }

  property_status Status(char const* Name, char const* Device = nullptr) {
    property_value* Value = nullptr;
    property_status const Result = property_find(m_Store.get(), Name, Device, &Value);
    EXPECT_EQ(Value, nullptr);
    return Result;
  }
};

}  // namespace

TEST_F(ValueCallsTest, FindAPropertyByNumberPathAndBeginning) {
  EXPECT_EQ(property_number(Find("111").get()), kBrightness);
  EXPECT_EQ(property_number(Find("Device/Display/Brightness").get()), kBrightness);
  EXPECT_EQ(property_number(Find("Bright").get()), kBrightness);
}

TEST_F(ValueCallsTest, FindARecordAndADevice) {
  TValue const Value = Find("UserName[7]", "020000000002");
  EXPECT_EQ(property_record(Value.get()), 7);
  EXPECT_STREQ(property_device(Value.get()), kOtherDevice);
  TValue const Current = Find("UserName");
  EXPECT_EQ(property_record(Current.get()), PROPERTY_NO_RECORD);
  EXPECT_STREQ(property_device(Current.get()), "");
}

TEST_F(ValueCallsTest, SayWhatIsWrongWithAName) {
  EXPECT_EQ(Status("NoSuchName"), PROPERTY_NOT_FOUND);
  EXPECT_THAT(property_last_error(), ::testing::HasSubstr("NoSuchName"));
  EXPECT_EQ(Status("M"), PROPERTY_AMBIGUOUS);
  EXPECT_THAT(property_last_error(), ::testing::HasSubstr("Device/Display/Mode"));
  EXPECT_EQ(Status(""), PROPERTY_NOT_FOUND);
  EXPECT_EQ(Status("\xff\x1b[31m"), PROPERTY_NOT_FOUND);
  EXPECT_THAT(property_last_error(), ::testing::HasSubstr("\\xff\\x1b[31m"));
}

TEST_F(ValueCallsTest, RefuseArgumentsThatBreakRules) {
  property_value* Value = nullptr;
  EXPECT_EQ(Status("Brightness", "nowhere"), PROPERTY_BAD_ARGUMENT);
  EXPECT_STREQ(property_last_error(), "'nowhere' is no address of a device");
  EXPECT_EQ(Status(nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_find(nullptr, "Brightness", nullptr, &Value), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_find(m_Store.get(), "Brightness", nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
}

TEST_F(ValueCallsTest, ListAllPropertiesInTheOrderOfTheTree) {
  std::size_t const Count = property_count(m_Store.get());
  std::vector<std::string> Paths;
  for (std::size_t Index = 0; Index < Count; ++Index) {
    property_value* Value = nullptr;
    ASSERT_EQ(property_at(m_Store.get(), Index, &Value), PROPERTY_OK);
    Paths.emplace_back(property_path(Value));
    property_free_value(Value);
  }
  EXPECT_EQ(Paths.front(), "Device/Display/Brightness");
  EXPECT_EQ(Paths.back(), "User/UserSettings/UserName");
  EXPECT_EQ(Paths.size(), 11U);
  property_value* Value = nullptr;
  EXPECT_EQ(property_at(m_Store.get(), Count, &Value), PROPERTY_NOT_FOUND);
  EXPECT_STREQ(property_last_error(), "there is no property 11 of 11");
  EXPECT_EQ(property_at(nullptr, 0, &Value), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_at(m_Store.get(), 0, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_count(nullptr), 0U);
}

TEST_F(ValueCallsTest, AnswerThePropertyElsewhere) {
  TValue const Value = Find("UserName[7]");
  property_value* Other = nullptr;
  ASSERT_EQ(property_elsewhere(Value.get(), -8, kOtherDevice, &Other), PROPERTY_OK);
  TValue const Owned(Other);
  EXPECT_EQ(property_number(Other), 311);
  EXPECT_EQ(property_record(Other), -8);
  EXPECT_STREQ(property_device(Other), kOtherDevice);
  EXPECT_EQ(property_elsewhere(Value.get(), std::int64_t{1} << 31, nullptr, &Other),
            PROPERTY_BAD_ARGUMENT);
  EXPECT_STREQ(property_last_error(), "the record 2147483648 has more than 32 bits");
  EXPECT_EQ(property_elsewhere(Value.get(), 1, "x", &Other), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_elsewhere(nullptr, 1, nullptr, &Other), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_elsewhere(Value.get(), 1, nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
}

TEST_F(ValueCallsTest, TellWhatTheSchemaSays) {
  TValue const Value = Find("Host");
  EXPECT_STREQ(property_path(Value.get()), "Device/Display/Host");
  EXPECT_STREQ(property_name(Value.get()), "Host");
  EXPECT_STREQ(property_description(Value.get()), "Host that it shows");
  EXPECT_STREQ(property_pattern(Value.get()), "^[a-z]+$");
  EXPECT_EQ(property_type_of(Value.get()), PROPERTY_TYPE_TEXT);
  EXPECT_EQ(property_flags(Find("ServicePin").get()) & 0x01, 0x01);
  EXPECT_EQ(property_type_of(Find("Brightness").get()), PROPERTY_TYPE_INTEGER);
  EXPECT_EQ(property_type_of(Find("Enabled").get()), PROPERTY_TYPE_BOOLEAN);
  EXPECT_EQ(property_type_of(Find("Mode").get()), PROPERTY_TYPE_CHOICE);
}

TEST_F(ValueCallsTest, TellNothingOfNothing) {
  EXPECT_EQ(property_number(nullptr), 0);
  EXPECT_EQ(property_type_of(nullptr), PROPERTY_TYPE_NONE);
  EXPECT_EQ(property_path(nullptr), nullptr);
  EXPECT_EQ(property_name(nullptr), nullptr);
  EXPECT_EQ(property_description(nullptr), nullptr);
  EXPECT_EQ(property_pattern(nullptr), nullptr);
  EXPECT_EQ(property_flags(nullptr), 0);
  EXPECT_EQ(property_record(nullptr), PROPERTY_NO_RECORD);
  EXPECT_EQ(property_device(nullptr), nullptr);
  EXPECT_EQ(property_choice_count(nullptr), 0U);
}

TEST_F(ValueCallsTest, TellTheChoices) {
  TValue const Mode = Find("Mode");
  EXPECT_EQ(property_choice_count(Mode.get()), 3U);
  EXPECT_EQ(property_choice_count(Find("Host").get()), 0U);
  std::int32_t Number = 0;
  char const* Text = nullptr;
  char const* Name = nullptr;
  char const* Description = nullptr;
  ASSERT_EQ(property_choice_at(Mode.get(), 1, &Number, &Text, &Name, &Description), PROPERTY_OK);
  EXPECT_EQ(Number, kNight);
  EXPECT_STREQ(Text, "night");
  EXPECT_STREQ(Name, "Night");
  EXPECT_STREQ(Description, "By night");
  EXPECT_EQ(property_choice_at(Mode.get(), 0, nullptr, nullptr, nullptr, nullptr), PROPERTY_OK);
  EXPECT_EQ(property_choice_at(Mode.get(), 3, &Number, nullptr, nullptr, nullptr),
            PROPERTY_NOT_FOUND);
  EXPECT_EQ(property_choice_at(nullptr, 0, &Number, nullptr, nullptr, nullptr),
            PROPERTY_BAD_ARGUMENT);
}

TEST_F(ValueCallsTest, TellTheDefault) {
  auto const DefaultOf = [this](char const* Name) {
    return AnswerOf([&](char** Text, std::size_t* Length) {
      return property_default_text(Find(Name).get(), Text, Length);
    });
  };
  EXPECT_EQ(DefaultOf("Brightness"), "80");
  EXPECT_EQ(DefaultOf("Mode"), "day");
  EXPECT_EQ(DefaultOf("Display/Name"), "Unit");
  char* Text = nullptr;
  EXPECT_EQ(property_default_text(Find("Motto").get(), &Text, nullptr), PROPERTY_NO_VALUE);
  EXPECT_STREQ(property_last_error(), "Policy/Access/Motto has no default");
  EXPECT_EQ(property_default_text(nullptr, &Text, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_default_text(Find("Mode").get(), nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
}
