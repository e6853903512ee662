// SPDX-License-Identifier: MIT
// Programs of threads, as the tests put them together.
#pragma once

#include <vector>

#include "tests/model/ModelPlan.h"

constexpr int kShared = 1;
constexpr int kOther = 2;

inline TSModelPlan::TCProgram Sets(std::vector<std::vector<int>> const& Mails) {
  TSModelPlan::TCProgram Program;
  for (std::vector<int> const& Keys : Mails) {
    Program.push_back({Keys});
  }
  return Program;
}

/// The same, where the last mail has that fate.
inline TSModelPlan::TCProgram Sets(std::vector<std::vector<int>> const& Mails,
                                   TSModelPlan::TEFate Last) {
  TSModelPlan::TCProgram Program = Sets(Mails);
  Program.back().m_Fate = Last;
  return Program;
}

/// The same, each on the condition that the values are what was read.
inline TSModelPlan::TCProgram SetsIfUnchanged(std::vector<std::vector<int>> const& Mails) {
  TSModelPlan::TCProgram Program = Sets(Mails);
  for (TSModelPlan::TSSet& Set : Program) {
    Set.m_IfUnchanged = true;
  }
  return Program;
}
