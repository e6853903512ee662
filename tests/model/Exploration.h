// SPDX-License-Identifier: MIT
// Walks over all states of a small world.
#pragma once

#include <cstddef>

#include "tests/model/ModelPlan.h"

/// Visits every state that the plan can come to. Throws std::logic_error that begins with the fault
/// and tells the steps that lead to a broken promise; returns the number of states.
std::size_t Explore(TSModelPlan const& Plan);
