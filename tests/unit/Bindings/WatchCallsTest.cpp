// SPDX-License-Identifier: MIT
// Changes that the program asks for.
#include <fcntl.h>
#include <poll.h>

#include "tests/unit/Bindings/BindingFixture.h"

namespace {

using TWatch = THandleOf<property_watch>;
using TChange = THandleOf<property_change>;

struct WatchCallsTest : TBindingFixture {
  WatchCallsTest() {
    Open();
    property_watch* Watch = nullptr;
    EXPECT_EQ(property_watch_new(m_Store.get(), &Watch), PROPERTY_OK) << property_last_error();
    m_Watch.reset(Watch);
  }

  TChange Next(int Timeout = kPatience) const {
    property_change* Change = nullptr;
    EXPECT_EQ(property_watch_next(m_Watch.get(), Timeout, &Change), PROPERTY_OK)
        << property_last_error();
    return TChange(Change);
  }
  property_status StatusOfNext(int Timeout) const {
    property_change* Change = nullptr;
    property_status const Status = property_watch_next(m_Watch.get(), Timeout, &Change);
    EXPECT_EQ(Change, nullptr);
    return Status;
  }
  bool IsReadable(int Timeout = 0) const {
    pollfd Descriptor = {property_watch_descriptor(m_Watch.get()), POLLIN, 0};
    return poll(&Descriptor, 1, Timeout) == 1;
  }

  TWatch m_Watch;
};

std::string TextOf(TChange const& Change) {
  return AnswerOf([&](char** Text, std::size_t* Length) {
    return property_change_text(Change.get(), Text, Length);
  });
}

TValue PlaceOf(TChange const& Change) {
  property_value* Value = nullptr;
  EXPECT_EQ(property_change_value(Change.get(), &Value), PROPERTY_OK) << property_last_error();
  return TValue(Value);
}

}  // namespace

TEST_F(WatchCallsTest, TellAChangeOfAValueWithItsPlace) {
  ASSERT_EQ(property_watch_value(m_Watch.get(), Find("Brightness").get()), PROPERTY_OK);
  m_Server.SetValue(Field(kBrightness), 60);
  TChange const Change = Next();
  std::int32_t Number = 0;
  ASSERT_EQ(property_change_int(Change.get(), &Number), PROPERTY_OK);
  EXPECT_EQ(Number, 60);
  EXPECT_EQ(property_change_removed(Change.get()), 0);
  TValue const Value = PlaceOf(Change);
  EXPECT_STREQ(property_path(Value.get()), "Device/Display/Brightness");
  EXPECT_STREQ(property_device(Value.get()), Property::Testing::TCTestServer::kDevice);
}

TEST_F(WatchCallsTest, TellEachTypeOfValue) {
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  m_Server.SetValue(Field(114), 1);
  m_Server.SetValue(Field(112), kNight);
  m_Server.SetValue(Field(113), std::string("\xff\0x", 3));
  std::int32_t Number = 0;
  TChange const Boolean = Next();
  ASSERT_EQ(property_change_bool(Boolean.get(), &Number), PROPERTY_OK);
  EXPECT_EQ(Number, 1);
  EXPECT_EQ(property_change_int(Boolean.get(), &Number), PROPERTY_WRONG_TYPE);
  TChange const Choice = Next();
  ASSERT_EQ(property_change_choice(Choice.get(), &Number), PROPERTY_OK);
  EXPECT_EQ(Number, kNight);
  EXPECT_EQ(TextOf(Choice), "night");
  EXPECT_EQ(property_change_bool(Choice.get(), &Number), PROPERTY_WRONG_TYPE);
  TChange const Text = Next();
  EXPECT_EQ(TextOf(Text), std::string("\xff\0x", 3));
  EXPECT_EQ(property_change_choice(Text.get(), &Number), PROPERTY_WRONG_TYPE);
}

TEST_F(WatchCallsTest, TellThatAValueWasRemovedWithWhatItReadsAsNow) {
  m_Server.SetValue(Field(112), kNight);
  m_Server.WaitUntilArrived();
  ASSERT_EQ(property_watch_value(m_Watch.get(), Find("Mode").get()), PROPERTY_OK);
  m_Server.RemoveValue(Field(112));
  TChange const Change = Next();
  EXPECT_EQ(property_change_removed(Change.get()), 1);
  EXPECT_EQ(TextOf(Change), "day");
}

TEST_F(WatchCallsTest, TellOnlyWhatIsWatched) {
  ASSERT_EQ(property_watch_property(m_Watch.get(), Find("UserName").get()), PROPERTY_OK);
  m_Server.SetValue(Field(kBrightness), 60);
  m_Server.SetValue(Field(311), "Anna", Accessories::TCRecordID(7));
  m_Server.SetValue(Field(311), "Bert", Accessories::TCRecordID(8));
  m_Server.WaitUntilArrived();
  TChange const First = Next(0);
  EXPECT_EQ(property_record(PlaceOf(First).get()), 7);
  EXPECT_EQ(TextOf(First), "Anna");
  EXPECT_EQ(TextOf(Next(0)), "Bert");
  EXPECT_EQ(StatusOfNext(0), PROPERTY_TIMED_OUT);
}

TEST_F(WatchCallsTest, TellAChangeOnceThatIsWatchedTwice) {
  ASSERT_EQ(property_watch_value(m_Watch.get(), Find("Brightness").get()), PROPERTY_OK);
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  ASSERT_EQ(property_set_int(Find("Brightness").get(), 60), PROPERTY_OK);
  EXPECT_EQ(TextOf(Next(0)), "60");
  EXPECT_EQ(StatusOfNext(0), PROPERTY_TIMED_OUT);
}

TEST_F(WatchCallsTest, KeepTheLastOfSeveralChangesOfAValue) {
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  for (int Percent = 1; Percent <= 1000; ++Percent) {
    ASSERT_EQ(property_set_int(Find("Brightness").get(), Percent), PROPERTY_OK);
  }
  EXPECT_EQ(TextOf(Next(0)), "1000");
  EXPECT_EQ(StatusOfNext(0), PROPERTY_TIMED_OUT);
}

// ---- the descriptor ----

TEST_F(WatchCallsTest, HaveADescriptorThatIsReadableWhileSomethingWaits) {
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  EXPECT_FALSE(IsReadable());
  m_Server.SetValue(Field(kBrightness), 60);
  m_Server.SetValue(Field(114), 1);
  m_Server.WaitUntilArrived();
  EXPECT_TRUE(IsReadable(kPatience));
  Next(0);
  EXPECT_TRUE(IsReadable());
  Next(0);
  EXPECT_FALSE(IsReadable());
}

TEST_F(WatchCallsTest, HaveADescriptorThatEndsWithAnotherProgram) {
  EXPECT_NE(fcntl(property_watch_descriptor(m_Watch.get()), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(property_watch_descriptor(nullptr), -1);
}

// ---- waiting ----

TEST_F(WatchCallsTest, WaitNoLongerThanTheyAreTold) {
  EXPECT_EQ(StatusOfNext(kShort), PROPERTY_TIMED_OUT);
  EXPECT_STREQ(property_last_error(), "nothing has changed within 50 ms");
}

TEST_F(WatchCallsTest, WakeThreadsThatWaitWhenTheyAreStopped) {
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  auto const Wait = [this] { EXPECT_EQ(StatusOfNext(-1), PROPERTY_CLOSED); };
  std::thread First(Wait);
  std::thread Second(Wait);
  EXPECT_EQ(property_watch_stop(m_Watch.get()), PROPERTY_OK);
  First.join();
  Second.join();
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(StatusOfNext(0), PROPERTY_CLOSED);
  EXPECT_STREQ(property_last_error(), "the watch was stopped");
}

TEST_F(WatchCallsTest, GiveEachChangeToOneOfSeveralThreads) {
  ASSERT_EQ(property_watch_property(m_Watch.get(), Find("UserName").get()), PROPERTY_OK);
  std::atomic<int> Taken{0};
  auto const Take = [&] {
    property_change* Change = nullptr;
    while (property_watch_next(m_Watch.get(), -1, &Change) == PROPERTY_OK) {
      property_free_change(Change);
      if (++Taken == 100) {
        EXPECT_EQ(property_watch_stop(m_Watch.get()), PROPERTY_OK);
      }
    }
  };
  std::thread First(Take);
  std::thread Second(Take);
  for (int Record = 1; Record <= 100; ++Record) {
    TValue const Value = Find(("UserName[" + std::to_string(Record) + "]").c_str());
    EXPECT_EQ(property_set_text(Value.get(), "Anna", PROPERTY_WHOLE_TEXT), PROPERTY_OK);
  }
  First.join();
  Second.join();
  EXPECT_EQ(Taken, 100);
}

TEST_F(WatchCallsTest, AreGivenBackWhileChangesCome) {
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  std::thread Setter([this] {
    TValue const Value = Find("Brightness");
    for (int Percent = 1; Percent <= 100; ++Percent) {
      EXPECT_EQ(property_set_int(Value.get(), Percent), PROPERTY_OK);
    }
  });
  m_Watch.reset();
  Setter.join();
  EXPECT_EQ(IntOf(Find("Brightness")), 100);
}

TEST_F(WatchCallsTest, RefuseArgumentsThatBreakRules) {
  property_watch* Watch = nullptr;
  property_change* Change = nullptr;
  property_value* Value = nullptr;
  std::int32_t Number = 0;
  char* Text = nullptr;
  EXPECT_EQ(property_watch_new(nullptr, &Watch), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_new(m_Store.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_value(nullptr, Find("Mode").get()), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_value(m_Watch.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_property(nullptr, Find("Mode").get()), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_property(m_Watch.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_all(nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_next(nullptr, 0, &Change), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_next(m_Watch.get(), 0, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(StatusOfNext(-2), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_watch_stop(nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_value(nullptr, &Value), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_removed(nullptr), 0);
  EXPECT_EQ(property_change_int(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_bool(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_choice(nullptr, &Number), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_text(nullptr, &Text, nullptr), PROPERTY_BAD_ARGUMENT);
}

TEST_F(WatchCallsTest, RefuseToTellIntoNothing) {
  ASSERT_EQ(property_watch_all(m_Watch.get()), PROPERTY_OK);
  ASSERT_EQ(property_set_int(Find("Brightness").get(), 60), PROPERTY_OK);
  TChange const Change = Next(0);
  EXPECT_EQ(property_change_value(Change.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_int(Change.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_bool(Change.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_choice(Change.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_change_text(Change.get(), nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
}
