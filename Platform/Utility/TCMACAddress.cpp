// SPDX-License-Identifier: MIT
// The text form of a MAC address, and where this device's own comes from.
#include "Platform/Utility/TCMACAddress.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Platform/Utility/ForkHandlers.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCCriticalSection.h"

namespace {

constexpr std::size_t kBytes = 6;
constexpr std::size_t kPlainLength = 2 * kBytes;
constexpr std::size_t kSeparatedLength = kPlainLength + kBytes - 1;
constexpr char kDigits[] = "0123456789ABCDEF";
constexpr unsigned kNoDigit = 16;
// Ends up above the six bytes, so that an address of all zeros is not the empty one.
constexpr unsigned long long kPresent = 1;

// All is constant-initialised: Own works at any time.
TCCriticalSection OwnSection;
TCMACAddress GivenOwn PROPERTY_GUARDED_BY(OwnSection);
TCMACAddress EnvironmentOwn PROPERTY_GUARDED_BY(OwnSection);
bool EnvironmentRead PROPERTY_GUARDED_BY(OwnSection) = false;
TCMACAddress FoundOwn PROPERTY_GUARDED_BY(OwnSection);

constexpr unsigned DigitValue(char Digit) noexcept {
  if (Digit >= '0' && Digit <= '9') {
    return static_cast<unsigned>(Digit - '0');
  }
  if (Digit >= 'A' && Digit <= 'F') {
    return static_cast<unsigned>(Digit - 'A') + 10;
  }
  if (Digit >= 'a' && Digit <= 'f') {
    return static_cast<unsigned>(Digit - 'a') + 10;
  }
  return kNoDigit;
}

// Takes the environment's address at the first call. A bad text is reported, not obeyed.
void ReadEnvironment() PROPERTY_REQUIRES(OwnSection) {
  if (EnvironmentRead) {
    return;
  }
  EnvironmentRead = true;
  char const* const Text = secure_getenv("PROPERTY_OWN_MAC");
  if (Text == nullptr || *Text == '\0') {
    return;
  }
  EnvironmentOwn = Text;
  if (EnvironmentOwn.Empty()) {
    SyslogWarning("PROPERTY_OWN_MAC is no MAC address (%s)", Text);
  }
}

// The hardware address in `Entry`, null when it has none of a MAC address's length.
sockaddr_ll const* HardwareAddress(ifaddrs const& Entry) noexcept {
  if (Entry.ifa_addr == nullptr || Entry.ifa_addr->sa_family != AF_PACKET) {
    return nullptr;
  }
  void const* const Storage = Entry.ifa_addr;
  auto const* const Address = static_cast<sockaddr_ll const*>(Storage);
  return Address->sll_halen == kBytes ? Address : nullptr;
}

// Whether the interface can stand for the device: tunnels and the like show all zeros.
bool IdentifiesDevice(ifaddrs const& Entry, sockaddr_ll const& Address) noexcept {
  return (Entry.ifa_flags & IFF_LOOPBACK) == 0 &&
         std::any_of(Address.sll_addr, Address.sll_addr + kBytes,
                     [](unsigned char Byte) { return Byte != 0; });
}

// Keeps a process from forking while a thread looks for the address, for good in the child.
void WatchForks() noexcept {
  static bool const Watching = SetForkHandlers(
      TEForkPlace::eDevice, {[]() PROPERTY_UNCHECKED_LOCKING { OwnSection.Enter(); },
                             []() PROPERTY_UNCHECKED_LOCKING { OwnSection.Leave(); },
                             []() PROPERTY_UNCHECKED_LOCKING { OwnSection.LeaveInChild(); }});
  static_cast<void>(Watching);
}

}  // namespace

TCMACAddress::TCMACAddress(std::string const& Text) noexcept : TCMACAddress(Parse(Text)) {}

TCMACAddress& TCMACAddress::operator=(std::string const& Text) noexcept {
  return *this = Parse(Text);
}

TCMACAddress TCMACAddress::Parse(std::string const& Text) noexcept {
  bool const Separated = Text.size() == kSeparatedLength;
  if (!Separated && Text.size() != kPlainLength) {
    return TCMACAddress();
  }
  std::size_t const Step = Separated ? 3 : 2;
  char const* Position = Text.data();
  char const Separator = Separated ? Position[2] : '\0';
  unsigned long long Bits = kPresent;
  for (std::size_t Byte = 0; Byte < kBytes; ++Byte, Position += Step) {
    unsigned const High = DigitValue(Position[0]);
    unsigned const Low = DigitValue(Position[1]);
    bool const Parted = !Separated || Byte == kBytes - 1 || Position[2] == Separator;
    if (High == kNoDigit || Low == kNoDigit || !Parted) {
      return TCMACAddress();
    }
    Bits = Bits << 8 | High << 4 | Low;
  }
  // A digit is no separator: the text would hold more than six bytes.
  if (Separated && DigitValue(Separator) != kNoDigit) {
    return TCMACAddress();
  }
  TCMACAddress Result;
  Result.m_Bits = Bits;
  return Result;
}

TCMACAddress TCMACAddress::FromBytes(unsigned char const* Bytes) noexcept {
  unsigned long long Bits = kPresent;
  for (std::size_t Byte = 0; Byte < kBytes; ++Byte) {
    Bits = Bits << 8 | Bytes[Byte];
  }
  TCMACAddress Result;
  Result.m_Bits = Bits;
  return Result;
}

std::string TCMACAddress::get_AsString(char Separator) const {
  if (Empty()) {
    return std::string();
  }
  char Text[kSeparatedLength];
  char* End = Text;
  for (std::size_t Shift = 8 * kBytes; Shift > 0; Shift -= 8) {
    if (Separator != '\0' && End != Text) {
      *End++ = Separator;
    }
    *End++ = kDigits[m_Bits >> (Shift - 4) & 0xF];
    *End++ = kDigits[m_Bits >> (Shift - 8) & 0xF];
  }
  return std::string(Text, End);
}

TCMACAddress TCMACAddress::OfInterface(std::string const& Interface) {
  ifaddrs* First = nullptr;
  if (getifaddrs(&First) != 0) {
    SyslogWarning("cannot list the network interfaces: %s", std::strerror(errno));
    return TCMACAddress();
  }
  std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> const Entries(First, &freeifaddrs);
  sockaddr_ll const* Best = nullptr;
  for (ifaddrs const* Entry = First; Entry != nullptr; Entry = Entry->ifa_next) {
    sockaddr_ll const* const Address = HardwareAddress(*Entry);
    if (Address == nullptr) {
      continue;
    }
    bool const Wanted =
        Interface.empty() ? IdentifiesDevice(*Entry, *Address) : Interface == Entry->ifa_name;
    if (Wanted && (Best == nullptr || Address->sll_ifindex < Best->sll_ifindex)) {
      Best = Address;
    }
  }
  return Best != nullptr ? FromBytes(Best->sll_addr) : TCMACAddress();
}

TCMACAddress TCMACAddress::Own(std::string const& Interface) {
  WatchForks();
  TCCriticalSectionLock Lock(OwnSection);
  if (!GivenOwn.Empty()) {
    return GivenOwn;
  }
  ReadEnvironment();
  if (!EnvironmentOwn.Empty()) {
    return EnvironmentOwn;
  }
  if (!Interface.empty()) {
    return OfInterface(Interface);
  }
  if (FoundOwn.Empty()) {
    FoundOwn = OfInterface(Interface);
  }
  return FoundOwn;
}

void TCMACAddress::SetOwn(TCMACAddress const& Own) {
  TCCriticalSectionLock Lock(OwnSection);
  GivenOwn = Own;
}
