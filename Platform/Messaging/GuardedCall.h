// SPDX-License-Identifier: MIT
// Keeps exceptions where they can do no harm.
#pragma once

#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Utility/SystemLog.h"

/// Logs whatever `Function` throws: it may pass neither through the bus library nor out of a
/// thread.
template <class TFunction>
void Guarded(char const* Subject, TFunction const& Function) {
  try {
    Function();
  } catch (...) {
    LogIfPossible([&] { SyslogError("%s: %s", Subject, MailWire::CaughtText().c_str()); });
  }
}
