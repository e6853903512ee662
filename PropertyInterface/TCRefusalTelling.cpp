// SPDX-License-Identifier: MIT
// Calls the handler of refusals, or writes a line for each.
#include "PropertyInterface/TCRefusalTelling.h"

#include <exception>
#include <utility>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"

namespace Property {
namespace {

std::string Name(TCPropertyKey const& Key) {
  return Key.get_ID().get_Name() + " (property " + std::to_string(Key.get_ID().get_Number()) +
         (Key.get_Link().IsNull() ? "" : ", record " + Key.get_Link().get_AsString()) +
         (Key.get_MAC().Empty() ? "" : ", device " + Key.get_MAC().get_AsString(':')) + ")";
}

void Call(TCRefusalTelling::TCHandler const& Handler, TSPropertyRefusal const& Refusal) {
  std::string Thrown;
  try {
    Handler(Refusal);
    return;
  } catch (std::exception const& Reason) {
    Thrown = Reason.what();
  } catch (...) {
    Thrown = "it has thrown something that is no exception";
  }
  SyslogError("handler of refused changes: %s", PrintableLine(Thrown).c_str());
}

}  // namespace

TCRefusalTelling& TCRefusalTelling::Get() {
  static auto& Telling = *new TCRefusalTelling;  // in use until the process ends
  return Telling;
}

void TCRefusalTelling::SetHandler(TCHandler Handler) {
  TCMutexLock const Lock(m_Mutex);
  m_Handler = std::move(Handler);
}

void TCRefusalTelling::Tell(TSPropertyRefusal const& Refusal) {
  TCMutexLock Lock(m_Mutex);
  if (TCHandler const Handler = m_Handler) {
    Lock.Leave();
    Call(Handler, Refusal);
  } else if (Refusal.Standing.empty()) {  // else who has made the change waits to hear of it
    LogWithin(m_Budget,
              [&](char const* Note) { SyslogWarning("%s%s", Describe(Refusal).c_str(), Note); });
  }
}

std::string TCRefusalTelling::Describe(TSPropertyRefusal const& Refusal) {
  std::string Names;
  for (TCPropertyKey const& Key : Refusal.Keys) {
    Names += (Names.empty() ? " of " : ", ") + Name(Key);
  }
  return PrintableLine("The server has refused a change" + Names + ": " + Refusal.Reason);
}

}  // namespace Property
