// SPDX-License-Identifier: MIT
// Hands refusals to the application, or to the log.
#pragma once

#include <functional>
#include <string>

#include "Platform/Utility/TCLogBudget.h"
#include "Platform/Utility/TCMutex.h"
#include "PropertyInterface/TSPropertyRefusal.h"

namespace Property {

/// The handler of the application, and what is logged without one. Lives as long as the process.
/// Every operation is safe on every thread; the handler is called with no lock held.
class TCRefusalTelling {
 public:
  using TCHandler = std::function<void(TSPropertyRefusal const&)>;

  static TCRefusalTelling& Get();

  void SetHandler(TCHandler Handler);
  void Tell(TSPropertyRefusal const& Refusal);
  /// The refused change in one line, as it may stand in a log.
  static std::string Describe(TSPropertyRefusal const& Refusal);

 private:
  TCMutex m_Mutex;
  TCHandler m_Handler PROPERTY_GUARDED_BY(m_Mutex);
  TCLogBudget m_Budget PROPERTY_GUARDED_BY(m_Mutex);
};

}  // namespace Property
