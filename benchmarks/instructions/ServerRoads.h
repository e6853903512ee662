// SPDX-License-Identifier: MIT
// What the server does for a change.
#pragma once

namespace Benchmark {

/// Counts the server's instructions for a relaxed change of one value, from the writer's packet to
/// one subscriber's: waiting, receiving, taking, telling. What is stored later, of many changes at
/// once, does not count.
void CountServerRoads();

}  // namespace Benchmark
