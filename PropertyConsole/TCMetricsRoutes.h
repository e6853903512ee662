// SPDX-License-Identifier: MIT
// Where programs that watch the console find its figures.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/ConsoleMetrics.h"
#include "PropertyConsole/TCRoutes.h"

namespace Property {

/// The route /metrics. However many ask, the server is asked once a second at most, by one of them;
/// the others get what it said last. Synchronised.
class TCMetricsRoutes {
 public:
  /// `AskFigures` asks the server; it may throw.
  TCMetricsRoutes(
      TSConsoleCounters const& Counters, std::function<TSConsoleGauges()> Gauges,
      std::function<TCServerFigures()> AskFigures,
      TCClock Now = [] { return std::chrono::steady_clock::now(); });

  /// Adds its routes, whose handlers use this object. `IsPublic`: also for who has not signed in.
  void AddTo(TCRoutes& Routes, bool IsPublic);
  /// The same routes without handlers, for who wants to know which there are.
  static TCRoutes Listed();

 private:
  TSAnswer GetMetrics();
  void Refresh();
  std::optional<TCServerFigures> AskServer() const;

  TSConsoleCounters const& m_Counters;
  std::function<TSConsoleGauges()> const m_Gauges;
  std::function<TCServerFigures()> const m_AskFigures;
  TCClock const m_Now;

  TCMutex m_Lock;
  bool m_IsAsking PROPERTY_GUARDED_BY(m_Lock) = false;
  std::optional<std::chrono::steady_clock::time_point> m_Asked PROPERTY_GUARDED_BY(m_Lock);
  std::optional<TCServerFigures> m_Figures PROPERTY_GUARDED_BY(m_Lock);  // as last told
};

}  // namespace Property
