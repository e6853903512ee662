// SPDX-License-Identifier: MIT
// Listening: at which addresses, and who is heard.
#include "PropertyConsole/TCListener.h"

#include <gtest/gtest.h>

#include "Platform/Utility/TCException.h"

namespace {

using Property::TCListener;

std::string ListenFailure(std::string const& Address, unsigned Port) {
  try {
    TCListener const Listener(Address, Port);
    return "listens";
  } catch (TCException const& Exception) {
    return Exception.get_Message();
  }
}

TEST(TCListenerTest, HasThePortThatTheSystemHasChosen) {
  EXPECT_NE(TCListener("127.0.0.1", 0).get_Port(), 0U);
}

TEST(TCListenerTest, RefusesWhatIsNoAddress) {
  EXPECT_EQ(ListenFailure("local\nhost", 0),
            "cannot listen at local\\nhost: it is no address of numbers, as 127.0.0.1 or ::1");
}

TEST(TCListenerTest, RefusesAPortThatIsTaken) {
  TCListener const First("127.0.0.1", 0);
  unsigned const Port = First.get_Port();

  EXPECT_EQ(
      ListenFailure("127.0.0.1", Port),
      "cannot listen at 127.0.0.1, port " + std::to_string(Port) + ": Address already in use");
}

TEST(TCListenerTest, HasNoConnectionBeforeOneComes) {
  TCListener const Listener("127.0.0.1", 0);
  bool IsFull = true;

  EXPECT_FALSE(Listener.Accept(IsFull).has_value());
  EXPECT_FALSE(IsFull);
}

TEST(TCListenerTest, KnowsTheAddressesOfThisMachine) {
  for (char const* Own : {"127.0.0.1", "127.3.2.1", "::1"}) {
    EXPECT_TRUE(TCListener::IsLoopback(Own)) << Own;
  }
  for (char const* Other : {"0.0.0.0", "::", "192.168.0.1", "128.0.0.1", "localhost", ""}) {
    EXPECT_FALSE(TCListener::IsLoopback(Other)) << Other;
  }
}

TEST(TCListenerTest, TakesANetworkOfManyAddressesForOnePeer) {
  EXPECT_EQ(TCListener::NetworkOf("10.0.0.1"), "10.0.0.1");
  EXPECT_EQ(TCListener::NetworkOf("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
  EXPECT_EQ(TCListener::NetworkOf("::ffff:10.0.0.1"), "::ffff:10.0.0.1");
  EXPECT_EQ(TCListener::NetworkOf(""), "");
}

TEST(TCListenerTest, KnowsWhatIsAnAddress) {
  EXPECT_TRUE(TCListener::IsAddress("10.0.0.1"));
  EXPECT_TRUE(TCListener::IsAddress("fe80::1"));
  EXPECT_FALSE(TCListener::IsAddress("10.0.0"));
  EXPECT_FALSE(TCListener::IsAddress("example.org"));
  EXPECT_FALSE(TCListener::IsAddress(std::string(100000, '1')));
}

}  // namespace
