// SPDX-License-Identifier: MIT
// What the measuring programs of the peers and of the floors have in common: the same values under
// the same keys, and the same number of samples.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Benchmark {

/// How much is measured.
struct TSEffort {
  int m_Batches = 400;   ///< of kBatchCalls calls that take less than a microsecond
  int m_Calls = 5000;    ///< that need no disk
  int m_Changes = 2000;  ///< that another process watches
  int m_Durable = 200;   ///< calls that wait for the disk
  int m_Loads = 9;       ///< of all values
  bool m_Quick = false;  ///< only to see that it works
  std::vector<int> m_Sizes = {10000, 100000};
};

constexpr int kBatchCalls = 500;
constexpr int kTransactionSize = 100;

/// "k000123", from the number of a value.
std::string KeyName(int Index);

/// A text of 12 characters.
std::string ValueText(int Number);

/// Reports the times of the loads of `Size` values, which `LoadMilliseconds` answers one by one.
void ReportLoads(std::string const& Subject, int Size, int Loads,
                 std::function<double()> const& LoadMilliseconds);

/// Runs `Main` with the effort that the command line asks for (`--quick` or nothing) and answers
/// the exit code of the program `Subject`, which measures a peer or a floor.
int RunPeer(int ArgumentCount, char** Arguments, std::string const& Subject,
            std::function<void(TSEffort const&)> const& Main);

}  // namespace Benchmark
