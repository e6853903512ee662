// SPDX-License-Identifier: MIT
// Values of a choice and a text, with references to choices.
#pragma once

#include <gmock/gmock.h>

#include <string>

#include "CapturedLog.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "ValueSchema.h"

/// The references stay in the process's registry, which does not own them.
struct TCCommonPropertyObjectValidation : ::testing::Test {
  Property::TCCommonPropertyObject NewChoice(std::string const& Data = "") const {
    Property::TCCommonPropertyObject Result(m_Schema.m_Choice, 3, kMAC);
    if (!Data.empty()) {
      Result.SetRealValue(Data);
    }
    return Result;
  }

  Property::TCCommonPropertyObject NewText(std::string const& Data) const {
    Property::TCCommonPropertyObject Result(m_Schema.m_String, 3, kMAC);
    Result.SetRealValue(Data);
    return Result;
  }

  TCapturedLog m_Log;
  TValueSchema m_Schema;
  Property::TCPropertyChoiceID m_OffID{"", 101, "OffID"};
  Property::TCPropertyChoiceID m_OnID{"", 102, "OnID"};
  Property::TCPropertyChoiceID m_StrangerID{"", 501, "StrangerID"};
};
