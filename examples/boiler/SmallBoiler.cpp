// SPDX-License-Identifier: MIT
// What the small model has otherwise: its schema is the common one and this file.
#include "BoilerSchema.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyShowControl.h"

using Property::TCPropertyInitOverride;
using Property::TCPropertyShowControl;

namespace Boiler {

namespace {

class TCSmallFlow : public TCPropertyInitOverride {
 public:
  TCSmallFlow() : TCPropertyInitOverride(&Prop_FlowLimit) {}
  void DoInitialize() override { SetDefaultValue(55); }
};

class TCSmallSeason : public TCPropertyInitOverride {
 public:
  TCSmallSeason() : TCPropertyInitOverride(&Prop_Season) {}
  void DoInitialize() override { SetDefaultChoice(Choice_Summer.get_AsInteger()); }
};

TCSmallFlow SmallFlow;
TCSmallSeason SmallSeason;

TCPropertyShowControl HideWater(&Group_Water, false);

}  // namespace

}  // namespace Boiler
