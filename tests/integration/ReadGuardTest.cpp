// SPDX-License-Identifier: MIT
// Transactions of other processes, and of the same one, as threads see them that read under a
// guard.
#include <csignal>
#include <memory>
#include <string>

#include "tests/integration/ProcessFixture.h"

namespace {

using ReadGuard = TProcessFixture;

std::string const kLastPair = "2000";

// The first pair, so that no thread reads before there is one.
std::unique_ptr<TProcess> WithFirstPair(std::unique_ptr<TProcess> Writer) {
  EXPECT_EQ(Writer->Ask("pairs 1"), "counted");
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  return Writer;
}

TEST_F(ReadGuard, SeesEachTransactionOfAnotherProcessWhole) {
  auto const Server = StartServer();
  auto const Writer = WithFirstPair(StartClient());
  auto const Reader = StartClient();
  Reader->Say("halves 2 " + kLastPair);
  EXPECT_EQ(Writer->Ask("pairs " + kLastPair), "counted");
  EXPECT_EQ(Reader->Hear(), "halves 0");
}

TEST_F(ReadGuard, SeesWholeTransactionsOfTwoWritersInTurn) {
  auto const Server = StartServer();
  auto const First = WithFirstPair(StartClient());
  auto const Second = StartClient();
  auto const Reader = StartClient();
  Reader->Say("halves 1 " + kLastPair);
  First->Say("pairs 1000");
  Second->Say("pairs 1000");
  EXPECT_EQ(First->Hear(), "counted");
  EXPECT_EQ(Second->Hear(), "counted");
  EXPECT_EQ(First->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(Second->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(Second->Ask("pairs " + kLastPair), "counted");
  EXPECT_EQ(Reader->Hear(), "halves 0");
}

TEST_F(ReadGuard, SeesWhatAProcessMissedWhole) {
  auto Server = StartServer();
  auto const Writer = WithFirstPair(StartClient());
  auto const Reader = StartClient();
  Reader->Say("halves 2 " + kLastPair);
  Reader->Pause();
  EXPECT_EQ(Writer->Ask("pairs 1000"), "counted");
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  Server->End(SIGKILL);
  Server = StartServer();
  Reader->Continue();
  EXPECT_EQ(Writer->Ask("pairs " + kLastPair), "counted");
  EXPECT_EQ(Reader->Hear(), "halves 0");
}

}  // namespace
