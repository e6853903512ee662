// SPDX-License-Identifier: MIT
// What another file declares about the nodes of the split schema.
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCPropertyShowControl.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"
#include "SplitSchema.h"

using Property::TCPropertyChoice;
using Property::TCPropertyDependency;
using Property::TCPropertyGroup;
using Property::TCPropertyInitOverride;
using Property::TCPropertyLink;
using Property::TCPropertyShowControl;
using Property::TCValidRegexPropertySettings;

namespace {

class TDefault : public TCPropertyInitOverride {
 public:
  TDefault(Property::TCBasicPropertyID* Node, int Value)
      : TCPropertyInitOverride(Node), m_Value(Value) {}
  void DoInitialize() override { SetDefaultValue(m_Value); }

 private:
  int m_Value;
};

}  // namespace

TCPropertyGroup SplitLateGroup("LateGroup", 102, "", false);
TCPropertyChoice SplitOff("Off", "", 111, false, &SplitMode, "off");
TCPropertyChoice SplitOn("On", "", 112, true, &SplitMode, 1);
TCPropertyChoice SplitOfLookup("OfLookup", "", 123, false, &SplitLookup, "x");
TCPropertyDependency SplitDependency(&SplitMode, &SplitOn, 0);

namespace {

TCPropertyLink GroupLink(SplitGroup, SplitDevice);
TCPropertyLink LateGroupLink(SplitLateGroup, SplitDevice);
TDefault Replaced(&SplitCount, 6);
TDefault Seven(&SplitCount, 7);
TCPropertyShowControl HiddenGroup(&SplitGroup, false);
TCValidRegexPropertySettings Replaced2(&SplitName, "^old$");
TCValidRegexPropertySettings Pattern(&SplitName, "^[a-z]+$");
TCValidRegexPropertySettings CountPattern(&SplitCount, "^[0-7]$");

}  // namespace
