// SPDX-License-Identifier: MIT
// Identifies the device that a property value belongs to.
#pragma once

#include <string>

#include "Platform/PlatformExport.h"

/// A device's MAC address, or empty for "no device". A plain value of eight bytes.
/// All zeros is an address like any other, not the empty one.
/// Objects are not synchronised; the static operations are safe on every thread.
class PROPERTY_PLATFORM_EXPORT TCMACAddress {
 public:
  constexpr TCMACAddress() noexcept = default;
  explicit TCMACAddress(std::string const& Text) noexcept;
  /// Reads twelve hexadecimal digits of either case, plain or with one separator character, the
  /// same everywhere, between the bytes. Any other text gives the empty address.
  TCMACAddress& operator=(std::string const& Text) noexcept;

  constexpr bool Empty() const noexcept { return m_Bits == 0; }
  /// Twelve upper-case digits with `Separator` between the bytes, none when it is '\0'.
  /// The empty address gives the empty text.
  std::string get_AsString(char Separator) const;

  /// A number of 49 bits, another one for each address; 0 for the empty one.
  constexpr unsigned long long get_Bits() const noexcept { return m_Bits; }

  /// The empty address before all others, these by their bytes.
  constexpr bool operator<(TCMACAddress const& Other) const noexcept {
    return m_Bits < Other.m_Bits;
  }
  constexpr bool operator==(TCMACAddress const& Other) const noexcept {
    return m_Bits == Other.m_Bits;
  }
  constexpr bool operator!=(TCMACAddress const& Other) const noexcept {
    return m_Bits != Other.m_Bits;
  }

  /// This device's address: the one given to SetOwn, else the environment's PROPERTY_OWN_MAC, else
  /// the hardware address of the network interface `Interface`; "" takes the first interface, by
  /// its system index, that is no loopback and has an address. Empty when there is none.
  /// The environment is read at the first call; a found address of "" is kept from then on.
  static TCMACAddress Own(std::string const& Interface);
  /// Makes `Own` this device's address for every interface; an empty one ends that. For tests.
  static void SetOwn(TCMACAddress const& Own);

 private:
  static TCMACAddress Parse(std::string const& Text) noexcept;
  static TCMACAddress FromBytes(unsigned char const* Bytes) noexcept;
  static TCMACAddress OfInterface(std::string const& Interface);

  // The six bytes, the first one highest, below a bit that is set unless the address is empty.
  unsigned long long m_Bits = 0;
};
