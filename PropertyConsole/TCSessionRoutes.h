// SPDX-License-Identifier: MIT
// Signing in and out.
#pragma once

#include <string>

#include "PropertyConsole/TCAttemptLimit.h"
#include "PropertyConsole/TCGate.h"
#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TCSessions.h"
#include "PropertyConsole/TCUsers.h"
#include "PropertyConsole/TSConsoleCounters.h"

namespace Property {

/// The routes of /api/v1/session. Synchronised.
class TCSessionRoutes {
 public:
  TCSessionRoutes(TCGate const& Gate, TCSessions& Sessions, TCUsers& Users,
                  TSConsoleCounters& Counters);

  /// Adds its routes, whose handlers use this object.
  void AddTo(TCRoutes& Routes);

 private:
  TSAnswer SignIn(TSCall const& Call);
  TSAnswer Open(std::string const& Name, TSUser const& User, std::string const& Peer);
  TSAnswer SignOut(TSCall const& Call);

  TCGate const& m_Gate;
  TCSessions& m_Sessions;
  TCUsers& m_Users;
  TSConsoleCounters& m_Counters;
  TCAttemptLimit m_ByAddress;
  TCAttemptLimit m_ByUser;
};

}  // namespace Property
