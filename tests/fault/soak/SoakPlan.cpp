// SPDX-License-Identifier: MIT
// Draws a round's clients and faults.
#include "tests/fault/soak/SoakPlan.h"

#include <random>

namespace {

class TCDraw {
 public:
  explicit TCDraw(std::uint64_t Seed) : m_Random(Seed) {}

  std::size_t Below(std::size_t Bound) { return static_cast<std::size_t>(m_Random() % Bound); }
  bool OneIn(std::size_t Chances) { return Below(Chances) == 0; }
  std::chrono::milliseconds Until(std::size_t Longest) {
    return std::chrono::milliseconds(Below(Longest + 1));
  }

 private:
  std::mt19937_64 m_Random;
};

TESoakFault DrawKind(TCDraw& Draw) {
  switch (Draw.Below(10)) {
    case 0:
      return TESoakFault::eKillServer;
    case 1:
    case 2:
      return TESoakFault::eKillBoth;
    case 3:
    case 4:
      return TESoakFault::eKillClient;
    case 5:
      return TESoakFault::eStopServer;
    case 6:
      return TESoakFault::eStopClient;
    default:
      return TESoakFault::eCutClient;
  }
}

}  // namespace

TSSoakPlan TSSoakPlan::Draw(std::uint64_t Seed, unsigned Faults) {
  TCDraw Draw(Seed);
  TSSoakPlan Plan;
  Plan.Seed = Seed;
  Plan.Relaxed = Seed % 2 == 0;
  std::size_t const Writers = 2 + Draw.Below(3);
  for (std::size_t Client = 0; Client < Writers; ++Client) {
    Plan.Clients.push_back({1 + static_cast<int>(Draw.Below(2)), !Draw.OneIn(4)});
  }
  Plan.Clients.push_back({0, true});
  Plan.Clients.push_back({0, false});
  std::chrono::milliseconds Now{0};
  for (unsigned Fault = 0; Fault < Faults; ++Fault) {
    Now += Draw.Until(120);
    TSSoakFault Next;
    Next.Kind = DrawKind(Draw);
    Next.At = Now;
    Next.Length = Draw.OneIn(20) ? Draw.Until(600) : Draw.Until(40);
    Next.Client = Draw.Below(Plan.Clients.size());
    Next.ToRouter = Draw.OneIn(2);
    Next.Bytes = Draw.OneIn(10) ? Draw.Below(70000) : Draw.Below(1000);
    Plan.Faults.push_back(Next);
  }
  Plan.End = Now + Draw.Until(200);
  return Plan;
}

void TSSoakPlan::Stretch(unsigned Factor) {
  End *= Factor;
  for (TSSoakFault& Fault : Faults) {
    Fault.At *= Factor;
    Fault.Length *= Factor;
  }
}
