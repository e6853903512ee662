// SPDX-License-Identifier: MIT
// The value that a property has now.
#pragma once

#include "PropertyTool/TCToolContext.h"
#include "SchemaLibrary/TSCurrentValue.h"

namespace Property {

/// Asks the server. Where nobody has said whose value is meant, it is this device's own, else that
/// of no device, and `Target` says so from then on. Throws TCToolFailure when the server holds
/// both.
TSCurrentValue AskForCurrent(TCToolContext& Context, TSTarget& Target);

}  // namespace Property
