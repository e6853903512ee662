// SPDX-License-Identifier: MIT
// A schema whose override gives a field a default of another type.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Label("Label", 4001, "A text", 4000, 0x20);

class TCLabel : public Property::TCPropertyInitOverride {
 public:
  TCLabel() : TCPropertyInitOverride(&Label) {}
  void DoInitialize() override { SetDefaultValue(5); }
};
TCLabel OverrideOfLabel;

}  // namespace
