// SPDX-License-Identifier: MIT
// Puts figures of console and server together.
#include "PropertyConsole/TCMetricsRoutes.h"

#include <exception>
#include <utility>

namespace Property {
namespace {

constexpr char kMetricsPath[] = "/metrics";
constexpr std::chrono::seconds kFresh{1};

}  // namespace

TCMetricsRoutes::TCMetricsRoutes(TSConsoleCounters const& Counters,
                                 std::function<TSConsoleGauges()> Gauges,
                                 std::function<TCServerFigures()> AskFigures, TCClock Now)
    : m_Counters(Counters),
      m_Gauges(std::move(Gauges)),
      m_AskFigures(std::move(AskFigures)),
      m_Now(std::move(Now)) {}

void TCMetricsRoutes::AddTo(TCRoutes& Routes, bool IsPublic) {
  Routes.Add({"GET", kMetricsPath, IsPublic ? std::nullopt : std::optional(TERole::eViewer),
              [this](TSCall const& /*Call*/) { return GetMetrics(); }});
}

TCRoutes TCMetricsRoutes::Listed() {
  TCRoutes Routes;
  Routes.Add({"GET", kMetricsPath, TERole::eViewer, nullptr});
  return Routes;
}

TSAnswer TCMetricsRoutes::GetMetrics() {
  Refresh();
  TSAnswer Answer;
  Answer.ContentType = "text/plain; version=0.0.4; charset=utf-8";
  Answer.Body = ConsoleMetrics(m_Counters, m_Gauges());
  TCMutexLock const Lock(m_Lock);
  if (m_Figures) {
    Answer.Body += ServerMetrics(*m_Figures);
  }
  return Answer;
}

void TCMetricsRoutes::Refresh() {
  {
    TCMutexLock const Lock(m_Lock);
    if (m_IsAsking || (m_Asked && m_Now() - *m_Asked < kFresh)) {
      return;
    }
    m_IsAsking = true;
  }
  auto Figures = AskServer();
  TCMutexLock const Lock(m_Lock);
  m_Figures = std::move(Figures);
  m_Asked = m_Now();
  m_IsAsking = false;
}

// None where the server does not tell them: old ones would say that all is well.
std::optional<TCServerFigures> TCMetricsRoutes::AskServer() const {
  try {
    return m_AskFigures();
  } catch (std::exception const&) {
    return std::nullopt;
  }
}

}  // namespace Property
