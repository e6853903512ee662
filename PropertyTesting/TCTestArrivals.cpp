// SPDX-License-Identifier: MIT
// Wakes who waits for a mail.
#include "PropertyTesting/TCTestArrivals.h"

#include <algorithm>
#include <limits>

namespace Property::Testing {

TCTestDeadline::TCTestDeadline(int Milliseconds) {
  if (Milliseconds >= 0) {
    m_End = std::chrono::steady_clock::now() + std::chrono::milliseconds(Milliseconds);
  }
}

int TCTestDeadline::get_Remaining() const {
  if (!m_End) {
    return -1;
  }
  auto const Remaining =
      std::chrono::ceil<std::chrono::milliseconds>(*m_End - std::chrono::steady_clock::now());
  return static_cast<int>(
      std::clamp<long long>(Remaining.count(), 0, std::numeric_limits<int>::max()));
}

void TCTestArrivals::Add() {
  TCMutexLock const Guard(m_Lock);
  ++m_Count;
  m_Changed.notify_all();
}

std::uint64_t TCTestArrivals::get_Count() {
  TCMutexLock const Guard(m_Lock);
  return m_Count;
}

bool TCTestArrivals::WaitForMore(std::uint64_t Count, TCTestDeadline const& Deadline) {
  TCMutexLock Guard(m_Lock);
  while (m_Count <= Count) {
    int const Remaining = Deadline.get_Remaining();
    if (Remaining == 0) {
      return false;
    }
    if (Remaining < 0) {
      Guard.Wait(m_Changed);
    } else {
      Guard.WaitUntil(m_Changed,
                      std::chrono::steady_clock::now() + std::chrono::milliseconds(Remaining));
    }
  }
  return true;
}

}  // namespace Property::Testing
