// SPDX-License-Identifier: MIT
// Schema, values and what the server tells of them.
#pragma once

#include <vector>

#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TCServerQuestions.h"

namespace Property {

/// The reading routes below /api/v1. Texts of secrets go to administrators alone. Synchronised.
class TCPropertyRoutes {
 public:
  TCPropertyRoutes(TCConsoleStore const& Store, TCServerQuestions& Server);

  /// Adds its routes, whose handlers use this object. They throw TCServerFailure.
  void AddTo(TCRoutes& Routes) const;
  /// The same routes without handlers, for who wants to know which there are.
  static TCRoutes Listed();

 private:
  struct TSEntry {
    char const* Method;
    char const* Path;
    TSAnswer (TCPropertyRoutes::*Answer)(TSCall const&) const;
  };

  static std::vector<TSEntry> const& Table();
  TSAnswer GetSchema(TSCall const& Call) const;
  TSAnswer GetValues(TSCall const& Call) const;
  TSAnswer GetDevices(TSCall const& Call) const;
  TSAnswer GetStatus(TSCall const& Call) const;
  TSAnswer GetHistory(TSCall const& Call) const;

  TCConsoleStore const& m_Store;
  TCServerQuestions& m_Server;
};

}  // namespace Property
