// SPDX-License-Identifier: MIT
// A router that goes away between the steps of Create. The operations of the proxy that are defined
// here take the place of the library's in this program.
#include <deque>

#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "tests/unit/CommonProperties/StoreFixture.h"

using Property::TCPropertyCollectionDriver;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

/// What the next waits for the router answer, and what was asked of the proxy.
struct TScript {
  std::deque<bool> m_Reachable;
  std::vector<int> m_Timeouts;
  std::vector<bool> m_StoreFree;
  std::vector<std::pair<int, bool>> m_Processed;
  int m_Requests = 0;
};

TScript& Script() {
  static TScript& Result = *new TScript;
  return Result;
}

struct TCPropertyCollectionDriverRouter : TSchemaFixture {
  static TCException CreateFails() {
    return CaughtException([] { TCPropertyCollectionDriver::Create(true); });
  }
};

void ExpectRouterException(TCException const& Exception, int Line) {
  EXPECT_EQ(Exception.get_Source(), "../PropertyInterface/TCPropertyCollectionDriver");
  EXPECT_EQ(Exception.get_Line(), Line);
  EXPECT_EQ(Exception.get_Condition(), "m_Instance->WaitForMailRouter() == true");
  EXPECT_EQ(Exception.get_Message(), "Mail router is not available");
}

}  // namespace

bool TCNorvServiceProxy::WaitForMailRouter(int Timeout) {
  Script().m_Timeouts.push_back(Timeout);
  Script().m_StoreFree.push_back(IsStoreFree());
  bool const Reachable = Script().m_Reachable.front();
  Script().m_Reachable.pop_front();
  return Reachable;
}

bool TCNorvServiceProxy::SendAndWait(TCNorvServiceName const& /*Service*/, TCNorvMessage& /*Mail*/,
                                     int const& Timeout) {
  Script().m_Timeouts.push_back(Timeout);
  Script().m_StoreFree.push_back(IsStoreFree());
  ++Script().m_Requests;
  return false;
}

void TCNorvServiceProxy::ProcessProxy(int Limit, bool Wait) {
  Script().m_Processed.emplace_back(Limit, Wait);
}

TEST_F(TCPropertyCollectionDriverRouter, IsMissedAtTheInitialisation) {
  Script().m_Reachable = {false};

  ExpectRouterException(CreateFails(), 100);
}

TEST_F(TCPropertyCollectionDriverRouter, IsMissedAfterTheInitialisation) {
  Script().m_Reachable = {true, false};

  ExpectRouterException(CreateFails(), 88);
}

TEST_F(TCPropertyCollectionDriverRouter, LeavesAnUnconnectedDriverWhenItIsMissedAtOnce) {
  Script().m_Reachable = {false};

  CreateFails();

  ASSERT_NE(TCPropertyCollectionDriver::get_Instance(), nullptr);
  EXPECT_TRUE(TCPropertyCollectionDriver::get_Created());
  EXPECT_FALSE(TCPropertyCollectionDriver::get_Instance()->get_Connected());
  EXPECT_FALSE(TCPropertyCollectionDriver::get_Instance()->get_OwnMACOnly());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverRouter, CanBeWaitedForAgainWhenItWasMissed) {
  Script().m_Reachable = {false, true};
  CreateFails();

  TCPropertyCollectionDriver::get_Instance()->Init();

  EXPECT_TRUE(TCPropertyCollectionDriver::get_Instance()->get_Connected());
}

TEST_F(TCPropertyCollectionDriverRouter, IsAskedForNothingWhenItIsMissed) {
  Script().m_Reachable = {true, false};

  CreateFails();

  EXPECT_EQ(Script().m_Requests, 0);
}

TEST_F(TCPropertyCollectionDriverRouter, IsWaitedForTwiceAndAskedOnceWithoutLimit) {
  Script().m_Reachable = {true, true};

  CreateFails();

  EXPECT_THAT(Script().m_Timeouts, ElementsAre(-1, -1, -1));
}

TEST_F(TCPropertyCollectionDriverRouter, IsWaitedForWithTheStoreHeldOnlyAtTheInitialisation) {
  Script().m_Reachable = {true, true};

  CreateFails();

  EXPECT_THAT(Script().m_StoreFree, ElementsAre(false, true, true));
}

TEST_F(TCPropertyCollectionDriverRouter, SignalsNothingToAnUnconnectedDriver) {
  Script().m_Reachable = {false};
  CreateFails();

  TCPropertyCollectionDriver::get_Instance()->OnProxySignal();

  EXPECT_THAT(Script().m_Processed, IsEmpty());
}

TEST_F(TCPropertyCollectionDriverRouter, MakesAConnectedDriverTakeAllThatWaits) {
  Script().m_Reachable = {true, true};
  CreateFails();

  TCPropertyCollectionDriver::get_Instance()->OnProxySignal();

  EXPECT_THAT(Script().m_Processed, ElementsAre(Pair(-1, false)));
}

TEST_F(TCPropertyCollectionDriverRouter, ChangesNoStateOfTheDriverWhenItComesAndGoes) {
  Script().m_Reachable = {true, true};
  CreateFails();
  TCPropertyCollectionDriver* const Driver = TCPropertyCollectionDriver::get_Instance();

  Driver->OnMailRouterState(false);
  bool const ConnectedWithout = Driver->get_Connected();
  Driver->OnMailRouterState(true);

  EXPECT_TRUE(ConnectedWithout);
  EXPECT_TRUE(Driver->get_Connected());
  EXPECT_THAT(Script().m_Processed, IsEmpty());
}
