// SPDX-License-Identifier: MIT
// Packs a value's number, device and record into a few bytes.
#include "PropertyInterface/ChangeKey.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/LittleEndian.h"
#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyInterface/ChangeKey";
constexpr std::size_t kDeviceSize = 7;  // bytes of TCMACAddress::get_Bits()
constexpr std::uint64_t kAddressBits = (std::uint64_t{1} << 48U) - 1;
constexpr std::size_t kLinkPlace = kWordSize + kDeviceSize;

}  // namespace

// Number, device, and the record's number where there is one.
std::string ChangeKey(int Number, Accessories::TCRecordID const& Link, TCMACAddress const& MAC) {
  char Bytes[kWordSize + kLongSize + kWordSize] = {};
  StoreWord(Bytes, static_cast<std::uint32_t>(Number));
  StoreLong(Bytes + kWordSize, MAC.get_Bits());
  if (Link.IsNull()) {
    return std::string(Bytes, kLinkPlace);
  }
  StoreWord(Bytes + kLinkPlace, static_cast<std::uint32_t>(Link.get_AsInteger()));
  return std::string(Bytes, kLinkPlace + kWordSize);
}

// The device's address by way of its text, which is what makes one.
TCPropertyKey StoreKey(std::string const& ChangeKey) {
  int const Number = static_cast<int>(LoadWord(ChangeKey.data()));
  TCPropertyID const* const ID = TCPropertyID::Find(Number);
  if (ID == nullptr) {
    throw TCException(kSource, __LINE__).Format("Property ID %d is not defined", Number);
  }
  std::uint64_t const High = LoadWord(&ChangeKey[kLinkPlace - kWordSize]) >> 8U;
  std::uint64_t const Bits = High << 32U | LoadWord(&ChangeKey[kWordSize]);
  char Device[2 * kDeviceSize + 1];
  std::snprintf(Device, sizeof(Device), "%012" PRIX64, Bits & kAddressBits);
  Accessories::TCRecordID Link;
  if (ChangeKey.size() > kLinkPlace) {
    Link = static_cast<int>(LoadWord(&ChangeKey[kLinkPlace]));
  }
  return TCPropertyKey(*ID, Link, Bits == 0 ? TCMACAddress() : TCMACAddress(Device));
}

}  // namespace Property
