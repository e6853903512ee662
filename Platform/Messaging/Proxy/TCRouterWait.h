// SPDX-License-Identifier: MIT
// Tells of a proxy's waiting for its router: to the log, and to who asks why.
#pragma once

#include <chrono>
#include <optional>
#include <string>

/// Logs once that the router has not been reached for some time or refuses, and, after that, once
/// that it is reached. Synchronised by its owner.
class TCRouterWait {
 public:
  using TCClock = std::chrono::steady_clock;

  explicit TCRouterWait(std::string Address);

  /// From now on the router is waited for; nothing happens when it is already.
  void Begin();
  /// An attempt to connect has failed.
  void Fail(std::string Reason);
  /// The router refuses the process.
  void Refuse(std::string Reason);
  /// The router is reached.
  void End();

  /// When Report() is to be called; none when there is nothing to report.
  std::optional<TCClock::time_point> get_ReportTime() const { return m_ReportTime; }
  /// Logs that the waiting takes long.
  void Report();

  /// Why the last attempt failed; empty once the router is reached.
  std::string const& get_Failure() const { return m_Failure; }
  /// Why the router refuses; empty when it does not.
  std::string const& get_Refusal() const { return m_Refusal; }

 private:
  std::string const m_Address;
  bool m_IsWaiting = false;
  bool m_HasLogged = false;         // that it is waiting
  bool m_HasLoggedRefusal = false;  // in this waiting
  std::optional<TCClock::time_point> m_ReportTime;
  std::string m_Failure;
  std::string m_Refusal;
};
