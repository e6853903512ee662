// SPDX-License-Identifier: MIT
// What happens in one round, all of it decided by a number.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

enum class TESoakFault {
  eKillServer,
  eKillClient,
  eKillBoth,
  eStopServer,
  eStopClient,
  eCutClient
};

struct TSSoakFault {
  TESoakFault Kind = TESoakFault::eKillServer;
  std::chrono::milliseconds At{0};      // from the beginning of the round
  std::chrono::milliseconds Length{0};  // of a stop; of a death, until the next start
  std::size_t Client = 0;
  bool ToRouter = false;  // a cut
  std::size_t Bytes = 0;  // pass until the cut
};

struct TSSoakClient {
  int Streams = 0;  // writing threads; none: a listener
  bool Relayed = false;
};

struct TSSoakPlan {
  std::uint64_t Seed = 0;
  bool Relaxed = false;
  std::vector<TSSoakClient> Clients;
  std::vector<TSSoakFault> Faults;  // ordered by time
  std::chrono::milliseconds End{0};

  /// The same for the same arguments, on every machine.
  static TSSoakPlan Draw(std::uint64_t Seed, unsigned Faults);
  /// The same with all times so many times as long, for processes that are so much slower.
  void Stretch(unsigned Factor);
};
