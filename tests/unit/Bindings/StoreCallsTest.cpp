// SPDX-License-Identifier: MIT
// Opening the store, and what the library says of itself.
#include <fstream>

#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "tests/support/ForkedChild.h"
#include "tests/unit/Bindings/BindingFixture.h"

namespace {

struct StoreCallsTest : TBindingFixture {
  property_status OpenPath(std::string const& Path) {
    char const* const Schemas[] = {Path.c_str(), nullptr};
    property_store* Store = nullptr;
    property_status const Status = property_open(Schemas, 0, kPatience, &Store);
    m_Store.reset(Store);
    return Status;
  }
};

}  // namespace

// ---- the library ----

TEST_F(StoreCallsTest, TellTheVersion) {
  EXPECT_STREQ(property_version(), BINDING_VERSION);
}

TEST_F(StoreCallsTest, HaveATextForEachStatusAndForOthers) {
  std::vector<std::string> Texts;
  for (property_status Status = PROPERTY_OK; Status <= PROPERTY_IN_CHILD; ++Status) {
    Texts.emplace_back(property_status_text(Status));
    EXPECT_THAT(Texts.back(), ::testing::Not("an unknown status"));
  }
  EXPECT_STREQ(property_status_text(PROPERTY_IN_CHILD + 1), "an unknown status");
  EXPECT_STREQ(property_status_text(-1), "an unknown status");
}

TEST_F(StoreCallsTest, KeepTheFailureOfEachThread) {
  EXPECT_STREQ(property_last_error(), "");
  EXPECT_EQ(property_guard_leave(nullptr), PROPERTY_BAD_ARGUMENT);
  OnAnotherThread([] { EXPECT_STREQ(property_last_error(), ""); });
  EXPECT_STREQ(property_last_error(), "store is a null pointer");
}

TEST_F(StoreCallsTest, GiveBackNothingAsNothing) {
  property_free(nullptr);
  property_close(nullptr);
  property_free_value(nullptr);
  property_free_transaction(nullptr);
  property_free_receipt(nullptr);
  property_free_watch(nullptr);
  property_free_change(nullptr);
  EXPECT_STREQ(property_last_error(), "");
}

// ---- opening ----

TEST_F(StoreCallsTest, OpenTheStoreWithTheValuesOfThisDevice) {
  Open();
  EXPECT_TRUE(Property::TCPropertyCollectionDriver::get_Instance()->get_OwnMACOnly());
}

TEST_F(StoreCallsTest, OpenTheStoreWithTheValuesOfAllDevices) {
  Open(PROPERTY_ALL_DEVICES);
  EXPECT_FALSE(Property::TCPropertyCollectionDriver::get_Instance()->get_OwnMACOnly());
}

TEST_F(StoreCallsTest, FindSchemasInTheEnvironment) {
  setenv("PROPERTY_SCHEMA", m_Schema.c_str(), 1);
  property_store* Store = nullptr;
  ASSERT_EQ(property_open(nullptr, 0, kPatience, &Store), PROPERTY_OK) << property_last_error();
  m_Store.reset(Store);
  EXPECT_NE(property_count(m_Store.get()), 0U);
}

TEST_F(StoreCallsTest, AnswerTheSameStoreToAFurtherCall) {
  Open();
  THandleOf<property_store> Second;
  EXPECT_EQ(Open(0, kPatience, Second), PROPERTY_OK);
  property_store* Third = nullptr;
  EXPECT_EQ(property_open(nullptr, 0, kPatience, &Third), PROPERTY_OK);
  property_close(Third);
  m_Store = std::move(Second);
  EXPECT_EQ(IntOf(Find("Brightness")), 80);
}

TEST_F(StoreCallsTest, RefuseAnotherStoreThanTheProcessHas) {
  Open();
  THandleOf<property_store> Other;
  EXPECT_EQ(Open(PROPERTY_ALL_DEVICES, kPatience, Other), PROPERTY_OTHER_STORE);
  EXPECT_STREQ(property_last_error(),
               "the process has one store, and it has the values of this device only");
  EXPECT_EQ(OpenPath(m_Folder), PROPERTY_OTHER_STORE);
  EXPECT_STREQ(property_last_error(),
               "the process has one store, and it has other schema libraries");
}

TEST_F(StoreCallsTest, JoinTheStoreThatTheProgramHasMadeItself) {
  Property::TCPropertyCollectionDriver::Create(true);
  THandleOf<property_store> Other;
  EXPECT_EQ(Open(0, kPatience, Other), PROPERTY_OTHER_STORE);
  EXPECT_STREQ(property_last_error(),
               "the process has one store, and it has the program's own schema");
  property_store* Store = nullptr;
  EXPECT_EQ(property_open(nullptr, 0, kPatience, &Store), PROPERTY_OK) << property_last_error();
  m_Store.reset(Store);
  EXPECT_EQ(AnswerOf([&](char** Text, std::size_t* Length) {
              *Length = 0;
              return property_schema_problems(m_Store.get(), Text);
            }),
            "");
}

TEST_F(StoreCallsTest, SayWhyThereIsNoSchemaAndTakeAnother) {
  std::ofstream(m_Folder + "/bad.so") << "no library";
  EXPECT_EQ(OpenPath(m_Folder + "/bad.so"), PROPERTY_NO_SCHEMA);
  EXPECT_THAT(property_last_error(),
              ::testing::AllOf(::testing::StartsWith("no schema library is loaded: "),
                               ::testing::HasSubstr("bad.so: ")));
  EXPECT_EQ(OpenPath(m_Schema), PROPERTY_OK) << property_last_error();
}

TEST_F(StoreCallsTest, TellWhichSchemasWereLeftOut) {
  std::ofstream(m_Folder + "/bad.so") << "no library";
  ASSERT_EQ(OpenPath(m_Folder), PROPERTY_OK) << property_last_error();
  char* Text = nullptr;
  ASSERT_EQ(property_schema_problems(m_Store.get(), &Text), PROPERTY_OK);
  EXPECT_THAT(std::string(Text), ::testing::MatchesRegex(".*/bad\\.so: .*\n"));
  property_free(Text);
  EXPECT_EQ(property_schema_problems(nullptr, &Text), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_schema_problems(m_Store.get(), nullptr), PROPERTY_BAD_ARGUMENT);
}

TEST_F(StoreCallsTest, WaitNoLongerForTheServerThanTheyAreToldAndGoOnLater) {
  m_Server.Pause();
  EXPECT_EQ(Open(0, kShort, m_Store), PROPERTY_TIMED_OUT);
  EXPECT_THAT(property_last_error(),
              ::testing::StartsWith("the property server has not answered within 50 ms"));
  EXPECT_EQ(Open(0, 0, m_Store), PROPERTY_TIMED_OUT);
  m_Server.Resume();
  Open();
  EXPECT_EQ(IntOf(Find("Brightness")), 80);
}

TEST_F(StoreCallsTest, SayWhyThereIsNoConnection) {
  m_Server.Stop();
  EXPECT_EQ(Open(0, kShort, m_Store), PROPERTY_TIMED_OUT);
  for (int Tries = 0;
       Tries < 100 && std::string(property_last_error()).find(": ") == std::string::npos; ++Tries) {
    EXPECT_EQ(Open(0, kShort, m_Store), PROPERTY_TIMED_OUT);
  }
  EXPECT_THAT(property_last_error(), ::testing::HasSubstr("within 50 ms: "));
  m_Server.Start();
  Open();
}

TEST_F(StoreCallsTest, RefuseAnAddressThatNoServerCanHaveAndTryAgain) {
  std::string const Address = getenv("MAILROUTER_ADDRESS");
  setenv("MAILROUTER_ADDRESS", "nowhere", 1);
  EXPECT_EQ(Open(0, kPatience, m_Store), PROPERTY_FAILED);
  EXPECT_THAT(property_last_error(), ::testing::HasSubstr("nowhere"));
  setenv("MAILROUTER_ADDRESS", Address.c_str(), 1);
  Open();
}

TEST_F(StoreCallsTest, RefuseArgumentsThatBreakRules) {
  char const* const None[] = {nullptr};
  property_store* Store = nullptr;
  EXPECT_EQ(property_open(nullptr, 0, -1, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_open(nullptr, 2, -1, &Store), PROPERTY_BAD_ARGUMENT);
  EXPECT_STREQ(property_last_error(), "flags that nobody knows: 2");
  EXPECT_EQ(property_open(nullptr, 0, -2, &Store), PROPERTY_BAD_ARGUMENT);
  EXPECT_STREQ(property_last_error(), "a time-out of -2 ms: -1 is without limit");
  EXPECT_EQ(property_open(None, 0, -1, &Store), PROPERTY_BAD_ARGUMENT);
  EXPECT_STREQ(property_last_error(), "the list of schemas is empty");
  EXPECT_EQ(Store, nullptr);
}

TEST_F(StoreCallsTest, TellTheAddressOfThisDevice) {
  Open();
  char* Text = nullptr;
  ASSERT_EQ(property_own_device(m_Store.get(), &Text), PROPERTY_OK);
  EXPECT_STREQ(Text, Property::Testing::TCTestServer::kDevice);
  property_free(Text);
  EXPECT_EQ(property_own_device(nullptr, &Text), PROPERTY_BAD_ARGUMENT);
}

// ---- in a forked child ----

TEST_F(StoreCallsTest, OnlyReadInAForkedChild) {
  Open();
  TValue const Value = Find("Brightness");
  TValue const Elsewhere = Find("Brightness", kOtherDevice);
  property_watch* Watch = nullptr;
  ASSERT_EQ(property_watch_new(m_Store.get(), &Watch), PROPERTY_OK);
  auto const Transaction = Begin();
  TForkedChild Child([&] {
    property_store* Store = nullptr;
    property_change* Change = nullptr;
    property_receipt* Receipt = nullptr;
    std::int32_t Number = 0;
    std::vector<property_status> const Refused = {
        property_get_int(Elsewhere.get(), &Number),
        property_open(nullptr, 0, -1, &Store),
        property_set_int(Value.get(), 7),
        property_commit(Transaction.get(), nullptr),
        property_commit_if_unchanged(Transaction.get(), -1, nullptr),
        property_receipt_all(m_Store.get(), &Receipt),
        property_watch_next(Watch, -1, &Change),
        property_watch_stop(Watch)};
    return std::to_string(std::count(Refused.begin(), Refused.end(), PROPERTY_IN_CHILD)) + " of " +
           std::to_string(Refused.size()) + ", reads " + std::to_string(IntOf(Value));
  });
  EXPECT_EQ(Child.Wait(), "8 of 8, reads 80");
  property_free_watch(Watch);
}

// ---- guards ----

TEST_F(StoreCallsTest, KeepOtherThreadsFromChangingValuesUnderAGuard) {
  Open();
  TValue const Value = Find("Brightness");
  ASSERT_EQ(property_guard_enter(m_Store.get()), PROPERTY_OK);
  ASSERT_EQ(property_guard_enter(m_Store.get()), PROPERTY_OK);
  std::thread Setter([&] { EXPECT_EQ(property_set_int(Value.get(), 7), PROPERTY_OK); });
  EXPECT_EQ(IntOf(Value), 80);
  ASSERT_EQ(property_guard_leave(m_Store.get()), PROPERTY_OK);
  EXPECT_EQ(IntOf(Value), 80);
  ASSERT_EQ(property_guard_leave(m_Store.get()), PROPERTY_OK);
  Setter.join();
  EXPECT_EQ(IntOf(Value), 7);
}

TEST_F(StoreCallsTest, LeaveTheGuardsOfAThreadThatEnds) {
  Open();
  OnAnotherThread([&] { EXPECT_EQ(property_guard_enter(m_Store.get()), PROPERTY_OK); });
  TValue const Value = Find("Brightness");
  EXPECT_EQ(property_set_int(Value.get(), 7), PROPERTY_OK);
  EXPECT_EQ(property_guard_leave(m_Store.get()), PROPERTY_ENDED);
  EXPECT_STREQ(property_last_error(), "this thread has no read guard");
  EXPECT_EQ(property_guard_enter(nullptr), PROPERTY_BAD_ARGUMENT);
}
