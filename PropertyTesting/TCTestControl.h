// SPDX-License-Identifier: MIT
// Starts, stops and changes a test server.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "PropertyTesting/TCTestArrivals.h"
#include "PropertyTesting/TCTestPlace.h"
#include "PropertyTesting/TCTestRun.h"

namespace Property::Testing {

/// What is left of a test server while it is stopped, and its run while it is not. Every operation
/// is safe on every thread but the run's, and throws TCException in a forked child.
class TCTestControl {
 public:
  using TCConfiguration = TCPropertyServer::TCConfiguration;

  TCTestControl(TCMACAddress const& Device, TCConfiguration Configuration);
  TCTestControl(TCTestControl const&) = delete;
  TCTestControl& operator=(TCTestControl const&) = delete;
  /// In a forked child nothing is touched: thread, files and socket are the parent's.
  ~TCTestControl();

  void Start();
  void Stop();
  void LoseValues();
  void Pause();
  void Resume();
  /// The run goes on without any fault.
  void EndFaults();

  /// Runs `Function` in the service's turn. `Operation` says what for, in the exception when there
  /// is no run.
  void Execute(char const* Operation, std::function<void(TCTestService&)> const& Function);
  void HoldAcknowledgements(bool Held);
  void ChangeFaults(std::function<void(TSTestFaults&)> const& Change);
  void SetConfiguration(TCConfiguration Configuration);

  /// Whether this process has not been sent all that was published for it.
  bool IsBehind();
  /// What may be the reason that nothing comes, for a message's end; empty when nothing is.
  std::string DescribeState();
  bool IsRunning();
  bool IsInherited() const;

  std::string const& get_Address() const { return m_Place->get_Address(); }
  TCTestArrivals& get_Arrivals() { return m_Arrivals; }

 private:
  using TCGuard = std::unique_lock<std::mutex>;

  TCGuard Enter();
  TCTestRun& Run(char const* Operation) const;
  void RequireStopped(char const* Operation) const;

  pid_t const m_Process;  // that made it
  std::unique_ptr<TCTestPlace> m_Place;
  TCTestArrivals m_Arrivals;
  std::mutex m_Lock;
  // guarded by m_Lock; while there is a run, also its service's
  TSTestFaults m_Faults;
  // guarded by m_Lock
  TCConfiguration m_Configuration;
  std::unique_ptr<TCTestRun> m_Run;  // null while it is stopped
};

}  // namespace Property::Testing
