// SPDX-License-Identifier: MIT
// The calls about changes: the program asks for them, nobody calls it.
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/TCStoreOpening.h"
#include "CommonProperties/KeyOf.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyEvents.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "Platform/Utility/TCMutex.h"

/// Never changes.
struct property_change {
  Property::TCCommonPropertyObject Value;  // of a removed one, what it reads as now
  bool Removed;
};

/// Events, and a descriptor for them and for the order to stop.
struct property_watch {
  property_watch();
  property_watch(property_watch const&) = delete;
  property_watch& operator=(property_watch const&) = delete;

  /// Null when nothing waits.
  std::unique_ptr<property_change> Take();
  void Stop() noexcept;

  TCFileDescriptor Stopping;
  TCFileDescriptor Both;
  std::atomic<bool> Stopped{false};
  TCMutex Lock;
  std::unique_ptr<property_change> Taken PROPERTY_GUARDED_BY(Lock);  // while Events dispatches
  Property::TCPropertyEvents Events PROPERTY_GUARDED_BY(Lock);
  std::vector<Property::TCPropertyEvents::TCSubscription> Subscriptions PROPERTY_GUARDED_BY(Lock);
};

using namespace Property;
using namespace Property::C;

namespace {

int Made(int Descriptor) {
  if (Descriptor < 0) {
    throw TCBorderFailure(PROPERTY_FAILED, std::string("cannot make a descriptor for a watch: ") +
                                               std::strerror(errno));
  }
  return Descriptor;
}

// What a removed value reads as is its default, under the same key.
std::unique_ptr<property_change> ChangeOf(TCCommonPropertyObject const& Value,
                                          TENotificationType Type) {
  bool const Removed = Type == eNotifyDeleted;
  return std::unique_ptr<property_change>(new property_change{
      Removed ? TCCommonPropertyObject(Value.get_ID(), Value.get_Link(), Value.get_MAC()) : Value,
      Removed});
}

TCPropertyEvents::THandler TakerOf(property_watch& Watch) {
  return [&Watch](TCCommonPropertyObject const& Value, TENotificationType Type)
             PROPERTY_REQUIRES(Watch.Lock) { Watch.Taken = ChangeOf(Value, Type); };
}

/// When a wait ends.
class TCPatience {
 public:
  explicit TCPatience(int Timeout)
      : m_Limited(Timeout >= 0),
        m_End(std::chrono::steady_clock::now() + std::chrono::milliseconds(Timeout)) {}

  /// Milliseconds, rounded up; -1 for without limit.
  int get_Left() const {
    if (!m_Limited) {
      return -1;
    }
    auto const Left =
        std::chrono::ceil<std::chrono::milliseconds>(m_End - std::chrono::steady_clock::now());
    return Left.count() > 0 ? static_cast<int>(Left.count()) : 0;
  }

 private:
  bool m_Limited;
  std::chrono::steady_clock::time_point m_End;
};

std::unique_ptr<property_change> WaitForChange(property_watch& Watch, int Timeout) {
  TCPatience const Patience(Timeout);
  for (;;) {
    if (Watch.Stopped) {
      throw TCBorderFailure(PROPERTY_CLOSED, "the watch was stopped");
    }
    if (auto Change = Watch.Take()) {
      return Change;
    }
    int const Left = Patience.get_Left();
    if (Left == 0) {
      throw TCBorderFailure(PROPERTY_TIMED_OUT,
                            "nothing has changed within " + std::to_string(Timeout) + " ms");
    }
    pollfd Both = {Watch.Both.get(), POLLIN, 0};
    poll(&Both, 1, Left);
  }
}

template <class TSubscribe>
property_status Subscribe(property_watch* Watch, TSubscribe const& Make) {
  return Cross([&] {
    Require(Watch, "watch");
    TCStoreOpening::Get().RequireOwnProcess();
    TCMutexLock const Guard(Watch->Lock);
    Watch->Subscriptions.push_back(Make(Watch->Events));
  });
}

}  // namespace

property_watch::property_watch()
    : Stopping(Made(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))),
      Both(Made(epoll_create1(EPOLL_CLOEXEC))) {
  for (int const Descriptor : {Stopping.get(), Events.get_Descriptor()}) {
    epoll_event Event = {};
    Event.events = EPOLLIN;
    Made(epoll_ctl(Both.get(), EPOLL_CTL_ADD, Descriptor, &Event));
  }
}

std::unique_ptr<property_change> property_watch::Take() {
  TCMutexLock const Guard(Lock);
  Events.Dispatch(1);
  return std::move(Taken);
}

void property_watch::Stop() noexcept {
  std::uint64_t const One = 1;
  Stopped = true;
  static_cast<void>(write(Stopping.get(), &One, sizeof(One)) == sizeof(One));
}

property_status property_watch_new(property_store const* store, property_watch** watch) {
  return Cross([&] {
    Require(store, "store");
    Require(watch, "watch");
    TCStoreOpening::Get().RequireOwnProcess();
    *watch = new property_watch;
  });
}

property_status property_watch_value(property_watch* watch, property_value const* value) {
  return Subscribe(watch, [&](TCPropertyEvents& Events) {
    Require(value, "value");
    return Events.On(*value->Field, value->Record, value->Device, TakerOf(*watch));
  });
}

property_status property_watch_property(property_watch* watch, property_value const* value) {
  return Subscribe(watch, [&](TCPropertyEvents& Events) {
    Require(value, "value");
    return Events.On(*value->Field, TakerOf(*watch));
  });
}

property_status property_watch_all(property_watch* watch) {
  return Subscribe(watch, [&](TCPropertyEvents& Events) { return Events.OnAny(TakerOf(*watch)); });
}

int property_watch_descriptor(property_watch const* watch) {
  return watch != nullptr ? watch->Both.get() : -1;
}

property_status property_watch_next(property_watch* watch, int32_t timeout,
                                    property_change** change) {
  return Cross([&] {
    Require(watch, "watch");
    Require(change, "change");
    RequireTimeout(timeout);
    TCStoreOpening::Get().RequireOwnProcess();
    *change = WaitForChange(*watch, timeout).release();
  });
}

property_status property_watch_stop(property_watch* watch) {
  return Cross([&] {
    Require(watch, "watch");
    TCStoreOpening::Get().RequireOwnProcess();
    watch->Stop();
  });
}

void property_free_watch(property_watch* watch) {
  delete watch;
}

property_status property_change_value(property_change const* change, property_value** value) {
  return Cross([&] {
    Require(change, "change");
    Require(value, "value");
    *value = NewValue(KeyOf(change->Value));
  });
}

int32_t property_change_removed(property_change const* change) {
  return change != nullptr && change->Removed ? 1 : 0;
}

property_status property_change_int(property_change const* change, int32_t* number) {
  return Cross([&] {
    Require(change, "change");
    Require(number, "number");
    *number = ReadInt(change->Value);
  });
}

property_status property_change_bool(property_change const* change, int32_t* truth) {
  return Cross([&] {
    Require(change, "change");
    Require(truth, "truth");
    *truth = ReadBool(change->Value);
  });
}

property_status property_change_choice(property_change const* change, int32_t* number) {
  return Cross([&] {
    Require(change, "change");
    Require(number, "number");
    *number = ReadChoice(change->Value);
  });
}

property_status property_change_text(property_change const* change, char** text, size_t* length) {
  return Cross([&] {
    Require(change, "change");
    GiveText(change->Value.get_AsString(), text, length);
  });
}

void property_free_change(property_change* change) {
  delete change;
}
