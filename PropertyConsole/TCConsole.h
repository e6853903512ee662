// SPDX-License-Identifier: MIT
// The console: what becomes of a request, from its head to the headers of its answer.
#pragma once

#include <cstddef>
#include <optional>

#include "PropertyConsole/TCGate.h"
#include "PropertyConsole/TCHTTPServer.h"
#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TCSessionRoutes.h"
#include "PropertyConsole/TCSessions.h"
#include "PropertyConsole/TCUsers.h"
#include "PropertyConsole/TSConsoleCounters.h"
#include "PropertyConsole/TSConsoleSettings.h"

namespace Property {

/// Owns users, sessions and routes. Every answer carries the headers that keep a browser from doing
/// with it what is not meant. Synchronised, so that it may answer on several threads.
class TCConsole {
 public:
  /// Throws TCException when the users cannot be read.
  explicit TCConsole(TSConsoleSettings const& Settings);
  TCConsole(TCConsole const&) = delete;
  TCConsole& operator=(TCConsole const&) = delete;

  /// The answer to a request that is refused before its body is read; none to any other.
  std::optional<TSAnswer> Refuse(TSRequest const& Request) const;
  TSAnswer Answer(TSRequest const& Request) const;
  TSAnswer Complain(int Status) const;

  /// These three, for a server.
  TSHTTPHandlers get_Handlers() const;
  TCGate const& get_Gate() const { return m_Gate; }
  TSConsoleCounters& get_Counters() { return m_Counters; }
  std::size_t get_SessionCount() { return m_Sessions.get_Count(); }
  TCRoutes const& get_Routes() const { return m_Routes; }
  /// To add further ones before the console serves.
  TCRoutes& get_Routes() { return m_Routes; }

 private:
  TSAnswer Guard(TSAnswer Answer) const;

  bool const m_IsEncrypted;
  mutable TSConsoleCounters m_Counters;  // of all answers, whoever makes them
  TCUsers m_Users;
  TCSessions m_Sessions;
  TCGate m_Gate;
  TCSessionRoutes m_SessionRoutes;
  TCRoutes m_Routes;
};

}  // namespace Property
