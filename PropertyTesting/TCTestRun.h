// SPDX-License-Identifier: MIT
// A test server from its start to its end.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "Platform/Messaging/TCNorvMailRouter.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyTesting/TCTestService.h"

namespace Property::Testing {

/// Database, router and service, and the thread that they run on unless they pause. Used by one
/// thread at a time. Refers to faults and arrivals, which must outlive it.
class TCTestRun {
 public:
  /// Serves. Throws TCException when the database can not be opened or nobody can listen at
  /// `Address`.
  TCTestRun(std::string const& Database, std::string const& Address,
            TCPropertyServer::TCConfiguration Configuration, TSTestFaults& Faults,
            TCTestArrivals& Arrivals);
  TCTestRun(TCTestRun const&) = delete;
  TCTestRun& operator=(TCTestRun const&) = delete;
  ~TCTestRun();

  /// Runs `Function` in the service's turn and waits for it, also while the run pauses. What it
  /// throws comes out here.
  void Execute(std::function<void(TCTestService&)> const& Function);
  /// Whether subscribers in this process have not been sent all.
  bool IsBehind();

  void Pause();
  void Resume();
  bool IsPaused() const { return !m_Thread.joinable(); }

 private:
  TCPropertyDatabase m_Database;
  TCNorvMailRouter m_Router;
  TCTestService m_Service;
  std::thread m_Thread;
};

}  // namespace Property::Testing
