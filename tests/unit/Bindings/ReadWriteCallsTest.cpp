// SPDX-License-Identifier: MIT
// Reading and changing values.
#include <atomic>

#include "tests/unit/Bindings/BindingFixture.h"

namespace {

struct ReadWriteCallsTest : TBindingFixture {
  ReadWriteCallsTest() { Open(); }

  std::string Stored(int Number) {
    m_Server.WaitUntilArrived();
    return m_Server.FindValue(Field(Number)).value_or("none");
  }
};

}  // namespace

// ---- each type ----

TEST_F(ReadWriteCallsTest, SetAndGetAnInteger) {
  TValue const Value = Find("Brightness");
  EXPECT_EQ(IntOf(Value), 80);
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK) << property_last_error();
  EXPECT_EQ(IntOf(Value), 60);
  EXPECT_EQ(TextOf(Value.get()), "60");
  EXPECT_EQ(Stored(kBrightness), "60");
}

TEST_F(ReadWriteCallsTest, SetAndGetABoolean) {
  TValue const Value = Find("Enabled");
  std::int32_t Truth = -1;
  ASSERT_EQ(property_get_bool(Value.get(), &Truth), PROPERTY_OK);
  EXPECT_EQ(Truth, 0);
  ASSERT_EQ(property_set_bool(Value.get(), 5), PROPERTY_OK);
  ASSERT_EQ(property_get_bool(Value.get(), &Truth), PROPERTY_OK);
  EXPECT_EQ(Truth, 1);
  EXPECT_EQ(Stored(114), "1");
}

TEST_F(ReadWriteCallsTest, SetAndGetAChoice) {
  TValue const Value = Find("Mode");
  std::int32_t Number = 0;
  ASSERT_EQ(property_get_choice(Value.get(), &Number), PROPERTY_OK);
  EXPECT_EQ(Number, kDay);
  ASSERT_EQ(property_set_choice(Value.get(), kNight), PROPERTY_OK) << property_last_error();
  ASSERT_EQ(property_get_choice(Value.get(), &Number), PROPERTY_OK);
  EXPECT_EQ(Number, kNight);
  EXPECT_EQ(TextOf(Value.get()), "night");
  EXPECT_EQ(Stored(112), std::to_string(kNight));
}

TEST_F(ReadWriteCallsTest, SetAndGetATextWithAnyBytes) {
  TValue const Value = Find("Display/Name");
  EXPECT_EQ(TextOf(Value.get()), "Unit");
  std::string const Bytes("\xff\0\x80 end", 7);
  ASSERT_EQ(property_set_text(Value.get(), Bytes.data(), Bytes.size()), PROPERTY_OK);
  EXPECT_EQ(TextOf(Value.get()), Bytes);
  EXPECT_EQ(Stored(113), Bytes);
  ASSERT_EQ(property_set_text(Value.get(), "plain", PROPERTY_WHOLE_TEXT), PROPERTY_OK);
  EXPECT_EQ(Stored(113), "plain");
}

TEST_F(ReadWriteCallsTest, SetWhatAPersonHasWritten) {
  auto const Write = [this](char const* Name, char const* Text) {
    return property_set_written(Find(Name).get(), Text);
  };
  EXPECT_EQ(Write("Brightness", "007"), PROPERTY_OK);
  EXPECT_EQ(Write("Enabled", "yes"), PROPERTY_OK);
  EXPECT_EQ(Write("Mode", "By night"), PROPERTY_OK);
  EXPECT_EQ(Stored(kBrightness) + Stored(114) + Stored(112), "71" + std::to_string(kNight));
  EXPECT_EQ(Write("Mode", "dusk"), PROPERTY_BAD_VALUE);
  EXPECT_THAT(property_last_error(),
              ::testing::StartsWith("Device/Display/Mode: 'dusk' is no choice"));
  EXPECT_EQ(Write("Mode", ""), PROPERTY_OK);
  EXPECT_EQ(TextOf(Find("Mode").get()), "day");
}

TEST_F(ReadWriteCallsTest, SetTheDefault) {
  TValue const Value = Find("Mode");
  ASSERT_EQ(property_set_choice(Value.get(), kNight), PROPERTY_OK);
  ASSERT_EQ(property_set_default(Value.get()), PROPERTY_OK);
  EXPECT_EQ(TextOf(Value.get()), "day");
  EXPECT_EQ(Stored(112), std::to_string(kDay));
  EXPECT_EQ(property_set_default(Find("Motto").get()), PROPERTY_NO_VALUE);
}

TEST_F(ReadWriteCallsTest, TellWhetherThereIsAValue) {
  TValue const Value = Find("Brightness");
  std::int32_t Exists = -1;
  ASSERT_EQ(property_exists(Value.get(), &Exists), PROPERTY_OK);
  EXPECT_EQ(Exists, 0);
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  ASSERT_EQ(property_exists(Value.get(), &Exists), PROPERTY_OK);
  EXPECT_EQ(Exists, 1);
}

// ---- other places ----

TEST_F(ReadWriteCallsTest, KeepRecordsApart) {
  ASSERT_EQ(property_set_text(Find("UserName[7]").get(), "Anna", PROPERTY_WHOLE_TEXT), PROPERTY_OK);
  EXPECT_EQ(TextOf(Find("UserName[7]").get()), "Anna");
  EXPECT_EQ(TextOf(Find("UserName[8]").get()), "");
}

TEST_F(ReadWriteCallsTest, FetchTheValueOfAnotherDevice) {
  m_Server.SetValue(Field(kBrightness), 10, Accessories::TCRecordID(), kOtherDevice);
  EXPECT_EQ(IntOf(Find("Brightness", kOtherDevice)), 10);
  EXPECT_EQ(IntOf(Find("Brightness")), 80);
}

TEST_F(ReadWriteCallsTest, SetAChoiceOfAnotherDevice) {
  ASSERT_EQ(property_set_choice(Find("Mode", kOtherDevice).get(), kNight), PROPERTY_OK);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(Field(112), Accessories::TCRecordID(), kOtherDevice),
            std::to_string(kNight));
  EXPECT_EQ(TextOf(Find("Mode").get()), "day");
}

TEST_F(ReadWriteCallsTest, DoNotFetchUnderAGuard) {
  TValue const Value = Find("Brightness", kOtherDevice);
  std::int32_t Number = 0;
  ASSERT_EQ(property_guard_enter(m_Store.get()), PROPERTY_OK);
  EXPECT_EQ(property_get_int(Value.get(), &Number), PROPERTY_IN_GUARD);
  EXPECT_THAT(property_last_error(), ::testing::HasSubstr("read guard"));
  ASSERT_EQ(property_guard_leave(m_Store.get()), PROPERTY_OK);
}

TEST_F(ReadWriteCallsTest, ReadAsItsDefaultWhatTheProcessMayNotRead) {
  m_Server.SetValue(Field(kBrightness), 10, Accessories::TCRecordID(), kOtherDevice);
  m_Server.SetConfiguration("[[rule]]\nproperties = [111]\nread = [\"user:65534\"]\n");
  EXPECT_EQ(IntOf(Find("Brightness", kOtherDevice)), 80);
}

// ---- what is refused ----

TEST_F(ReadWriteCallsTest, RefuseOtherTypes) {
  std::int32_t Number = 0;
  EXPECT_EQ(property_get_int(Find("Mode").get(), &Number), PROPERTY_WRONG_TYPE);
  EXPECT_STREQ(property_last_error(), "Device/Display/Mode is a choice, not an integer");
  EXPECT_EQ(property_get_bool(Find("Brightness").get(), &Number), PROPERTY_WRONG_TYPE);
  EXPECT_EQ(property_get_choice(Find("Brightness").get(), &Number), PROPERTY_WRONG_TYPE);
  EXPECT_EQ(property_set_int(Find("Enabled").get(), 1), PROPERTY_WRONG_TYPE);
  EXPECT_EQ(property_set_bool(Find("Brightness").get(), 1), PROPERTY_WRONG_TYPE);
  EXPECT_EQ(property_set_choice(Find("Brightness").get(), 1), PROPERTY_WRONG_TYPE);
  EXPECT_EQ(property_set_text(Find("Brightness").get(), "1", 1), PROPERTY_WRONG_TYPE);
}

TEST_F(ReadWriteCallsTest, RefuseWhatTheSchemaForbids) {
  EXPECT_EQ(property_set_choice(Find("Mode").get(), 4), PROPERTY_BAD_VALUE);
  EXPECT_THAT(property_last_error(),
              ::testing::StartsWith("Device/Display/Mode: '4' is no choice"));
  EXPECT_EQ(property_set_text(Find("Host").get(), "A1", 2), PROPERTY_BAD_VALUE);
  EXPECT_STREQ(property_last_error(),
               "Device/Display/Host: 'A1' does not match the pattern ^[a-z]+$");
  EXPECT_EQ(property_set_int(Find("Brightness").get(), -1), PROPERTY_BAD_VALUE);
  EXPECT_EQ(IntOf(Find("Brightness")), 80);
}

TEST_F(ReadWriteCallsTest, RefuseNullPointers) {
  std::int32_t Number = 0;
  char* Text = nullptr;
  TValue const Value = Find("Brightness");
  EXPECT_EQ(property_get_int(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_int(Value.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_bool(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_bool(Value.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_choice(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_choice(Value.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_text(nullptr, &Text, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_get_text(Value.get(), nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_exists(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_exists(Value.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_int(nullptr, 1), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_bool(nullptr, 1), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_choice(nullptr, 1), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_text(nullptr, "", 0), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_text(Find("Motto").get(), nullptr, 0), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_written(nullptr, ""), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_written(Value.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_set_default(nullptr), PROPERTY_BAD_ARGUMENT);
}

// ---- threads ----

TEST_F(ReadWriteCallsTest, ServeManyThreadsAtOnce) {
  TValue const Value = Find("Brightness");
  std::atomic<int> Failures{0};
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < 4; ++Thread) {
    Threads.emplace_back([&, Thread] {
      for (int Round = 0; Round < 50; ++Round) {
        std::int32_t Number = -1;
        property_value* Found = nullptr;
        Failures += property_set_int(Value.get(), Thread * 100 + Round) != PROPERTY_OK ? 1 : 0;
        Failures += property_get_int(Value.get(), &Number) != PROPERTY_OK || Number < 0 ? 1 : 0;
        Failures +=
            property_find(m_Store.get(), "NoSuchName", nullptr, &Found) != PROPERTY_NOT_FOUND ? 1
                                                                                              : 0;
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(Failures, 0);
  std::string const Last = Stored(kBrightness);  // what the server has taken last stands here, too
  EXPECT_EQ(std::to_string(IntOf(Value)), Last);
}
