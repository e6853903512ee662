// SPDX-License-Identifier: MIT
// Changes of values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PropertyConsole/TCChangeDesk.h"
#include "PropertyConsole/TCChangePlanner.h"
#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TCDryRun.h"
#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TCServerQuestions.h"
#include "PropertyConsole/TSConsoleCounters.h"

namespace Property {

/// The writing routes below /api/v1, for operators and administrators. Each change is logged with
/// the name of who has signed in. Synchronised.
class TCChangeRoutes {
 public:
  TCChangeRoutes(TCConsoleStore const& Store, TCServerQuestions& Server, TCChangeDesk& Desk,
                 TSConsoleCounters& Counters);

  /// Adds its routes, whose handlers use this object. They throw TCServerFailure.
  void AddTo(TCRoutes& Routes);
  /// The same routes without handlers, for who wants to know which there are.
  static TCRoutes Listed();

 private:
  struct TSEntry {
    char const* Path;
    TSAnswer (TCChangeRoutes::*Answer)(TSCall const&);
    bool Changes;  ///< values, where it succeeds
  };

  struct TSJudged {
    TSTransaction Wanted;
    TSViewer Viewer;
    TSChangePlan Plan;
  };

  static std::vector<TSEntry> const& Table();
  TSAnswer AnswerOf(TSEntry const& Entry, TSCall const& Call);
  TSAnswer PostTransaction(TSCall const& Call);
  TSAnswer PostDryRun(TSCall const& Call);
  std::optional<TSJudged> Judge(TSCall const& Call, TSAnswer& Wrong);
  TSAnswer Store(TSCall const& Call, TSJudged const& Judged);
  TSAnswer PostUndo(TSCall const& Call);
  TSAnswer PostConfirm(TSCall const& Call);

  std::vector<TSHistoryEntry> EntriesOf(std::string const& Transaction);
  std::vector<TCPropertyKey> ChangedSince(std::vector<TSHistoryEntry> const& Entries) const;
  TSAnswer StoredAnswer(std::string const& Transaction) const;
  TSAnswer ConflictAnswer(int Status, std::vector<TCPropertyKey> const& Places,
                          TSViewer const& Viewer) const;

  TCConsoleStore const& m_Store;
  TCServerQuestions& m_Server;
  TCChangeDesk& m_Desk;
  TSConsoleCounters& m_Counters;
  TCChangePlanner m_Planner;
  TCDryRun const m_DryRun;
};

}  // namespace Property
