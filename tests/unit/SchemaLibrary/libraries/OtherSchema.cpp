// SPDX-License-Identifier: MIT
// A second good schema library.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Modem("Modem", 200, "Modem", 9);
Property::TCPropertyID Enabled("Enabled", 201, "Use the modem", 200, 0x08, true);

}  // namespace
