// SPDX-License-Identifier: MIT
// Loads schema libraries and connects, without making the program wait longer than it wants to.
#include "Bindings/C/TCStoreOpening.h"

#include <unistd.h>

#include <chrono>
#include <exception>
#include <thread>

#include "Bindings/C/Border.h"
#include "Platform/Messaging/Proxy/TCSignalsBlocked.h"
#include "Platform/Utility/PrintableText.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "SchemaLibrary/TCSchemaLibraries.h"

namespace Property::C {

namespace {

std::string DescribeLeftOut(TCSchemaLibraries const& Libraries) {
  std::string Lines;
  for (TSSchemaLibrary const& Library : Libraries.get_Libraries()) {
    if (!Library.Loaded) {
      Lines += PrintableLine(Library.File + ": " + Library.Reason) + "\n";
    }
  }
  return Lines;
}

[[noreturn]] void RefuseOther(std::string const& What) {
  throw TCBorderFailure(PROPERTY_OTHER_STORE, "the process has one store, and it has " + What);
}

// Why there is no connection yet, where the library knows.
std::string DescribeWaiting() {
  auto const* const Store = TCPropertyCollectionDriver::get_Instance();
  if (Store == nullptr) {
    return std::string();
  }
  std::string Reason = Store->get_Refusal();
  if (Reason.empty()) {
    Reason = Store->get_Failure();
  }
  return Reason.empty() ? Reason : ": " + Reason;
}

}  // namespace

TCStoreOpening& TCStoreOpening::Get() {
  static TCStoreOpening& Result = *new TCStoreOpening;  // threads use it until the process ends
  return Result;
}

void TCStoreOpening::Open(std::vector<std::string> const* Paths, bool AllDevices, int Timeout) {
  RequireOwnProcess();
  m_Process = getpid();
  TCMutexLock Lock(m_Lock);
  if (m_Names == nullptr) {
    LoadSchema(Paths, AllDevices);
  }
  RequireSame(Paths, AllDevices);
  if (m_Phase == TEPhase::eNone) {
    StartConnecting();
  }
  Wait(Lock, Timeout);
}

// A program that has made its store itself has declared its schema itself.
void TCStoreOpening::LoadSchema(std::vector<std::string> const* Paths, bool AllDevices) {
  if (TCPropertyCollectionDriver::get_Created()) {
    m_AllDevices = !TCPropertyCollectionDriver::get_Instance()->get_OwnMACOnly();
    m_Names = std::make_unique<TCPropertyNames>();
    m_Phase = TEPhase::eOpen;
    return;
  }
  std::vector<std::string> const Named = Paths != nullptr ? *Paths : std::vector<std::string>();
  auto Libraries = std::make_unique<TCSchemaLibraries>(Named);
  Libraries->Load();
  if (!Libraries->HasSchema()) {
    std::string const LeftOut = DescribeLeftOut(*Libraries);
    throw TCBorderFailure(
        PROPERTY_NO_SCHEMA,
        LeftOut.empty()
            ? "there is no schema library; name files or folders, or set PROPERTY_SCHEMA"
            : "no schema library is loaded: " + LeftOut.substr(0, LeftOut.find('\n')));
  }
  m_Names = std::make_unique<TCPropertyNames>();
  m_Paths = Named;
  m_AllDevices = AllDevices;
  m_Libraries = std::move(Libraries);
}

void TCStoreOpening::RequireSame(std::vector<std::string> const* Paths, bool AllDevices) const {
  if (Paths != nullptr && m_Libraries == nullptr) {
    RefuseOther("the program's own schema");
  }
  if (Paths != nullptr && *Paths != m_Paths) {
    RefuseOther("other schema libraries");
  }
  if (AllDevices != m_AllDevices) {
    RefuseOther(m_AllDevices ? "the values of all devices" : "the values of this device only");
  }
}

void TCStoreOpening::StartConnecting() {
  TCSignalsBlocked const Blocked;  // and so are those of the thread
  m_Failure.clear();
  std::thread([this, AllDevices = m_AllDevices] { Connect(AllDevices); }).detach();
  m_Phase = TEPhase::eConnecting;
}

void TCStoreOpening::Connect(bool AllDevices) {
  std::string Failure;
  try {
    if (TCPropertyCollectionDriver::get_Instance() == nullptr) {
      TCPropertyCollectionDriver::Create(!AllDevices);
    } else {
      TCPropertyCollectionDriver::get_Instance()->Fetch();  // where the server had refused that
    }
  } catch (std::exception const& Thrown) {
    Failure = std::string(Thrown.what()) + DescribeWaiting();
  }
  TCMutexLock const Lock(m_Lock);
  m_Phase = Failure.empty() ? TEPhase::eOpen : TEPhase::eNone;
  m_Failure = Failure;
  m_Changed.notify_all();
}

void TCStoreOpening::Wait(TCMutexLock& Lock, int Timeout) {
  auto const End = std::chrono::steady_clock::now() + std::chrono::milliseconds(Timeout);
  while (m_Phase == TEPhase::eConnecting) {
    if (Timeout < 0) {
      Lock.Wait(m_Changed);
    } else if (std::chrono::steady_clock::now() < End) {
      Lock.WaitUntil(m_Changed, End);
    } else {
      throw TCBorderFailure(PROPERTY_TIMED_OUT, "the property server has not answered within " +
                                                    std::to_string(Timeout) + " ms" +
                                                    DescribeWaiting());
    }
  }
  if (m_Phase != TEPhase::eOpen) {
    throw TCBorderFailure(PROPERTY_FAILED, m_Failure);
  }
}

std::string TCStoreOpening::DescribeProblems() {
  TCMutexLock const Lock(m_Lock);
  return m_Libraries != nullptr ? DescribeLeftOut(*m_Libraries) : std::string();
}

std::string TCStoreOpening::ReasonAgainst(TCPropertyID const& Field, std::string const& Data) {
  TCMutexLock const Lock(m_RulesLock);
  return m_Rules.ReasonAgainst(Field, Data);
}

TCValueRules::TSTyped TCStoreOpening::Read(TCPropertyID const& Field, std::string const& Written) {
  TCMutexLock const Lock(m_RulesLock);
  return m_Rules.Read(Field, Written);
}

bool TCStoreOpening::IsInChild() const {
  pid_t const Process = m_Process;
  return Process != 0 && Process != getpid();
}

void TCStoreOpening::RequireOwnProcess() const {
  if (IsInChild()) {
    throw TCBorderFailure(PROPERTY_IN_CHILD,
                          "the store belongs to the process that this one was forked from");
  }
}

}  // namespace Property::C
