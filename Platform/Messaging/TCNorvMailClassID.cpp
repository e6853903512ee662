// SPDX-License-Identifier: MIT
// Derives the dispatch key of a mail class.
#include "Platform/Messaging/TCNorvMailClassID.h"

#include <cstdint>

namespace {

// FNV-1a, 32 bit (Fowler, Noll, Vo): small, stable, and good enough to tell a handful of classes
// apart. The sign bit is dropped so that the key is never negative.
int DeriveID(std::string const& Name, int Version) {
  constexpr std::uint32_t kOffsetBasis = 2166136261U;
  constexpr std::uint32_t kPrime = 16777619U;
  std::uint32_t Hash = kOffsetBasis;
  for (char Character : Name + '.' + std::to_string(Version)) {
    Hash = (Hash ^ static_cast<unsigned char>(Character)) * kPrime;
  }
  return static_cast<int>(Hash & 0x7fffffffU);
}

}  // namespace

TCNorvMailClassID::TCNorvMailClassID(std::string const& Name, int Version)
    : m_Name(Name), m_Version(Version), m_ID(DeriveID(Name, Version)) {}

bool TCNorvMailClassID::operator==(TCNorvMailClassID const& Right) const {
  return m_Version == Right.m_Version && m_Name == Right.m_Name;
}
