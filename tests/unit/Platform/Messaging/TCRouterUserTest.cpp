// SPDX-License-Identifier: MIT
// How a user that makes much work waits, and for how long that is remembered.
#include "Platform/Messaging/Router/TCRouterUser.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t kSecond = 1000000;
constexpr std::uint64_t kMillisecond = 1000;
constexpr std::uint64_t kStart = 100 * kSecond;

TEST(RouterUser, IsNotPausedForWhatTakesNoTime) {
  TCRouterUser User;
  for (int Count = 0; Count < 100000; ++Count) {
    User.Charge(kMillisecond / 4, kStart);
  }
  EXPECT_EQ(User.get_Pause(kStart), 0U);
  EXPECT_TRUE(User.IsRested(kStart));
}

// Else many requests that take a little less would take all of the router's time.
TEST(RouterUser, IsPausedForWhatTakesLessThanAMillisecondAgainAndAgain) {
  TCRouterUser User;
  for (int Count = 0; Count < 1000; ++Count) {
    User.Charge(kMillisecond / 2, kStart);
  }
  EXPECT_GT(User.get_Pause(kStart), 0U);
}

TEST(RouterUser, IsGrantedABurst) {
  TCRouterUser User;
  User.Charge(25 * kMillisecond, kStart);
  EXPECT_EQ(User.get_Pause(kStart), 0U);
  User.Charge(2 * kMillisecond, kStart);
  EXPECT_EQ(User.get_Pause(kStart), 4 * kMillisecond);
}

TEST(RouterUser, IsPausedUntilItHasHadHalfOfTheTime) {
  TCRouterUser User;
  User.Charge(kSecond, kStart);
  std::uint64_t const Pause = User.get_Pause(kStart);
  EXPECT_EQ(Pause, 2 * (kSecond - 25 * kMillisecond));
  EXPECT_EQ(User.get_Pause(kStart + Pause / 2), Pause / 2);
  EXPECT_EQ(User.get_Pause(kStart + Pause), 0U);
  EXPECT_EQ(User.get_Pause(kStart + 1000 * kSecond), 0U);
}

TEST(RouterUser, PaysForEveryPieceOfWork) {
  TCRouterUser User;
  for (int Count = 0; Count < 10; ++Count) {
    User.Charge(20 * kMillisecond, kStart + static_cast<std::uint64_t>(Count) * 20 * kMillisecond);
  }
  // 200 ms of work, half of the 180 ms that have passed since the first of it, and the burst.
  EXPECT_EQ(User.get_Pause(kStart + 180 * kMillisecond), 2 * (200 - 90 - 25) * kMillisecond);
}

TEST(RouterUser, IsTheSameOnAllConnections) {
  TCRouterUsers Users;
  auto const First = Users.Find(1000, kStart);
  EXPECT_EQ(Users.Find(1000, kStart), First);
  EXPECT_NE(Users.Find(1001, kStart), First);
}

TEST(RouterUser, IsNotNewBecauseItComesAgain) {
  TCRouterUsers Users;
  Users.Find(1000, kStart)->Charge(kSecond, kStart);
  for (uid_t Other = 2000; Other < 3000; ++Other) {
    Users.Find(Other, kStart);
  }
  EXPECT_GT(Users.Find(1000, kStart)->get_Pause(kStart), 0U);
}

// The loop's time is that of the beginning of its turn; work ends later.
TEST(RouterUser, IsNotForgottenInTheTurnInWhichItMadeWork) {
  TCRouterUsers Users;
  Users.Find(1000, kStart)->Charge(kSecond, kStart + kSecond);
  for (uid_t Other = 2000; Other < 3000; ++Other) {
    Users.Find(Other, kStart);
  }
  EXPECT_GT(Users.Find(1000, kStart)->get_Pause(kStart + kSecond), 0U);
}

TEST(RouterUser, IsNotNewWhileItsLinesAreWithheld) {
  TCRouterUsers Users;
  while (Users.Find(1000, kStart)->m_LogBudget.Grant()) {
  }
  for (uid_t Other = 2000; Other < 3000; ++Other) {
    Users.Find(Other, kStart);
  }
  EXPECT_NE(Users.Find(1000, kStart)->m_LogBudget.TakeNote(), "");
}

TEST(RouterUser, IsForgottenWhenThatMakesNoDifference) {
  TCRouterUsers Users;
  std::weak_ptr<TCRouterUser> const Gone = Users.Find(1000, kStart);
  std::shared_ptr<TCRouterUser> const Connected = Users.Find(1001, kStart);
  for (uid_t Other = 2000; Other < 3000; ++Other) {
    Users.Find(Other, kStart);
  }
  EXPECT_TRUE(Gone.expired());
  EXPECT_EQ(Users.Find(1001, kStart), Connected);
}

}  // namespace
