// SPDX-License-Identifier: MIT
// Compares all texts of an exception of the schema.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CaughtException.h"
#include "Platform/Utility/TCException.h"

inline void ExpectException(TCException const& Exception, std::string const& Class,
                            std::string const& Condition, std::string const& Message) {
  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/" + Class);
  EXPECT_GT(Exception.get_Line(), 0);
  EXPECT_EQ(Exception.get_Condition(), Condition);
  EXPECT_EQ(Exception.get_Message(), Message);
}
