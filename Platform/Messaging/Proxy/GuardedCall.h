// SPDX-License-Identifier: MIT
// Keeps exceptions where they can do no harm.
#pragma once

#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"
#include "Platform/Utility/ThreadAnnotations.h"

/// Logs whatever `Function` throws: it may neither leave a message half read nor pass out of a
/// thread.
template <class TFunction>
void Guarded(char const* Subject, TFunction const& Function) PROPERTY_UNCHECKED_LOCKING {
  try {
    Function();
  } catch (...) {
    LogIfPossible([&] { SyslogError("%s: %s", Subject, FailureText::OfCaught().c_str()); });
  }
}
