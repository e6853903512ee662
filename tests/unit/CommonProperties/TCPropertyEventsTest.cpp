// SPDX-License-Identifier: MIT
// Changes that are told when the program asks: to whom, in which order, and what handlers may do.
#include "CommonProperties/TCPropertyEvents.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <thread>

#include "StoreFixture.h"
#include "tests/support/ForkedChild.h"

using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::eNotifyDeleted;
using Property::TCCommonPropertyObject;
using Property::TCPropertyEvents;
using Property::TENotificationType;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::atomic<bool> DescriptorsFail{false};

using TCSubscription = TCPropertyEvents::TCSubscription;

struct TCPropertyEventsTest : TStoreFixture {
  /// Notes each change as its text, removals with a minus, behind `Mark`.
  TCPropertyEvents::THandler Note(std::string const& Mark = "") {
    return [this, Mark](TCCommonPropertyObject const& Value, TENotificationType Type) {
      m_Noted.push_back(Mark + (Type == eNotifyDeleted ? "-" : "") + Value.GetRealValue());
    };
  }

  bool IsReadable() const {
    pollfd File = {m_Events->get_Descriptor(), POLLIN, 0};
    return poll(&File, 1, 0) == 1;
  }

  std::unique_ptr<TCPropertyEvents> m_Events = std::make_unique<TCPropertyEvents>();
  std::vector<std::string> m_Noted;
};
struct TCPropertyEventsWithoutAStore : TSchemaFixture {};

}  // namespace

// In place of the C library's, for the library too.
extern "C" __attribute__((visibility("default"))) int eventfd(unsigned Count, int Flags) noexcept {
  using TMake = int (*)(unsigned, int);
  static TMake const Make = reinterpret_cast<TMake>(dlsym(RTLD_NEXT, "eventfd"));
  if (DescriptorsFail) {
    errno = EMFILE;
    return -1;
  }
  return Make(Count, Flags);
}

// ---- the descriptor ----

TEST_F(TCPropertyEventsTest, HaveADescriptorThatIsReadableWhileSomethingIsQueued) {
  auto const All = m_Events->OnAny(Note());
  EXPECT_FALSE(IsReadable());
  SetProperty(m_Schema.m_Name, "set");
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_FALSE(IsReadable());
}

TEST_F(TCPropertyEventsTest, TellNoMoreThanIsAskedForAndStayReadable) {
  auto const All = m_Events->OnAny(Note());
  SetProperty(m_Schema.m_Name, "first");
  SetProperty(m_Schema.m_SiteName, "second");
  EXPECT_EQ(m_Events->Dispatch(0), 0U);
  EXPECT_EQ(m_Events->Dispatch(1), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("first"));
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(m_Events->Dispatch(1), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("first", "second"));
  EXPECT_FALSE(IsReadable());
}

TEST_F(TCPropertyEventsTest, HaveADescriptorThatNeverBlocksAndEndsWithAnotherProgram) {
  EXPECT_NE(fcntl(m_Events->get_Descriptor(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(fcntl(m_Events->get_Descriptor(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(TCPropertyEventsTest, AreNotMadeWithoutADescriptor) {
  DescriptorsFail = true;
  TCException const Exception = CaughtException([] { TCPropertyEvents const Events; });
  DescriptorsFail = false;
  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCPropertyEvents");
  EXPECT_EQ(Exception.get_Message(), "cannot make a descriptor for events: Too many open files");
}

TEST_F(TCPropertyEventsTest, WakeNobodyForAChangeThatNobodyWants) {
  auto const Name = m_Events->On(m_Schema.m_Name, Note());
  SetProperty(m_Schema.m_Count, 7);
  EXPECT_FALSE(IsReadable());
  EXPECT_EQ(m_Events->Dispatch(), 0U);
}

// ---- who is told of what ----

TEST_F(TCPropertyEventsTest, AreToldOnTheAskingThreadWithNoLockHeld) {
  bool Free = false;
  std::thread::id Thread;
  auto const All = m_Events->OnAny([&](TCCommonPropertyObject const&, TENotificationType) {
    Free = IsStoreFree();
    Thread = std::this_thread::get_id();
  });
  OnAnotherThread([this] { SetProperty(m_Schema.m_Name, "set"); });
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_TRUE(Free);
  EXPECT_EQ(Thread, std::this_thread::get_id());
}

TEST_F(TCPropertyEventsTest, TellTheValueWithItsPlace) {
  std::vector<std::string> Places;
  auto const All = m_Events->OnAny([&](TCCommonPropertyObject const& Value, TENotificationType) {
    Places.push_back(Value.get_ID().get_Name() + "[" + Value.get_Link().get_AsString() + "]@" +
                     Value.get_MAC().get_AsString(':'));
  });
  SetProperty(m_Schema.m_Name, "set", TCRecordID(7), kOtherMAC);
  m_Events->Dispatch();
  EXPECT_THAT(Places, ElementsAre("Name[7]@00:11:22:33:44:66"));
}

TEST_F(TCPropertyEventsTest, OfAPropertyAreThoseOfEachRecordAndDevice) {
  auto const Name = m_Events->On(m_Schema.m_Name, Note());
  SetProperty(m_Schema.m_Name, "own");
  SetProperty(m_Schema.m_Name, "of a record", TCRecordID(7));
  SetProperty(m_Schema.m_Name, "of another device", TCRecordID(), kOtherMAC);
  SetProperty(m_Schema.m_SiteName, "of another property");
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("own", "of a record", "of another device"));
}

TEST_F(TCPropertyEventsTest, OfOneValueAreThoseOfItsRecordAndDevice) {
  auto const Own = m_Events->On(m_Schema.m_Name, TCRecordID(7), "", Note("own "));
  auto const Other = m_Events->On(m_Schema.m_Name, TCRecordID(7), kOtherMAC, Note("other "));
  auto const Site = m_Events->On(m_Schema.m_SiteName, TCRecordID(), "", Note("site "));
  SetProperty(m_Schema.m_Name, "1");
  SetProperty(m_Schema.m_Name, "2", TCRecordID(7));
  SetProperty(m_Schema.m_Name, "3", TCRecordID(7), kOtherMAC);
  SetProperty(m_Schema.m_Name, "4", TCRecordID(7), kThirdMAC);
  SetProperty(m_Schema.m_SiteName, "5");
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("own 2", "other 3", "site 5"));
}

TEST_F(TCPropertyEventsTest, GoToTheHandlersOfTheValueThenOfThePropertyThenOfAll) {
  auto const All = m_Events->OnAny(Note("all "));
  auto const Second = m_Events->On(m_Schema.m_Name, Note("second "));
  auto const Third = m_Events->On(m_Schema.m_Name, Note("third "));
  auto const First = m_Events->On(m_Schema.m_Name, TCRecordID(), "", Note("first "));
  SetProperty(m_Schema.m_Name, "x");
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("first x", "second x", "third x", "all x"));
}

TEST_F(TCPropertyEventsTest, BeginWithTheSubscription) {
  SetProperty(m_Schema.m_Name, "before");
  auto const All = m_Events->OnAny(Note());
  SetProperty(m_Schema.m_Name, "after");
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("after"));
}

TEST_F(TCPropertyEventsTest, TellTheLastOfTheChangesThatWait) {
  auto const All = m_Events->OnAny(Note());
  for (int Number = 1; Number <= 1000; ++Number) {
    SetProperty(m_Schema.m_Count, Number);
  }
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("1000"));
}

TEST_F(TCPropertyEventsTest, TellARemovalAlsoWhenTheValueIsBack) {
  Store(m_Schema.m_Name, TCRecordID(), "gone", kOwnMAC);
  auto const All = m_Events->OnAny(Note());
  m_Store.DeleteProperty(m_Schema.m_Name, TCRecordID(), "");
  SetProperty(m_Schema.m_Name, "back");
  EXPECT_EQ(m_Events->Dispatch(), 2U);
  EXPECT_THAT(m_Noted, ElementsAre("-gone", "back"));
}

TEST_F(TCPropertyEventsTest, AreThereForEachObjectOfThem) {
  TCPropertyEvents Others;
  auto const All = m_Events->OnAny(Note("these "));
  auto const OthersAll = Others.OnAny(Note("others "));
  SetProperty(m_Schema.m_Name, "x");
  m_Events->Dispatch();
  Others.Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("these x", "others x"));
}

// ---- subscriptions ----

TEST_F(TCPropertyEventsTest, EndWithTheSubscription) {
  auto Subscription = std::make_unique<TCSubscription>(m_Events->OnAny(Note("ended ")));
  auto const Property = m_Events->On(m_Schema.m_Name, Note("stays "));
  SetProperty(m_Schema.m_Name, "x");
  Subscription.reset();
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("stays x"));
}

TEST_F(TCPropertyEventsTest, EndForAValueAndForAPropertyAlone) {
  auto Value = m_Events->On(m_Schema.m_Name, TCRecordID(), "", Note("value "));
  auto Property = m_Events->On(m_Schema.m_Name, Note("property "));
  auto const Same = m_Events->On(m_Schema.m_Name, TCRecordID(), "", Note("same value "));
  Value.End();
  Value.End();
  SetProperty(m_Schema.m_Name, "1");
  m_Events->Dispatch();
  Property.End();
  SetProperty(m_Schema.m_Name, "2");
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("same value 1", "property 1", "same value 2"));
}

TEST_F(TCPropertyEventsTest, CountNoChangeThatNobodyWantsAnyMore) {
  auto All = m_Events->OnAny(Note());
  SetProperty(m_Schema.m_Name, "x");
  All.End();
  EXPECT_EQ(m_Events->Dispatch(), 0U);
  EXPECT_FALSE(IsReadable());
}

TEST_F(TCPropertyEventsTest, MoveWithTheSubscriptionAndEndTheOneInItsPlace) {
  TCSubscription First = m_Events->OnAny(Note("first "));
  TCSubscription Second = m_Events->OnAny(Note("second "));
  First = std::move(Second);
  TCSubscription const Moved(std::move(First));
  SetProperty(m_Schema.m_Name, "x");
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("second x"));
}

TEST_F(TCPropertyEventsTest, AreOutlivedByASubscription) {
  auto All = m_Events->OnAny(Note());
  m_Events.reset();
  SetProperty(m_Schema.m_Name, "x");
  All.End();
  EXPECT_THAT(m_Noted, IsEmpty());
}

TEST_F(TCPropertyEventsTest, DestroyAHandlerWithItsSubscription) {
  auto const Held = std::make_shared<int>(7);
  auto All = m_Events->OnAny([Held](TCCommonPropertyObject const&, TENotificationType) { return; });
  EXPECT_EQ(Held.use_count(), 2);
  All.End();
  EXPECT_EQ(Held.use_count(), 1);
}

TEST_F(TCPropertyEventsTest, NeedAFunction) {
  TCException const Exception = CaughtException(
      [this] { static_cast<void>(m_Events->On(m_Schema.m_Name, TCPropertyEvents::THandler())); });
  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCPropertyEvents");
  EXPECT_EQ(Exception.get_Condition(), "Handler->Function");
  EXPECT_EQ(Exception.get_Message(), "Subscribing to changes needs a function to call");
}

TEST_F(TCPropertyEventsWithoutAStore, SayThatAValueWithoutADeviceNeedsOne) {
  TCPropertyEvents Events;
  auto const Ignore = [](TCCommonPropertyObject const&, TENotificationType) {};
  TCException const Exception = CaughtException(
      [&] { static_cast<void>(Events.On(m_Schema.m_Name, TCRecordID(), "", Ignore)); });
  EXPECT_EQ(Exception.get_Message(), "Property collection has not been created");
}

TEST_F(TCPropertyEventsWithoutAStore, MayBeSubscribedToBeforeThereIsOne) {
  TCPropertyEvents Events;
  std::vector<std::string> Noted;
  auto const All = Events.OnAny([&](TCCommonPropertyObject const& Value, TENotificationType) {
    Noted.push_back(Value.GetRealValue());
  });
  TTestStore const Store;
  SetProperty(m_Schema.m_Name, "set");
  Events.Dispatch();
  EXPECT_THAT(Noted, ElementsAre("set"));
}

// ---- what handlers may do ----

TEST_F(TCPropertyEventsTest, LeaveWhatAHandlerSetsToTheNextCall) {
  auto const Count = m_Events->On(m_Schema.m_Count, [this](auto const& Value, auto) {
    SetProperty(m_Schema.m_Count, Value.get_AsInteger() + 1);
  });
  SetProperty(m_Schema.m_Count, 1);
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 2);
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 3);
}

TEST_F(TCPropertyEventsTest, MayBeEndedByTheirOwnHandler) {
  TCSubscription Once;
  Once = m_Events->OnAny([&](TCCommonPropertyObject const& Value, TENotificationType) {
    m_Noted.push_back(Value.GetRealValue());
    Once.End();
    m_Noted.push_back("ended");
  });
  SetProperty(m_Schema.m_Name, "1");
  SetProperty(m_Schema.m_Count, 2);
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("1", "ended"));
}

TEST_F(TCPropertyEventsTest, AreNotToldToAHandlerThatOneBeforeItHasEnded) {
  TCSubscription All = m_Events->OnAny(Note("all "));
  auto const First = m_Events->On(m_Schema.m_Name, [&](auto const&, auto) { All.End(); });
  SetProperty(m_Schema.m_Name, "x");
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, IsEmpty());
}

TEST_F(TCPropertyEventsTest, AreToldToAHandlerThatAnotherHasSubscribedFromTheNextChangeOn) {
  TCSubscription Late;
  auto const First = m_Events->On(
      m_Schema.m_Name, [&](auto const&, auto) { Late = m_Events->OnAny(Note("late ")); });
  SetProperty(m_Schema.m_Name, "1");
  m_Events->Dispatch();
  SetProperty(m_Schema.m_Count, 2);
  m_Events->Dispatch();
  EXPECT_THAT(m_Noted, ElementsAre("late 2"));
}

TEST_F(TCPropertyEventsTest, PassOnWhatAHandlerThrowsWhenTheOthersHaveBeenCalled) {
  auto const Throwing = m_Events->On(
      m_Schema.m_Name, [](auto const&, auto) { throw std::runtime_error("the handler's"); });
  auto const All = m_Events->OnAny(Note());
  SetProperty(m_Schema.m_Name, "1");
  SetProperty(m_Schema.m_Count, 2);
  EXPECT_THROW(m_Events->Dispatch(), std::runtime_error);
  EXPECT_THAT(m_Noted, ElementsAre("1"));
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("1", "2"));
  EXPECT_FALSE(IsReadable());
}

TEST_F(TCPropertyEventsTest, PassOnTheFirstOfSeveralExceptions) {
  auto const First =
      m_Events->On(m_Schema.m_Name, [](auto const&, auto) { throw std::runtime_error("first"); });
  auto const Second =
      m_Events->OnAny([](auto const&, auto) { throw std::runtime_error("second"); });
  SetProperty(m_Schema.m_Name, "x");
  try {
    m_Events->Dispatch();
    FAIL() << "nothing was thrown";
  } catch (std::runtime_error const& Exception) {
    EXPECT_STREQ(Exception.what(), "first");
  }
}

TEST_F(TCPropertyEventsTest, MayBeDispatchedByAHandler) {
  std::size_t Inner = 0;
  auto const Name =
      m_Events->On(m_Schema.m_Name, [&](auto const&, auto) { Inner = m_Events->Dispatch(); });
  auto const Count = m_Events->On(m_Schema.m_Count, Note());
  SetProperty(m_Schema.m_Name, "x");
  SetProperty(m_Schema.m_Count, 7);
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_EQ(Inner, 1U);
  EXPECT_THAT(m_Noted, ElementsAre("7"));
}

TEST_F(TCPropertyEventsTest, MayBeDestroyedByAHandler) {
  auto const Name = m_Events->On(m_Schema.m_Name, [&](auto const&, auto) { m_Events.reset(); });
  auto const All = m_Events->OnAny(Note());
  SetProperty(m_Schema.m_Name, "x");
  SetProperty(m_Schema.m_Count, 7);
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_THAT(m_Noted, IsEmpty());
}

// ---- other threads, and forks ----

TEST_F(TCPropertyEventsTest, AreDestroyedWhileChangesArrive) {
  std::atomic<bool> Stop{false};
  std::thread Writer([&] {
    for (int Number = 0; !Stop; ++Number) {
      SetProperty(m_Schema.m_Count, Number);
    }
  });
  for (int Round = 0; Round < 200; ++Round) {
    TCPropertyEvents Events;
    auto const All = Events.OnAny([](auto const&, auto) {});
    Events.Dispatch();
  }
  Stop = true;
  Writer.join();
}

TEST_F(TCPropertyEventsTest, TellTheLastOfAnotherThreadsChanges) {
  constexpr int kLast = 20000;
  int Seen = 0;
  bool Ordered = true;
  auto const Count = m_Events->On(m_Schema.m_Count, [&](auto const& Value, auto) {
    Ordered = Ordered && Value.get_AsInteger() > Seen;
    Seen = Value.get_AsInteger();
  });
  std::thread Writer([this] {
    for (int Number = 1; Number <= kLast; ++Number) {
      SetProperty(m_Schema.m_Count, Number);
    }
  });
  while (Seen != kLast) {
    pollfd File = {m_Events->get_Descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&File, 1, 30000), 1);
    m_Events->Dispatch();
  }
  Writer.join();
  EXPECT_TRUE(Ordered);
}

TEST_F(TCPropertyEventsTest, OfAForkedChildDisturbNoneOfItsParent) {
  auto const All = m_Events->OnAny(Note());

  TForkedChild Quiet([this] {
    SetProperty(m_Schema.m_Name, "the child's");
    return "told " + std::to_string(m_Events->Dispatch());
  });
  EXPECT_EQ(Quiet.Wait(), "told 0");
  EXPECT_FALSE(IsReadable());

  SetProperty(m_Schema.m_Name, "the parent's");
  TForkedChild Asking([this] { return "told " + std::to_string(m_Events->Dispatch()); });
  EXPECT_EQ(Asking.Wait(), "told 0");
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(m_Events->Dispatch(), 1U);
  EXPECT_THAT(m_Noted, ElementsAre("the parent's"));
}
