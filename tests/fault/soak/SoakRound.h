// SPDX-License-Identifier: MIT
// One round: a server and clients, what befalls them, and what is left behind.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/fault/soak/SoakPlan.h"
#include "tests/fault/soak/SoakProcess.h"
#include "tests/fault/soak/SoakRecord.h"
#include "tests/fault/soak/SoakRelay.h"

struct TSSoakPrograms {
  std::string Server;
  std::string Client;
};

/// Runs once, in a folder of its own.
class TSoakRound {
 public:
  TSoakRound(TSSoakPrograms Programs, TSSoakPlan Plan, std::string Folder);

  /// Throws std::runtime_error when a process dies or hangs that nobody has killed or stopped.
  TSSoakRecord Run();

  /// Kills, stops and cuts.
  TSSoakCounts get_Counts() const;

 private:
  using TCTime = std::chrono::steady_clock::time_point;

  std::string File(std::string const& Name) const { return m_Folder + "/" + Name; }
  std::vector<std::string> PortPaths() const;

  void StartServer();
  void StartClient(std::size_t Client);
  void StartAll();

  void SufferFaults();
  void Later(std::chrono::milliseconds Delay, std::function<void()> Action);
  void WaitUntil(std::optional<TCTime> End);
  void Apply(TSSoakFault const& Fault);
  void KillServer(TSSoakFault const& Fault);
  void KillClient(TSSoakFault const& Fault);
  void Cut(TSSoakFault const& Fault);
  TSSoakLife& PresentLife(std::size_t Client);
  void Stop(std::shared_ptr<TSoakProcess> const& Process, std::chrono::milliseconds Length);
  std::uint64_t StoredTransaction() const;

  void Settle();
  void Ask(std::string const& Command, std::string const& Argument);
  void EndAll();
  void ReadDatabase();

  TSSoakPrograms const m_Programs;
  TSSoakPlan const m_Plan;
  std::string const m_Folder;
  TSSoakRecord m_Record;
  TSSoakCounts m_Counts;
  std::unique_ptr<TSoakRelay> m_Relay;
  std::shared_ptr<TSoakProcess> m_Server;
  std::vector<std::shared_ptr<TSoakProcess>> m_Clients;
  std::vector<std::size_t> m_Lives;  // of each client, its present one's number
  std::multimap<TCTime, std::function<void()>> m_Later;
};
