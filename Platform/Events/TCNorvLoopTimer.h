// SPDX-License-Identifier: MIT
// A time at which an event loop calls a function.
#pragma once

#include <ctime>
#include <functional>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/PlatformExport.h"

/// Has a function called once for each time that it is set. One that is set in a turn, for however
/// early a time, is called in the next one at the earliest if it was called in this one. Belongs to
/// the loop's thread.
class PROPERTY_PLATFORM_EXPORT TCNorvLoopTimer {
 public:
  using TCTime = TCNorvEventLoop::TCTime;
  using TCOnTime = std::function<void()>;
  /// An important timer need not wait until all files have had their turn.
  enum class TEOrder { eUsual, eImportant };

  /// Makes one that is off. `Clock` is CLOCK_MONOTONIC or, when time asleep counts too,
  /// CLOCK_BOOTTIME. Throws TCException for another clock and when the system has no descriptors
  /// left, std::bad_alloc without memory.
  TCNorvLoopTimer(TCNorvEventLoop& Loop, clockid_t Clock, TCOnTime OnTime,
                  TEOrder Order = TEOrder::eUsual);
  TCNorvLoopTimer(TCNorvLoopTimer const&) = delete;
  TCNorvLoopTimer& operator=(TCNorvLoopTimer const&) = delete;
  ~TCNorvLoopTimer();

  /// At a time of its clock. What it was set to before does not count any more.
  void SetAt(TCTime Deadline) noexcept;
  /// So long from the present on, whatever Now() says.
  void SetAfter(TCTime Delay) noexcept;
  void SwitchOff() noexcept;

  bool IsSet() const { return m_Off.empty(); }
  /// What it was last set to.
  TCTime get_Deadline() const { return m_Deadline; }

 private:
  friend class TCNorvEventLoop;

  TCNorvEventLoop& m_Loop;
  clockid_t const m_Clock;
  TCNorvEventLoop::TSClock& m_Times;
  TCNorvEventLoop::TCTimers& m_Timers;
  TCNorvEventLoop::TCTimers::node_type m_Off;  // has what it needs to be set, while it is not
  TCNorvEventLoop::TCTimers::iterator m_Place;
  TCTime m_Deadline{};
  TCOnTime m_Function;
};
