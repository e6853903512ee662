// SPDX-License-Identifier: MIT
// What every test of a value starts from: a schema with each kind of field.
#pragma once

#include <gmock/gmock.h>

#include <string>

#include "CapturedLog.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "ValueSchema.h"

struct TCCommonPropertyObjectTest : ::testing::Test {
  static Property::TCCommonPropertyObject NewValue(Property::TCPropertyID const& ID,
                                                   std::string const& Data = "") {
    Property::TCCommonPropertyObject Result(ID, 3, kMAC);
    if (!Data.empty()) {
      Result.SetRealValue(Data);
    }
    return Result;
  }

  TCapturedLog m_Log;
  TValueSchema m_Schema;
};
