// SPDX-License-Identifier: MIT
// MAC addresses: text, order, and where the device's own comes from.
#include "Platform/Utility/TCMACAddress.h"

#include <gmock/gmock.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCUtilities.h"
#include "tests/support/ForkedChild.h"

namespace {

static_assert(sizeof(TCMACAddress) == 8);
static_assert(std::is_trivially_copyable_v<TCMACAddress>);
static_assert(std::is_trivially_destructible_v<TCMACAddress>);
static_assert(std::is_constructible_v<TCMACAddress, std::string>);
static_assert(!std::is_convertible_v<std::string, TCMACAddress>);
static_assert(!std::is_convertible_v<char const*, TCMACAddress>);
static_assert(std::is_assignable_v<TCMACAddress&, std::string>);
static_assert(std::is_assignable_v<TCMACAddress&, char const*>);

char const kText[] = "00:1A:2B:3C:4D:FF";
char const kZeros[] = "00:00:00:00:00:00";

std::vector<std::string> Warnings;

void CollectWarning(int, std::string const& Text) {
  Warnings.push_back(Text);
}

struct TCInterface {
  std::string m_Name;
  short m_Flags;
  std::string m_Address;
};

// The interfaces in the order of their index, asked one by one.
std::vector<TCInterface> ListInterfaces() {
  std::vector<TCInterface> Result;
  int const Socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> const Names(if_nameindex(),
                                                                                &if_freenameindex);
  for (struct if_nameindex const* Name = Names.get(); Name != nullptr && Name->if_index != 0;
       ++Name) {
    ifreq Request = {};
    std::strncpy(Request.ifr_name, Name->if_name, IFNAMSIZ - 1);
    if (ioctl(Socket, SIOCGIFFLAGS, &Request) != 0) {
      continue;
    }
    short const Flags = Request.ifr_flags;
    if (ioctl(Socket, SIOCGIFHWADDR, &Request) != 0) {
      continue;
    }
    // Tunnels and the like have addresses of other lengths.
    int const Kind = Request.ifr_hwaddr.sa_family;
    if (Kind != ARPHRD_ETHER && Kind != ARPHRD_LOOPBACK) {
      continue;
    }
    std::string Text;
    for (int Byte = 0; Byte < 6; ++Byte) {
      char Part[4];
      std::snprintf(Part, sizeof Part, ":%02X",
                    static_cast<unsigned>(Request.ifr_hwaddr.sa_data[Byte]) & 0xFFU);
      Text += Part;
    }
    Result.push_back({Name->if_name, Flags, Text.substr(1)});
  }
  close(Socket);
  return Result;
}

}  // namespace

TEST(TCMACAddress, IsEmptyAtFirst) {
  TCMACAddress const Address;
  EXPECT_TRUE(Address.Empty());
  EXPECT_EQ(Address.get_AsString(':'), "");
  EXPECT_EQ(Address.get_AsString('\0'), "");
}

TEST(TCMACAddress, ReadsTextWithAnySeparatorOrNone) {
  for (char const* const Text : {"00:1A:2B:3C:4D:FF", "00-1A-2B-3C-4D-FF", "00.1A.2B.3C.4D.FF",
                                 "00 1A 2B 3C 4D FF", "001A2B3C4DFF"}) {
    EXPECT_EQ(TCMACAddress(Text).get_AsString(':'), kText) << Text;
  }
}

TEST(TCMACAddress, ReadsEveryDigitInBothCases) {
  EXPECT_EQ(TCMACAddress("0123456789ab").get_AsString('\0'), "0123456789AB");
  EXPECT_EQ(TCMACAddress("aBcDeF:").Empty(), true);
  EXPECT_EQ(TCMACAddress("ab:CD:ef:AB:cd:EF").get_AsString(':'), "AB:CD:EF:AB:CD:EF");
}

TEST(TCMACAddress, WritesUpperCaseWithTheSeparator) {
  TCMACAddress const Address("fedcba987654");
  EXPECT_EQ(Address.get_AsString(':'), "FE:DC:BA:98:76:54");
  EXPECT_EQ(Address.get_AsString('-'), "FE-DC-BA-98-76-54");
  EXPECT_EQ(Address.get_AsString('\0'), "FEDCBA987654");
}

TEST(TCMACAddress, AllZerosIsAnAddress) {
  TCMACAddress const Address(kZeros);
  EXPECT_FALSE(Address.Empty());
  EXPECT_EQ(Address.get_AsString(':'), kZeros);
  EXPECT_NE(Address, TCMACAddress());
}

TEST(TCMACAddress, AnyOtherTextGivesTheEmptyAddress) {
  for (char const* const Text : {"",
                                 ":",
                                 "0",
                                 "00:1A:2B:3C:4D",
                                 "00:1A:2B:3C:4D:F",
                                 "00:1A:2B:3C:4D:FF:",
                                 "0:1A:2B:3C:4D:FF0",
                                 "00:1A:2B:3C:4D-FF",
                                 "00:1A:2B:3C:4D:FG",
                                 "G0:1A:2B:3C:4D:FF",
                                 "001A.2B3C.4DFF",
                                 "001A2B3C4DF",
                                 "001A2B3C4DFFF",
                                 "001A2B3C4DFG",
                                 "000000000000000000",
                                 "00000000000000000",
                                 " 0:1A:2B:3C:4D:FF",
                                 "00:1A:2B:3C:4D:FF ",
                                 "00:1A:2B:3C:4D: F",
                                 "00:1A:2B:3C:4D:+F",
                                 "0x1A2B3C4DFF"}) {
    EXPECT_TRUE(TCMACAddress(Text).Empty()) << Text;
  }
}

TEST(TCMACAddress, ReadsBytesAboveAsciiAsNoDigits) {
  EXPECT_TRUE(TCMACAddress("00:1A:2B:3C:4D:F\xE9").Empty());
}

TEST(TCMACAddress, AssigningTextReplacesTheAddress) {
  TCMACAddress Address;
  EXPECT_EQ(&(Address = kText), &Address);
  EXPECT_EQ(Address.get_AsString(':'), kText);
  Address = std::string("00:00:00:00:00:01");
  EXPECT_EQ(Address.get_AsString(':'), "00:00:00:00:00:01");
}

TEST(TCMACAddress, AssigningBadTextMakesItEmpty) {
  TCMACAddress Address(kText);
  Address = "nonsense";
  EXPECT_TRUE(Address.Empty());
  Address = kText;
  Address = "";
  EXPECT_TRUE(Address.Empty());
}

TEST(TCMACAddress, ComparesAddressesAndNotTheirTexts) {
  EXPECT_TRUE(TCMACAddress("00:1a:2b:3c:4d:ff") == TCMACAddress("001A2B3C4DFF"));
  EXPECT_FALSE(TCMACAddress("00:1a:2b:3c:4d:ff") != TCMACAddress("001A2B3C4DFF"));
  EXPECT_TRUE(TCMACAddress("00:1a:2b:3c:4d:ff") != TCMACAddress("00:1a:2b:3c:4d:fe"));
}

TEST(TCMACAddress, OrdersTheEmptyOneFirstThenByBytes) {
  std::set<TCMACAddress> const Addresses = {TCMACAddress("FF:00:00:00:00:00"), TCMACAddress(),
                                            TCMACAddress("00:00:00:00:00:FF"), TCMACAddress(kZeros),
                                            TCMACAddress("01:00:00:00:00:00")};
  std::vector<std::string> Texts;
  for (TCMACAddress const& Address : Addresses) {
    Texts.push_back(Address.get_AsString(':'));
  }
  EXPECT_THAT(Texts, testing::ElementsAre("", kZeros, "00:00:00:00:00:FF", "01:00:00:00:00:00",
                                          "FF:00:00:00:00:00"));
}

TEST(OwnMACAddress, IsTheFirstInterfaceThatIsNoLoopback) {
  unsetenv("PROPERTY_OWN_MAC");
  std::string Expected;
  for (TCInterface const& Interface : ListInterfaces()) {
    if ((Interface.m_Flags & IFF_LOOPBACK) == 0 && Interface.m_Address != kZeros) {
      Expected = Interface.m_Address;
      break;
    }
  }
  EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), Expected);
  EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), Expected);
}

TEST(OwnMACAddress, IsTheNamedInterfaces) {
  unsetenv("PROPERTY_OWN_MAC");
  for (TCInterface const& Interface : ListInterfaces()) {
    EXPECT_EQ(TCMACAddress::Own(Interface.m_Name).get_AsString(':'), Interface.m_Address)
        << Interface.m_Name;
  }
}

TEST(OwnMACAddress, IsEmptyForAnUnknownInterface) {
  unsetenv("PROPERTY_OWN_MAC");
  EXPECT_TRUE(TCMACAddress::Own("nosuchinterface").Empty());
}

TEST(OwnMACAddress, IsTheEnvironmentsForEveryInterface) {
  setenv("PROPERTY_OWN_MAC", "00-1a-2b-3c-4d-ff", 1);
  EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), kText);
  EXPECT_EQ(TCMACAddress::Own("lo").get_AsString(':'), kText);
  EXPECT_EQ(TCMACAddress::Own("nosuchinterface").get_AsString(':'), kText);
}

TEST(OwnMACAddress, ReadsTheEnvironmentOnce) {
  setenv("PROPERTY_OWN_MAC", kText, 1);
  ASSERT_EQ(TCMACAddress::Own("").get_AsString(':'), kText);
  setenv("PROPERTY_OWN_MAC", kZeros, 1);
  EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), kText);
}

TEST(OwnMACAddress, WarnsOnceOfABadEnvironment) {
  setenv("PROPERTY_OWN_MAC", "nonsense", 1);
  SetSyslogSink(CollectWarning);
  EXPECT_TRUE(TCMACAddress::Own("nosuchinterface").Empty());
  TCMACAddress::Own("nosuchinterface");
  EXPECT_THAT(Warnings, testing::ElementsAre("PROPERTY_OWN_MAC is no MAC address (nonsense)"));
}

// The warning is written with the lock held that guards the own address.
TEST(OwnMACAddress, IsThereInTheChildOfAForkWhileAnotherThreadAsksForIt) {
  static std::atomic<bool> Asking{false};
  static std::atomic<bool> Forking{false};
  TCUtilities::GetCurrentThreadID();  // has the library watch forks, so that the test hears first
  ASSERT_EQ(pthread_atfork([] { Forking = true; }, nullptr, nullptr), 0);
  setenv("PROPERTY_OWN_MAC", "nonsense", 1);
  SetSyslogSink([](int, std::string const&) {
    Asking = true;
    for (int Round = 0; Round < 1000 || !Forking; ++Round) {
      std::this_thread::yield();
    }
  });
  std::thread Other([] { TCMACAddress::Own("nosuchinterface"); });
  while (!Asking) {
    std::this_thread::yield();
  }

  TForkedChild Child(
      [] { return "own: " + TCMACAddress::Own("nosuchinterface").get_AsString(':'); }, std::_Exit);

  EXPECT_EQ(Child.Wait(), "own: ");
  Other.join();
}

TEST(OwnMACAddress, AnEmptyEnvironmentIsNone) {
  setenv("PROPERTY_OWN_MAC", "", 1);
  SetSyslogSink(CollectWarning);
  EXPECT_TRUE(TCMACAddress::Own("nosuchinterface").Empty());
  EXPECT_THAT(Warnings, testing::IsEmpty());
}

TEST(OwnMACAddress, CanBeGivenAboveTheEnvironment) {
  setenv("PROPERTY_OWN_MAC", kZeros, 1);
  TCMACAddress::SetOwn(TCMACAddress(kText));
  EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), kText);
  EXPECT_EQ(TCMACAddress::Own("lo").get_AsString(':'), kText);
}

TEST(OwnMACAddress, GivingTheEmptyOneGoesBack) {
  setenv("PROPERTY_OWN_MAC", kZeros, 1);
  TCMACAddress::SetOwn(TCMACAddress(kText));
  TCMACAddress::SetOwn(TCMACAddress());
  EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), kZeros);
}

TEST(OwnMACAddress, IsAlwaysOneOfThoseGivenByOtherThreads) {
  constexpr int kRounds = 1000;
  TCMACAddress const One(kText);
  TCMACAddress const Two(kZeros);
  TCMACAddress::SetOwn(One);
  std::thread Giver([&] {
    for (int Round = 0; Round < kRounds; ++Round) {
      TCMACAddress::SetOwn(Round % 2 == 0 ? Two : One);
    }
  });
  for (int Round = 0; Round < kRounds; ++Round) {
    TCMACAddress const Own = TCMACAddress::Own("");
    EXPECT_TRUE(Own == One || Own == Two);
  }
  Giver.join();
}
