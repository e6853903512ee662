// SPDX-License-Identifier: MIT
// Puts database, router and service together and turns the router's loop.
#include "PropertyTesting/TCTestRun.h"

#include <unistd.h>

#include <exception>
#include <utility>

#include "Platform/Utility/SystemLog.h"

namespace Property::Testing {

TCTestRun::TCTestRun(std::string const& Database, std::string const& Address,
                     TCPropertyServer::TCConfiguration Configuration, TSTestFaults& Faults,
                     TCTestArrivals& Arrivals)
    : m_Database(Database),
      m_Router(Address),
      m_Service(m_Router, m_Database, std::move(Configuration), Faults, Arrivals) {
  Resume();
}

TCTestRun::~TCTestRun() {
  Pause();
}

void TCTestRun::Execute(std::function<void(TCTestService&)> const& Function) {
  m_Router.Execute([&] { Function(m_Service); });
}

bool TCTestRun::IsBehind() {
  bool Behind = false;
  m_Router.Execute([&] { Behind = m_Router.IsBehind(getpid()); });
  return Behind;
}

void TCTestRun::Pause() {
  if (m_Thread.joinable()) {
    m_Router.Stop();
    m_Thread.join();
  }
}

void TCTestRun::Resume() {
  m_Thread = std::thread([this] {
    try {
      m_Router.Run();
    } catch (std::exception const& Failure) {
      SyslogError("The test server has ended: %s", Failure.what());
    }
  });
}

}  // namespace Property::Testing
