// SPDX-License-Identifier: MIT
// Compares the temperature with its limit.
#include "TCFanControl.h"

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "FanSchema.h"

namespace Fan {

TCFanControl::TCFanControl() {
  for (Property::TCPropertyID const* const ID : {&Prop_Temperature, &Prop_Limit, &Prop_Mode}) {
    m_Subscriptions.push_back(m_Events.On(*ID, {}, "", [](auto const&, auto) { Decide(); }));
  }
  Decide();
}

void TCFanControl::Decide() {
  bool const IsHot =
      GetProperty(Prop_Temperature).get_AsInteger() >= GetProperty(Prop_Limit).get_AsInteger();
  bool const IsOn = GetProperty(Prop_Mode) == Choice_On;
  SetProperty(Prop_Running, IsHot || IsOn ? 1 : 0);
}

}  // namespace Fan
