// SPDX-License-Identifier: MIT
// A schema whose override gives a container what only fields have.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyInitOverride.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);

class TCDevice : public Property::TCPropertyInitOverride {
 public:
  TCDevice() : TCPropertyInitOverride(&Device) {}
  void DoInitialize() override { SetFlags(0x10); }
};
TCDevice OverrideOfDevice;

}  // namespace
