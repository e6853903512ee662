// SPDX-License-Identifier: MIT
// Keeps threads waiting, and has one of them serve the connection meanwhile.
#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <utility>

#include "Platform/Messaging/TCNorvProxyConnection.h"

TCNorvProxyConnection::TCDeadline TCNorvProxyConnection::DeadlineAfter(int Milliseconds) {
  if (Milliseconds < 0) {
    return std::nullopt;
  }
  return TCClock::now() + std::chrono::milliseconds(Milliseconds);
}

TCNorvProxyConnection::TCDeadline TCNorvProxyConnection::Earlier(TCDeadline Deadline,
                                                                 TCClock::time_point Other) {
  return Deadline ? std::min(*Deadline, Other) : Other;
}

bool TCNorvProxyConnection::WaitUntil(TCLock& Lock, std::function<bool()> const& Condition,
                                      TCDeadline Deadline) {
  bool const Met = PumpUntil(Lock, Condition, Deadline);
  if (m_HeldUntil && !m_Pumping) {
    Transmit();  // nobody may poll for some time
  }
  return Met;
}

bool TCNorvProxyConnection::PumpUntil(TCLock& Lock, std::function<bool()> const& Condition,
                                      TCDeadline Deadline) {
  while (!Condition()) {
    if (m_Closing || (Deadline && TCClock::now() >= *Deadline)) {
      return false;
    }
    if (!m_Pumping) {
      Pump(Lock, Deadline);
    } else if (Deadline) {
      m_Changed.wait_until(Lock, *Deadline);
    } else {
      m_Changed.wait(Lock);
    }
  }
  return true;
}

void TCNorvProxyConnection::Pump(TCLock& Lock, TCDeadline Deadline) {
  m_Pumping = true;
  if (!m_Bus && TCClock::now() >= m_NextAttempt) {
    Connect();
  }
  if (!std::exchange(m_ReadOn, false)) {
    Poll(Lock, Deadline);
  }
  if (m_Bus) {
    ProcessBus();
  }
  if (IsTimeToTransmit()) {
    Transmit();
  }
  if (auto const Time = m_RouterWait.get_ReportTime(); Time && TCClock::now() >= *Time) {
    m_RouterWait.Report();
  }
  m_Pumping = false;
  m_Changed.notify_all();
}

void TCNorvProxyConnection::Poll(TCLock& Lock, TCDeadline Deadline) {
  pollfd Files[2] = {{m_Wake.get(), POLLIN, 0}, {-1, 0, 0}};
  if (m_Bus) {
    Files[1] = {sd_bus_get_fd(m_Bus.get()), static_cast<short>(sd_bus_get_events(m_Bus.get())), 0};
    std::uint64_t Microseconds = UINT64_MAX;
    if (sd_bus_get_timeout(m_Bus.get(), &Microseconds) >= 0 && Microseconds != UINT64_MAX) {
      Deadline = Earlier(Deadline, TCClock::time_point(std::chrono::microseconds(Microseconds)));
    }
  } else {
    Deadline = Earlier(Deadline, m_NextAttempt);
  }
  if (m_HeldUntil) {
    Deadline = Earlier(Deadline, *m_HeldUntil);
  }
  if (m_RetryAt) {
    Deadline = Earlier(Deadline, *m_RetryAt);
  }
  if (auto const Time = m_RouterWait.get_ReportTime()) {
    Deadline = Earlier(Deadline, *Time);
  }
  m_PumpingUntil = Deadline;
  timespec Remaining = {};
  if (Deadline) {
    auto const Nanoseconds = std::max(std::chrono::nanoseconds::zero(),
                                      std::chrono::nanoseconds(*Deadline - TCClock::now()));
    Remaining.tv_sec = static_cast<time_t>(Nanoseconds.count() / 1000000000);
    Remaining.tv_nsec = static_cast<long>(Nanoseconds.count() % 1000000000);
  }
  Lock.unlock();
  ppoll(Files, 2, Deadline ? &Remaining : nullptr, nullptr);
  Lock.lock();
  if ((Files[0].revents & POLLIN) != 0) {
    eventfd_t Ignored = 0;
    eventfd_read(m_Wake.get(), &Ignored);
  }
}

void TCNorvProxyConnection::Wake() {
  eventfd_write(m_Wake.get(), 1);
}
