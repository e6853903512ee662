// SPDX-License-Identifier: MIT
// The measurements of process_benchmark. Each starts a server of its own, and writes what it has
// measured.
#pragma once

#include <set>
#include <string>

namespace Benchmark {

/// What is measured, and how thoroughly.
struct TSPlan {
  std::string m_ServerProgram;
  bool m_Quick = false;          ///< only to see that it works
  std::set<std::string> m_Only;  ///< names of metrics; empty: all

  bool Wants(std::string const& Metric) const {
    return m_Only.empty() || m_Only.count(Metric) != 0;
  }
  int Choose(int Thorough, int Quick) const { return m_Quick ? Quick : Thorough; }
};

/// What has to be on the disk before other processes are told: see property-server --durability.
constexpr char const* kDurabilities[] = {"relaxed", "full"};

/// The size of the store where the size is not what matters.
constexpr int kUsualSize = 10000;

/// From a set in one process until the notifiers of others hold it: notify, fan_out_100.
void MeasureNotification(TSPlan const& Plan);
void MeasureFanOut(TSPlan const& Plan);

/// Until changes are on the disk and acknowledged: durable_change_1, durable_change_8,
/// durable_transaction_100.
void MeasureDurableChanges(TSPlan const& Plan);
void MeasureDurableTransactions(TSPlan const& Plan);

/// A change by itself: until the set has returned, until its receipt was taken, until that says
/// that it is stored: set_sent, set_with_receipt, set_stored.
void MeasureReceipts(TSPlan const& Plan);

/// From nothing to ready, and the memory it takes: start_up, server_restart, client_memory,
/// server_memory.
void MeasureStarts(TSPlan const& Plan);

/// From the moment a stopped process goes on until it holds what has changed meanwhile:
/// catch_up_100000.
void MeasureCatchUp(TSPlan const& Plan);

}  // namespace Benchmark
