// SPDX-License-Identifier: MIT
// What events leave behind when memory runs out at any of their steps.
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>

#include "CommonProperties/TCPropertyEvents.h"
#include "FailingAllocations.h"
#include "StoreFixture.h"

using Property::TCCommonPropertyObject;
using Property::TCPropertyEvents;
using Property::TENotificationType;

namespace {

std::ptrdiff_t OpenDescriptors() {
  std::filesystem::directory_iterator const Open("/proc/self/fd");
  return std::distance(begin(Open), end(Open));
}

struct EventsMemoryTest : TStoreFixture {
  TCPropertyEvents::THandler Note() {
    return [this](TCCommonPropertyObject const& Value, TENotificationType) {
      ++m_Told;
      m_Last = Value.get_AsInteger();
    };
  }

  TCPropertyEvents m_Events;
  int m_Told = 0;
  int m_Last = 0;
};

}  // namespace

TEST_F(EventsMemoryTest, LeaveNoDescriptorWhenTheyCanNotBeMade) {
  std::ptrdiff_t const Before = OpenDescriptors();
  int const Failures = FailEachAllocation([] { TCPropertyEvents const Others; },
                                          [Before] { EXPECT_EQ(OpenDescriptors(), Before); });
  EXPECT_GE(Failures, 2);
}

TEST_F(EventsMemoryTest, SubscribeNobodyHalf) {
  TCPropertyEvents::THandler const Handler = Note();
  std::optional<TCPropertyEvents::TCSubscription> Subscription;
  int Number = 0;
  int const Failures =
      FailEachAllocation([&] { Subscription.emplace(m_Events.On(m_Schema.m_Count, Handler)); },
                         [&] {
                           SetProperty(m_Schema.m_Count, ++Number);
                           EXPECT_EQ(m_Events.Dispatch(), 0U);
                         });
  EXPECT_GE(Failures, 2);
  SetProperty(m_Schema.m_Count, ++Number);
  EXPECT_EQ(m_Events.Dispatch(), 1U);
  EXPECT_EQ(m_Told, 1);
}

TEST_F(EventsMemoryTest, TellAChangeThatCouldNotBeKeptOrALaterOne) {
  auto const Subscription = m_Events.On(m_Schema.m_Count, Note());
  int Number = 0;
  int const Failures = FailEachAllocation([&] { SetProperty(m_Schema.m_Count, ++Number); }, [] {});
  EXPECT_GE(Failures, 2);
  EXPECT_EQ(m_Events.Dispatch(), 1U);
  EXPECT_EQ(m_Last, Number);
}

TEST_F(EventsMemoryTest, KeepAChangeThatCouldNotBeTold) {
  auto const Subscription = m_Events.On(m_Schema.m_Count, Note());
  SetProperty(m_Schema.m_Count, 7);
  int const Failures = FailEachAllocation([this] { EXPECT_EQ(m_Events.Dispatch(), 1U); },
                                          [this] { EXPECT_EQ(m_Told, 0); });
  EXPECT_GE(Failures, 1);
  EXPECT_EQ(m_Told, 1);
  EXPECT_EQ(m_Last, 7);
}
