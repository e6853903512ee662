// SPDX-License-Identifier: MIT
// Counts the instructions of an operation under callgrind, which writes one profile for each: its
// trigger is the operation's name and how often it was run.
#pragma once

#include <valgrind/callgrind.h>

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace Benchmark {

/// Runs `Operation` for each of `Targets`, for the first one also unmeasured before, so that what
/// happens at a first call only does not count.
template <class TTarget>
void Count(std::string const& Name, std::vector<TTarget> const& Targets,
           std::function<void(typename std::common_type<TTarget>::type const&)> const& Operation) {
  std::string const Trigger = Name + " " + std::to_string(Targets.size());
  Operation(Targets.front());
  CALLGRIND_ZERO_STATS;
  for (TTarget const& Target : Targets) {
    Operation(Target);
  }
  CALLGRIND_DUMP_STATS_AT(Trigger.c_str());
}

}  // namespace Benchmark
