// SPDX-License-Identifier: MIT
// A schema whose override makes a choice the default that the field does not have.
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Mode("Mode", 4001, "A mode", 4000, 0x10);
Property::TCPropertyChoice On("On", "Always", 40011, true, &Mode, "on");

class TCMode : public Property::TCPropertyInitOverride {
 public:
  TCMode() : TCPropertyInitOverride(&Mode) {}
  void DoInitialize() override { SetDefaultChoice(40019); }
};
TCMode OverrideOfMode;

}  // namespace
