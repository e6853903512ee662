// SPDX-License-Identifier: MIT
// Compares the temperature with its limit.
#include "TCFanControl.h"

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "FanSchema.h"

namespace Fan {

TCFanControl::TCFanControl() {
  Accessories::TCRecordID const NoRecord;
  auto const OnChange = [](auto const& /*Value*/, auto /*Type*/) { Decide(); };
  m_Temperature = m_Events.On(Prop_Temperature, NoRecord, "", OnChange);
  m_Limit = m_Events.On(Prop_Limit, NoRecord, "", OnChange);
  Decide();
}

void TCFanControl::Decide() {
  int const Temperature = GetProperty(Prop_Temperature).get_AsInteger();
  SetProperty(Prop_Running, Temperature >= GetProperty(Prop_Limit).get_AsInteger() ? 1 : 0);
}

}  // namespace Fan
