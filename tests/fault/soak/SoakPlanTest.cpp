// SPDX-License-Identifier: MIT
// A seed says all of what happens.
#include "tests/fault/soak/SoakPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

bool IsSame(TSSoakFault const& Left, TSSoakFault const& Right) {
  return Left.Kind == Right.Kind && Left.At == Right.At && Left.Length == Right.Length &&
         Left.Client == Right.Client && Left.ToRouter == Right.ToRouter &&
         Left.Bytes == Right.Bytes;
}

bool IsSame(TSSoakPlan const& Left, TSSoakPlan const& Right) {
  return Left.Relaxed == Right.Relaxed && Left.End == Right.End &&
         std::equal(Left.Faults.begin(), Left.Faults.end(), Right.Faults.begin(),
                    Right.Faults.end(),
                    [](auto const& One, auto const& Other) { return IsSame(One, Other); });
}

}  // namespace

TEST(SoakPlan, IsTheSameForTheSameSeed) {
  EXPECT_TRUE(IsSame(TSSoakPlan::Draw(5, 100), TSSoakPlan::Draw(5, 100)));
}

TEST(SoakPlan, IsAnotherForAnotherSeed) {
  EXPECT_FALSE(IsSame(TSSoakPlan::Draw(5, 100), TSSoakPlan::Draw(7, 100)));
}

TEST(SoakPlan, HasEveryKindOfFault) {
  std::set<TESoakFault> Kinds;
  for (TSSoakFault const& Fault : TSSoakPlan::Draw(1, 200).Faults) {
    Kinds.insert(Fault.Kind);
  }
  EXPECT_EQ(Kinds.size(), 6U);
}

TEST(SoakPlan, HasWritersAndListenersAtBothKindsOfConnection) {
  auto const Clients = TSSoakPlan::Draw(1, 1).Clients;
  auto const Listeners = std::count_if(Clients.begin(), Clients.end(),
                                       [](auto const& Client) { return Client.Streams == 0; });
  EXPECT_EQ(Listeners, 2);
  EXPECT_GE(Clients.size(), 4U);
  EXPECT_FALSE(Clients.back().Relayed);
  EXPECT_TRUE(Clients[Clients.size() - 2].Relayed);
}

TEST(SoakPlan, StretchesItsTimes) {
  TSSoakPlan const Plan = TSSoakPlan::Draw(1, 10);
  TSSoakPlan Stretched = Plan;
  Stretched.Stretch(3);
  EXPECT_EQ(Stretched.End, 3 * Plan.End);
  EXPECT_EQ(Stretched.Faults.back().At, 3 * Plan.Faults.back().At);
  EXPECT_EQ(Stretched.Faults.back().Length, 3 * Plan.Faults.back().Length);
}
