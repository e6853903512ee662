// SPDX-License-Identifier: MIT
// Knows whether the test server runs, and hands what is asked of it to its run.
#include "PropertyTesting/TCTestControl.h"

#include <unistd.h>

#include <utility>

#include "Platform/Utility/TCException.h"

namespace Property::Testing {

namespace {

constexpr char kSource[] = "../PropertyTesting/TCTestControl";

}  // namespace

class PROPERTY_SCOPED_LOCK TCTestControl::TCGuard {
 public:
  explicit TCGuard(TCTestControl& Control) PROPERTY_ACQUIRES(Control.m_Lock)
      : m_Lock((Control.RequireOwnProcess(), Control.m_Lock)) {}
  ~TCGuard() PROPERTY_RELEASES() = default;
  TCGuard(TCGuard const&) = delete;
  TCGuard& operator=(TCGuard const&) = delete;

 private:
  TCMutexLock m_Lock;
};

TCTestControl::TCTestControl(TCMACAddress const& Device, TCConfiguration Configuration)
    : m_Process(getpid()),
      m_Place(std::make_unique<TCTestPlace>(Device)),
      m_Configuration(std::move(Configuration)) {
  Start();
}

TCTestControl::~TCTestControl() {
  if (IsInherited()) {
    static_cast<void>(m_Run.release());
    static_cast<void>(m_Place.release());
  }
}

bool TCTestControl::IsInherited() const {
  return m_Process != getpid();
}

void TCTestControl::RequireOwnProcess() const {
  if (IsInherited()) {
    throw TCException(kSource, __LINE__, "m_Process==getpid()")
        .Format("the test server belongs to process %d, of which this is a forked child",
                static_cast<int>(m_Process));
  }
}

TCTestRun& TCTestControl::Run(char const* Operation) const {
  if (!m_Run) {
    throw TCException(kSource, __LINE__, "m_Run!=nullptr")
        .Format("cannot %s: the test server is stopped, call Start() first", Operation);
  }
  return *m_Run;
}

void TCTestControl::RequireStopped(char const* Operation) const {
  if (m_Run) {
    throw TCException(kSource, __LINE__, "m_Run==nullptr")
        .Format("cannot %s: the test server runs, call Stop() first", Operation);
  }
}

// ---- its life ----

void TCTestControl::Start() {
  TCGuard const Guard(*this);
  RequireStopped("start");
  m_Run = std::make_unique<TCTestRun>(m_Place->get_Database(), m_Place->get_Address(),
                                      m_Configuration, m_Faults, m_Arrivals);
}

void TCTestControl::Stop() {
  TCGuard const Guard(*this);
  Run("stop");
  m_Run.reset();
}

void TCTestControl::LoseValues() {
  TCGuard const Guard(*this);
  RequireStopped("lose the values");
  m_Place->RemoveDatabase();
}

void TCTestControl::Pause() {
  TCGuard const Guard(*this);
  TCTestRun& Running = Run("pause");
  if (Running.IsPaused()) {
    throw TCException(kSource, __LINE__, "!IsPaused()")
        .Format("cannot pause: the test server pauses already");
  }
  Running.Pause();
}

void TCTestControl::Resume() {
  TCGuard const Guard(*this);
  TCTestRun& Running = Run("resume");
  if (!Running.IsPaused()) {
    throw TCException(kSource, __LINE__, "IsPaused()")
        .Format("cannot resume: the test server does not pause");
  }
  Running.Resume();
}

void TCTestControl::EndFaults() {
  ChangeFaults([](TSTestFaults& Faults) { Faults = TSTestFaults(); });
  HoldAcknowledgements(false);
  TCGuard const Guard(*this);
  if (m_Run && m_Run->IsPaused()) {
    m_Run->Resume();
  }
}

bool TCTestControl::IsRunning() {
  TCGuard const Guard(*this);
  return m_Run != nullptr;
}

// ---- its turn ----

void TCTestControl::Execute(char const* Operation,
                            std::function<void(TCTestService&)> const& Function) {
  TCGuard const Guard(*this);
  Run(Operation).Execute(Function);
}

void TCTestControl::HoldAcknowledgements(bool Held) {
  ChangeFaults([Held](TSTestFaults& Faults) { Faults.AcknowledgementsHeld = Held; });
  TCGuard const Guard(*this);
  if (m_Run && !Held) {
    m_Run->Execute([](TCTestService& Service) { Service.AcknowledgeHeld(); });
  }
}

void TCTestControl::ChangeFaults(std::function<void(TSTestFaults&)> const& Change) {
  TCGuard const Guard(*this);
  if (m_Run) {
    m_Run->Execute([&](TCTestService const& /*Service*/)
                       PROPERTY_REQUIRES(m_Lock) { Change(m_Faults); });
  } else {
    Change(m_Faults);
  }
}

void TCTestControl::SetConfiguration(TCConfiguration Configuration) {
  TCGuard const Guard(*this);
  if (m_Run) {
    m_Run->Execute([&](TCTestService& Service) { Service.SetConfiguration(Configuration); });
  }
  m_Configuration = std::move(Configuration);
}

bool TCTestControl::IsBehind() {
  TCGuard const Guard(*this);
  return !m_Run || m_Run->IsBehind();
}

std::string TCTestControl::DescribeState() {
  TCGuard const Guard(*this);
  if (!m_Run) {
    return "; the test server is stopped";
  }
  if (m_Run->IsPaused()) {
    return "; the test server pauses";
  }
  bool Held = false;
  m_Run->Execute([&](TCTestService const& /*Service*/)
                     PROPERTY_REQUIRES(m_Lock) { Held = m_Faults.AcknowledgementsHeld; });
  return Held ? "; the test server withholds acknowledgements" : "";
}

}  // namespace Property::Testing
