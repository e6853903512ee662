// SPDX-License-Identifier: MIT
// Senders are told apart by user and identity together.
#include "Platform/Messaging/TSNorvSenderKey.h"

#include <gtest/gtest.h>

#include <set>

namespace {

TEST(TSNorvSenderKeyTest, TellsUsersOfOneIdentityApart) {
  TSNorvSenderKey const Mine{1001, "identity"};
  TSNorvSenderKey const Yours{1002, "identity"};

  EXPECT_TRUE(Mine != Yours);
  EXPECT_FALSE(Mine == Yours);
  EXPECT_EQ((std::set<TSNorvSenderKey>{Mine, Yours}).size(), 2U);
}

TEST(TSNorvSenderKeyTest, TellsIdentitiesOfOneUserApart) {
  TSNorvSenderKey const One{1001, "one"};
  TSNorvSenderKey const Other{1001, "other"};

  EXPECT_TRUE(One != Other);
  EXPECT_TRUE(One < Other);
  EXPECT_FALSE(Other < One);
}

TEST(TSNorvSenderKeyTest, IsEqualWhenBothAre) {
  TSNorvSenderKey const One{1001, "one"};

  EXPECT_TRUE(One == (TSNorvSenderKey{1001, "one"}));
  EXPECT_FALSE(One != (TSNorvSenderKey{1001, "one"}));
  EXPECT_FALSE(One < (TSNorvSenderKey{1001, "one"}));
}

TEST(TSNorvSenderKeyTest, OrdersByUserFirst) {
  EXPECT_TRUE((TSNorvSenderKey{1, "z"}) < (TSNorvSenderKey{2, "a"}));
  EXPECT_FALSE((TSNorvSenderKey{2, "a"}) < (TSNorvSenderKey{1, "z"}));
}

}  // namespace
