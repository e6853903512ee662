// SPDX-License-Identifier: MIT
// Chooses what of a wait for the router is worth a line.
#include "Platform/Messaging/Proxy/TCRouterWait.h"

#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

constexpr std::chrono::seconds kSilence{2};  // a router that starts again takes less

}  // namespace

TCRouterWait::TCRouterWait(std::string Address) : m_Address(std::move(Address)) {}

void TCRouterWait::Begin() {
  if (!std::exchange(m_IsWaiting, true)) {
    m_ReportTime = TCClock::now() + kSilence;
  }
}

void TCRouterWait::Fail(std::string Reason) {
  m_Failure = std::move(Reason);
  m_Refusal.clear();
}

void TCRouterWait::Refuse(std::string Reason) {
  m_Refusal = std::move(Reason);
  m_ReportTime.reset();
  m_HasLogged = true;
  if (!std::exchange(m_HasLoggedRefusal, true)) {
    LogIfPossible(
        [this] { SyslogError("mail router at %s: %s", m_Address.c_str(), m_Refusal.c_str()); });
  }
}

void TCRouterWait::End() {
  m_IsWaiting = false;
  m_HasLoggedRefusal = false;
  m_ReportTime.reset();
  m_Failure.clear();
  m_Refusal.clear();
  if (std::exchange(m_HasLogged, false)) {
    LogIfPossible([this] { SyslogWarning("mail router at %s: reached", m_Address.c_str()); });
  }
}

void TCRouterWait::Report() {
  m_ReportTime.reset();
  m_HasLogged = true;
  LogIfPossible([this] {
    SyslogWarning("mail router at %s: not reached for %d seconds (%s); it is tried until it is",
                  m_Address.c_str(), static_cast<int>(kSilence.count()), m_Failure.c_str());
  });
}
