// SPDX-License-Identifier: MIT
// Passwords: which are taken, and what is kept of them.
#include "PropertyConsole/Passwords.h"

#include <gmock/gmock.h>

using Property::CheckPassword;
using Property::HashPassword;
using Property::IsPassword;

TEST(PasswordsTest, AreKeptAsYescryptWithASaltOfTheirOwn) {
  std::string const First = HashPassword("correct horse");

  EXPECT_EQ(First.substr(0, 3), "$y$");
  EXPECT_NE(HashPassword("correct horse"), First);
}

TEST(PasswordsTest, AreKnownByTheirHash) {
  std::string const Hash = HashPassword("correct horse");

  EXPECT_TRUE(IsPassword("correct horse", Hash));
  EXPECT_FALSE(IsPassword("correct horsf", Hash));
  EXPECT_FALSE(IsPassword("", Hash));
}

TEST(PasswordsTest, DoNotEndAtAZeroByte) {
  EXPECT_FALSE(IsPassword(std::string("correct horse\0x", 15), HashPassword("correct horse")));
}

TEST(PasswordsTest, FitNoHashThatIsNone) {
  for (char const* Hash : {"", "*0", "x", "$y$", "$nonsense$", "correct horse"}) {
    EXPECT_FALSE(IsPassword("correct horse", Hash)) << Hash;
  }
}

TEST(PasswordsTest, HaveEightToTwoHundredAndFiftySixBytes) {
  EXPECT_EQ(CheckPassword("12345678"), "");
  EXPECT_EQ(CheckPassword(std::string(256, 'x')), "");
  EXPECT_EQ(CheckPassword("1234567"), "the password is shorter than 8 bytes");
  EXPECT_EQ(CheckPassword(std::string(257, 'x')), "the password is longer than 256 bytes");
  EXPECT_EQ(CheckPassword(std::string("1234567\0", 8)), "the password has a zero byte in it");
}

TEST(PasswordsTest, OfTheGreatestLengthAreKnownToTheLastByte) {
  std::string const Password(256, 'x');
  std::string const Hash = HashPassword(Password);

  EXPECT_TRUE(IsPassword(Password, Hash));
  EXPECT_FALSE(IsPassword(std::string(255, 'x') + "y", Hash));
}
