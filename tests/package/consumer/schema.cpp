// SPDX-License-Identifier: MIT
// A schema for programs that load it.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Device("device", 1, "This device", 1);
Property::TCPropertyID Brightness("brightness", 2, "Display brightness", 1, 0x10, 80);

}  // namespace
