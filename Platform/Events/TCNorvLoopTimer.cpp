// SPDX-License-Identifier: MIT
// Puts a timer among those of its loop, in the order of their times.
#include "Platform/Events/TCNorvLoopTimer.h"

#include <algorithm>
#include <utility>

TCNorvLoopTimer::TCNorvLoopTimer(TCNorvEventLoop& Loop, clockid_t Clock, TCOnTime OnTime,
                                 TEOrder Order)
    : m_Loop(Loop),
      m_Clock(Clock),
      m_Times(Loop.ClockOf(Clock)),
      m_Timers(Order == TEOrder::eImportant ? m_Times.Important : m_Times.Usual),
      m_Function(std::move(OnTime)) {
  TCNorvEventLoop::TCTimers Alone;
  m_Off = Alone.extract(Alone.insert(this));
}

TCNorvLoopTimer::~TCNorvLoopTimer() {
  SwitchOff();
  m_Loop.Forget(this);
}

void TCNorvLoopTimer::SetAt(TCTime Deadline) noexcept {
  SwitchOff();
  m_Deadline = m_Loop.m_Turning ? std::max(Deadline, m_Times.Passed + TCTime(1)) : Deadline;
  m_Place = m_Timers.insert(std::move(m_Off));
}

void TCNorvLoopTimer::SetAfter(TCTime Delay) noexcept {
  TCTime const Present = TCNorvEventLoop::Read(m_Clock);
  SetAt(Delay < TCTime::max() - Present ? Present + Delay : TCTime::max());
}

void TCNorvLoopTimer::SwitchOff() noexcept {
  if (IsSet()) {
    m_Off = m_Timers.extract(m_Place);
  }
}
