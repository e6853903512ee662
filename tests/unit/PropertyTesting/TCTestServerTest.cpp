// SPDX-License-Identifier: MIT
// The test server's values, rules and waits, as a program's store meets them.
#include <sys/stat.h>

#include <thread>

#include "CommonProperties/TCPropertyTransaction.h"
#include "tests/unit/PropertyTesting/TestServerFixture.h"

using Property::Testing::TCTestServer;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TCTestServerTest = TTestServerFixture;

namespace {

constexpr char kOther[] = "02:00:00:00:00:99";

}  // namespace

// ---- values ----

TEST_F(TCTestServerTest, GivesTheStoreInitialValuesOfEachType) {
  m_Server.SetValue(m_Schema.m_Name, "north");
  m_Server.SetValue(m_Schema.m_Count, 7);
  m_Server.SetValue(m_Schema.m_Flag, true);
  m_Server.SetValue(m_Schema.m_Mode, m_Schema.m_OffID);
  MakeStore();
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "north");
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 7);
  EXPECT_TRUE(GetProperty(m_Schema.m_Flag).get_AsBool());
  EXPECT_EQ(GetProperty(m_Schema.m_Mode).GetRealValue(), "1011");
  EXPECT_EQ(m_Server.get_ValueCount(), 4);
}

TEST_F(TCTestServerTest, KeepsAValueForItsDeviceItsRecordOrAllDevices) {
  m_Server.SetValue(m_Schema.m_Count, 1);
  m_Server.SetValue(m_Schema.m_Count, 2, Accessories::TCRecordID(5));
  m_Server.SetValue(m_Schema.m_Count, 3, Accessories::TCRecordID(), kOther);
  m_Server.SetValue(m_Schema.m_SiteName, "all");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count, Accessories::TCRecordID(), TCTestServer::kDevice),
            "1");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count, Accessories::TCRecordID(5)), "2");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count, Accessories::TCRecordID(), kOther), "3");
  MakeStore();
  EXPECT_EQ(GetProperty(m_Schema.m_SiteName).get_AsString(), "all");
  EXPECT_EQ(GetProperty(m_Schema.m_Count, Accessories::TCRecordID(5)).get_AsInteger(), 2);
}

TEST_F(TCTestServerTest, HoldsWhatTheProcessHasSet) {
  MakeStore();
  SetProperty(m_Schema.m_Name, "set");
  SetProperty(m_Schema.m_SiteName, "site");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "set");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_SiteName), "site");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), std::nullopt);
}

TEST_F(TCTestServerTest, HasNotifiersToldOfAnothersChange) {
  MakeStore();
  m_Server.SetValue(m_Schema.m_Name, "another's");
  m_Server.WaitUntilArrived();
  EXPECT_THAT(m_Notifier.get_Texts(), ElementsAre("another's"));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "another's");
}

TEST_F(TCTestServerTest, ChangesSeveralValuesAtOnce) {
  MakeStore();
  m_Server.SetValues({{&m_Schema.m_Name, "a", {}, ""}, {&m_Schema.m_Count, "2", {}, ""}});
  m_Server.WaitUntilArrived();
  EXPECT_THAT(m_Notifier.get_Texts(), ElementsAre("a", "2"));
}

TEST_F(TCTestServerTest, HasNotifiersToldThatAValueIsGone) {
  m_Server.SetValue(m_Schema.m_Name, "here");
  MakeStore();
  m_Server.RemoveValue(m_Schema.m_Name);
  m_Server.RemoveValue(m_Schema.m_Count);  // there is none
  m_Server.WaitUntilArrived();
  EXPECT_THAT(m_Notifier.get_Texts(), ElementsAre("-"));
  EXPECT_EQ(m_Server.get_ValueCount(), 0);
}

TEST_F(TCTestServerTest, RefusesAValueOfWhatIsNoDevice) {
  EXPECT_EQ(Refusal([&] { m_Server.SetValue(m_Schema.m_Count, 1, {}, "no device"); }),
            "\"no device\" is no MAC address, expected six bytes such as 02:00:00:00:00:01");
  EXPECT_EQ(Refusal([&] { m_Server.FindValue(m_Schema.m_Count, {}, "02:00:00:00:00"); }),
            "\"02:00:00:00:00\" is no MAC address, expected six bytes such as 02:00:00:00:00:01");
  EXPECT_EQ(m_Server.get_ValueCount(), 0);
}

TEST_F(TCTestServerTest, RefusesAValueWithoutAPropertyAndThoseBesideIt) {
  EXPECT_EQ(Refusal([&] {
              m_Server.SetValues({{&m_Schema.m_Name, "a", {}, ""}, {nullptr, "b", {}, ""}});
            }),
            "a value without a property");
  EXPECT_EQ(m_Server.get_ValueCount(), 0);
}

TEST_F(TCTestServerTest, SharesValuesWithAnotherDevicesProcess) {
  m_Server.SetValue(m_Schema.m_Count, 3, Accessories::TCRecordID(), kOther);
  MakeStore();
  EXPECT_EQ(GetProperty(m_Schema.m_Count, Accessories::TCRecordID(), kOther).get_AsInteger(), 3);
}

// ---- what is allowed ----

TEST_F(TCTestServerTest, HoldsTheProcessToTheConfiguration) {
  m_Server.SetValue(m_Schema.m_Name, "stands");
  m_Server.SetConfiguration("[[rule]]\nproperties = [1001]\nwrite = [\"user:4000000000\"]\n");
  MakeStore();
  SetProperty(m_Schema.m_Count, 5);
  SetProperty(m_Schema.m_Name, "refused");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "stands");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "5");
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "stands");
  EXPECT_EQ(m_Notifier.get_Texts().back(), "stands");
}

TEST_F(TCTestServerTest, ChangesTheConfigurationUnderTheStore) {
  m_Server.SetValue(m_Schema.m_Name, "secret");
  MakeStore();
  m_Server.SetConfiguration("[[rule]]\nproperties = [1001]\nread = [\"user:4000000000\"]\n");
  m_Server.WaitUntilArrived();
  EXPECT_THAT(m_Notifier.get_Texts(), ElementsAre("-"));
  m_Server.SetConfiguration("");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "secret");
}

TEST_F(TCTestServerTest, HoldsTheProcessToLimits) {
  m_Server.SetConfiguration("[limits]\nvalue_bytes = 3\n");
  MakeStore();
  SetProperty(m_Schema.m_Name, "abc");
  SetProperty(m_Schema.m_SiteName, "abcd");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "abc");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_SiteName), std::nullopt);
}

TEST_F(TCTestServerTest, SaysWhatIsWrongInAConfigurationAndKeepsTheFormerOne) {
  m_Server.SetConfiguration("[limits]\nvalue_bytes = 3\n");
  EXPECT_EQ(Refusal([&] { m_Server.SetConfiguration("\n[rules]\n"); }),
            "test configuration:2: unknown key \"rules\", expected group, secret, limits, history "
            "or rule");
  MakeStore();
  SetProperty(m_Schema.m_Name, "abcd");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), std::nullopt);
}

TEST_F(TCTestServerTest, TakesRulesForPropertiesThatTheSchemaDoesNotHave) {
  m_Server.SetConfiguration(
      "[[rule]]\nproperties = [\"900000-900099\"]\nwrite = [\"everybody\"]\n");
  MakeStore();
  SetProperty(m_Schema.m_Name, "set");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "set");
}

TEST_F(TCTestServerTest, ForbidsAPropertyToTheProcessButNotToTheTest) {
  m_Server.ForbidWriting(m_Schema.m_Name);
  MakeStore();
  SetProperty(m_Schema.m_Name, "refused");
  m_Server.SetValue(m_Schema.m_Name, "given");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "given");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "given");
  EXPECT_THAT(m_Log.get_Warnings(),
              Contains(HasSubstr("refused: no process may write property 1001")));
}

TEST_F(TCTestServerTest, ForbidsATransactionThatHasTheProperty) {
  m_Server.ForbidWriting(m_Schema.m_Count);
  MakeStore();
  {
    Property::TCPropertyTransaction Transaction;
    Transaction.Begin();
    SetProperty(m_Schema.m_Name, "together");
    SetProperty(m_Schema.m_Count, 1);
    Transaction.Commit();
  }
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.get_ValueCount(), 0);
}

// ---- waiting ----

TEST_F(TCTestServerTest, WaitsForWhatNotifiersSend) {
  m_Notifier.m_OnTold = [this] {
    int const Count = GetProperty(m_Schema.m_Count).get_AsInteger();
    if (Count < 5) {
      SetProperty(m_Schema.m_Count, Count + 1);
    }
  };
  MakeStore();
  m_Server.SetValue(m_Schema.m_Count, 1);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "5");
}

TEST_F(TCTestServerTest, WaitsForANotifierThatTakesLong) {
  std::mutex Lock;
  std::condition_variable Changed;
  bool Inside = false;
  bool MayReturn = false;
  m_Notifier.m_OnTold = [&] {
    std::unique_lock<std::mutex> Guard(Lock);
    Inside = true;
    Changed.notify_all();
    Changed.wait(Guard, [&] { return MayReturn; });
  };
  MakeStore();
  m_Server.SetValue(m_Schema.m_Name, "slowly");
  {
    std::unique_lock<std::mutex> Guard(Lock);
    Changed.wait(Guard, [&] { return Inside; });
  }
  EXPECT_EQ(Refusal([&] { m_Server.WaitUntilArrived(kShort); }),
            "not all has arrived within 50 ms: a notifier has not returned, or what was published "
            "has not been taken in");
  {
    std::lock_guard<std::mutex> const Guard(Lock);
    MayReturn = true;
    Changed.notify_all();
  }
  m_Server.WaitUntilArrived();
  EXPECT_THAT(m_Notifier.get_Texts(), ElementsAre("slowly"));
}

TEST_F(TCTestServerTest, DoesNotWaitForTheNotifierThatWaits) {
  std::string Said;
  m_Notifier.m_OnTold = [&] { Said = Refusal([&] { m_Server.WaitUntilArrived(); }); };
  MakeStore();
  m_Server.SetValue(m_Schema.m_Name, "told");
  m_Server.WaitUntilArrived();
  EXPECT_EQ(Said,
            "cannot wait until all has arrived: this is a notifier, which would be waited for");
}

// Fewer than a process may be behind before it is brought up to date at once, and told less.
TEST_F(TCTestServerTest, WaitsForManyChangesBothWays) {
  constexpr int kChanges = 400;
  MakeStore();
  std::thread Writer([&] {
    for (int Count = 1; Count <= kChanges; ++Count) {
      SetProperty(m_Schema.m_Count, Count);
    }
  });
  for (int Count = 1; Count <= kChanges; ++Count) {
    m_Server.SetValue(m_Schema.m_Name, std::to_string(Count));
  }
  Writer.join();
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), std::to_string(kChanges));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsInteger(), kChanges);
  EXPECT_EQ(m_Notifier.get_Texts().size(), 2U * kChanges);
}

TEST_F(TCTestServerTest, SaysThatThereIsNoStoreToWaitFor) {
  EXPECT_EQ(Refusal([&] { m_Server.WaitUntilArrived(); }),
            "cannot wait until all has arrived: this process has no store, call "
            "TCPropertyCollectionDriver::Create() first");
}

TEST_F(TCTestServerTest, WaitsForAValue) {
  MakeStore();
  std::thread Writer([&] {
    SetProperty(m_Schema.m_Count, 1);
    SetProperty(m_Schema.m_Count, 2);
  });
  m_Server.WaitForValue(m_Schema.m_Count, "2");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "2");
  Writer.join();
}

TEST_F(TCTestServerTest, SaysWhichValueHasNotCome) {
  EXPECT_EQ(Refusal([&] { m_Server.WaitForValue(m_Schema.m_Count, "2", {}, "", kShort); }),
            "Count has not become \"2\" within 50 ms, it is missing");
  m_Server.SetValue(m_Schema.m_Count, 1);
  EXPECT_EQ(Refusal([&] { m_Server.WaitForValue(m_Schema.m_Count, "2", {}, "", kShort); }),
            "Count has not become \"2\" within 50 ms, it is \"1\"");
}
