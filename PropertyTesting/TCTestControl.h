// SPDX-License-Identifier: MIT
// Starts, stops and changes a test server.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "Platform/Utility/TCMutex.h"
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
  // Holds m_Lock; refuses a forked child.
  class TCGuard;

  void RequireOwnProcess() const;
  TCTestRun& Run(char const* Operation) const PROPERTY_REQUIRES(m_Lock);
  void RequireStopped(char const* Operation) const PROPERTY_REQUIRES(m_Lock);

  pid_t const m_Process;  // that made it
  std::unique_ptr<TCTestPlace> m_Place;
  TCTestArrivals m_Arrivals;
  TCMutex m_Lock;
  TSTestFaults m_Faults PROPERTY_GUARDED_BY(m_Lock);  // while there is a run, also its service's
  TCConfiguration m_Configuration PROPERTY_GUARDED_BY(m_Lock);
  std::unique_ptr<TCTestRun> m_Run PROPERTY_GUARDED_BY(m_Lock);  // null while it is stopped
};

}  // namespace Property::Testing
