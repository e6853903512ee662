// SPDX-License-Identifier: MIT
// property_soak: rounds of faults until the time is over or something is lost.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

#include "tests/fault/soak/SoakChecker.h"
#include "tests/fault/soak/SoakPlan.h"
#include "tests/fault/soak/SoakRound.h"
#include "tests/support/PrivateFolder.h"

namespace {

struct TSOptions {
  double Minutes = 1;
  unsigned Rounds = std::numeric_limits<unsigned>::max();
  unsigned Faults = 60;
  unsigned Slowness = 1;
  std::uint64_t Seed = 1;
};

// What the round has done; throws when something is wrong.
TSSoakCounts RunRound(TSSoakPlan const& Plan, std::string const& Folder) {
  TSoakRound Round({SERVER_PROGRAM, WORKER_PROGRAM}, Plan, Folder);
  TSSoakRecord const Record = Round.Run();
  TSoakChecker Checker(Record);
  Checker.Check();
  TSSoakCounts Counts = Checker.get_Counts();
  Counts.Add(Round.get_Counts());
  return Counts;
}

int Report(TSSoakPlan const& Plan, std::string const& Folder, TSOptions const& Options,
           std::string const& What) {
  std::printf(
      "seed %llu FAILED: %s\n  evidence: %s\n  again: scripts/soak --seed %llu --rounds 1 "
      "--faults %u --slowness %u\n",
      static_cast<unsigned long long>(Plan.Seed), What.c_str(), Folder.c_str(),
      static_cast<unsigned long long>(Plan.Seed), Options.Faults, Options.Slowness);
  return 1;
}

int Run(TSOptions const& Options) {
  auto const End = std::chrono::steady_clock::now() +
                   std::chrono::milliseconds(static_cast<long long>(Options.Minutes * 60000));
  TSSoakCounts Total;
  unsigned Rounds = 0;
  while (Rounds < Options.Rounds && (Rounds == 0 || std::chrono::steady_clock::now() < End)) {
    TSSoakPlan Plan = TSSoakPlan::Draw(Options.Seed + Rounds, Options.Faults);
    Plan.Stretch(Options.Slowness);
    std::string const Folder = MakePrivateFolder();
    try {
      TSSoakCounts const Counts = RunRound(Plan, Folder);
      std::printf("seed %llu (%s): %s\n", static_cast<unsigned long long>(Plan.Seed),
                  Plan.Relaxed ? "relaxed" : "full", Counts.ToText().c_str());
      std::fflush(stdout);
      Total.Add(Counts);
    } catch (std::exception const& Failure) {
      return Report(Plan, Folder, Options, Failure.what());
    }
    std::filesystem::remove_all(Folder);
    ++Rounds;
  }
  std::printf("%u rounds from seed %llu, nothing lost, doubled, torn or reordered: %s\n", Rounds,
              static_cast<unsigned long long>(Options.Seed), Total.ToText().c_str());
  return 0;
}

}  // namespace

int main(int Count, char** Arguments) {
  signal(SIGPIPE, SIG_IGN);
  TSOptions Options;
  CLI::App App(
      "Kills, stops and cuts a property server and its clients, and checks what they hold.",
      "property_soak");
  App.add_option("--minutes", Options.Minutes, "How long to begin new rounds (default: 1)");
  App.add_option("--rounds", Options.Rounds, "How many rounds at most");
  App.add_option("--faults", Options.Faults, "Faults in each round (default: 60)")
      ->check(CLI::Range(0, 800));
  App.add_option("--slowness", Options.Slowness, "Stretches all times so many times (default: 1)")
      ->check(CLI::Range(1, 100));
  App.add_option("--seed", Options.Seed, "Of the first round; each next one adds 1 (default: 1)");
  CLI11_PARSE(App, Count, Arguments);
  return Run(Options);
}
