// SPDX-License-Identifier: MIT
// Where a router is.
#include "Platform/Messaging/Wire/SocketName.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

std::string Refusal(std::string const& Address) {
  return CaughtException([&] { Wire::SocketName(Address, "nothing is at"); }).get_Message();
}

TEST(SocketName, IsOfTheGivenAddressBeforeTheEnvironments) {
  setenv("MAILROUTER_ADDRESS", "unix:path=/tmp/environment", 1);
  EXPECT_EQ(Wire::RouterAddress("unix:path=/tmp/given"), "unix:path=/tmp/given");
  EXPECT_EQ(Wire::RouterAddress(""), "unix:path=/tmp/environment");
}

TEST(SocketName, IsOfTheSystemsAddressWhereNobodySaysOne) {
  setenv("MAILROUTER_ADDRESS", "", 1);
  EXPECT_EQ(Wire::RouterAddress(""), "unix:path=/run/mailrouter/socket");
  unsetenv("MAILROUTER_ADDRESS");
  EXPECT_EQ(Wire::RouterAddress(""), "unix:path=/run/mailrouter/socket");
}

TEST(SocketName, IsThePathOfTheAddress) {
  sockaddr_un const Name = Wire::SocketName("unix:path=/tmp/a b=c", "nothing is at");
  EXPECT_EQ(Name.sun_family, AF_UNIX);
  EXPECT_STREQ(Name.sun_path, "/tmp/a b=c");
}

TEST(SocketName, HasUpToTheLongestPath) {
  std::string const Longest = "/" + std::string(106, 'x');
  EXPECT_STREQ(Wire::SocketName("unix:path=" + Longest, "nothing is at").sun_path, Longest.c_str());
  EXPECT_EQ(Refusal("unix:path=" + Longest + "x"),
            "nothing is at unix:path=" + Longest +
                "x: the path is longer than the 107 bytes of a socket's name");
}

TEST(SocketName, IsNotOfAnAddressOfAnotherForm) {
  for (char const* const Address :
       {"", "/tmp/a", "unix:", "unix:path=", "unix:path=/a,guid=1", "unix:path=/a;unix:path=/b",
        "unix:path=/%61", "unix:abstract=a", "tcp:host=a", "UNIX:path=/a", " unix:path=/a"}) {
    EXPECT_EQ(Refusal(Address),
              "nothing is at " + std::string(Address) + ": the address must be unix:path=FILE");
  }
}

}  // namespace
