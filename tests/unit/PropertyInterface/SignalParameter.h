// SPDX-License-Identifier: MIT
// The signal of a mail as a test's parameter.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

struct TSignal {
  int m_Type;
  int m_Name;
};

inline std::string SignalName(::testing::TestParamInfo<TSignal> const& Info) {
  return "Type" + std::to_string(Info.param.m_Type) + "Name" + std::to_string(Info.param.m_Name);
}

/// As the test's name has it, so that it is not repeated behind the name.
inline void PrintTo(TSignal const& Signal, std::ostream* Stream) {
  *Stream << "Type" << Signal.m_Type << "Name" << Signal.m_Name;
}
