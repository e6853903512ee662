// SPDX-License-Identifier: MIT
// Waits for files, times and work, and calls back what is ready.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <set>
#include <vector>

#include "Platform/PlatformExport.h"
#include "Platform/Utility/TCFileDescriptor.h"

class TCLogBudget;
class TCNorvLoopTimer;
class TCNorvLoopWork;
class TCNorvWatchedFile;

/// Calls what is registered with it: TCNorvWatchedFile, TCNorvLoopTimer, TCNorvLoopWork. In a turn
/// are called, in this order and each of them once:
///
/// 1. important timers that are due; those that become due meanwhile also between two files;
/// 2. work that was scheduled for this turn before it began;
/// 3. files that are ready, of very many at once some, the others in the next turns;
/// 4. the other timers that are due;
/// 5. when there was nothing of all this, idle work;
/// 6. when there was, work that is wanted after turns.
///
/// A callback may make, change and destroy whatever is registered, itself too: what has been
/// destroyed, switched off or cancelled is not called any more, although it was ready. It may not
/// turn the loop. What it throws is logged and goes no further: the turn goes on, and it is called
/// again as if it had not thrown.
///
/// Belongs to one thread at a time, and so does all that is registered, which the loop must
/// outlive. A turn needs no memory.
class PROPERTY_PLATFORM_EXPORT TCNorvEventLoop {
 public:
  using TCTime = std::chrono::microseconds;
  static constexpr TCTime kForEver = TCTime::max();

  /// Throws TCException when the system has no descriptors left, std::bad_alloc without memory.
  TCNorvEventLoop();
  TCNorvEventLoop(TCNorvEventLoop const&) = delete;
  TCNorvEventLoop& operator=(TCNorvEventLoop const&) = delete;
  ~TCNorvEventLoop();

  /// Waits at most for `Patience` until there is something to call, and calls it. Returns whether
  /// anything was called; without that also when a signal was handled meanwhile. Throws
  /// TCException, with nothing called, when a callback turns the loop or the system can not wait.
  bool Turn(TCTime Patience = kForEver);

  /// CLOCK_MONOTONIC: in a turn the time at which its waiting ended, otherwise the present.
  TCTime Now() const;

 private:
  friend class TCNorvLoopTimer;
  friend class TCNorvLoopWork;
  friend class TCNorvWatchedFile;

  struct TSEarlier {
    bool operator()(TCNorvLoopTimer const* First, TCNorvLoopTimer const* Second) const;
  };
  using TCTimers = std::multiset<TCNorvLoopTimer*, TSEarlier>;
  using TCWorks = std::list<TCNorvLoopWork*>;

  // The timers of one clock that are set.
  struct TSClock {
    TCTimers Usual;
    TCTimers Important;
    TCTime Passed{};  // what was due then has been called
  };

  // What the kernel knows of a file is the number of its place here, and how often the place was
  // given to another one: what is told of a file that has gone concerns nobody.
  struct TSPlace {
    TCNorvWatchedFile* File = nullptr;
    std::uint32_t Uses = 0;
    std::uint32_t NextFree = 0;
  };

  static constexpr std::size_t kReadyAtOnce = 256;
  static constexpr std::uint32_t kNoPlace = UINT32_MAX;

  static TCTime Read(clockid_t Clock);
  TSClock& ClockOf(clockid_t Clock);
  void RequireBootTimer();
  void WakeForBootTime();
  TCTime LimitOf(TCTime Patience) const;
  int Wait(TCTime Limit);
  bool CallAll(std::size_t Ready);
  bool CallFiles(std::size_t Ready);
  template <class TRead>
  bool CallTimers(TCTimers TSClock::*Order, TRead const& ReadClock);
  bool CallWorks(TCWorks& Works, TCWorks& Then);
  template <class TSource, class... TArguments>
  void Call(TSource& Source, TArguments... Arguments);
  void Forget(void const* Source);
  std::uint32_t Add(TCNorvWatchedFile& File);
  void Remove(std::uint32_t Place);

  TCFileDescriptor const m_Epoll;
  TCFileDescriptor m_BootTimer;  // there is one when there is a timer of that clock
  TCTime m_BootTimerAt{};        // when it wakes the loop; 0 for never
  TSClock m_Monotonic;
  TSClock m_Boot;
  std::vector<TSPlace> m_Places;
  std::uint32_t m_FreePlace = kNoPlace;
  TCWorks m_Resting;
  TCWorks m_NextTurn;
  TCWorks m_AfterTurns;
  TCWorks m_Idle;
  TCWorks m_Due;              // being called
  bool m_WaitsFinely = true;  // to the microsecond, unless the system does not know how
  bool m_Turning = false;
  TCTime m_Now{};                  // of the turn
  void const* m_Called = nullptr;  // what is being called, unless it has been destroyed
  std::array<epoll_event, kReadyAtOnce> m_Ready;
  std::unique_ptr<TCLogBudget> m_LogBudget;
};
