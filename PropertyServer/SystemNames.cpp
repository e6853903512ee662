// SPDX-License-Identifier: MIT
// Asks the system for its users and groups.
#include "PropertyServer/SystemNames.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <system_error>

#include "PropertyServer/ParseNumber.h"

namespace Property {

namespace {

constexpr std::size_t kEntryLimit = std::size_t{1} << 20;  // of a user or group

// The highest number stands for no user and no group.
std::optional<unsigned> ParseId(std::string const& Name) {
  std::optional<unsigned> const Id = ParseNumber<unsigned>(Name);
  return Id != std::numeric_limits<unsigned>::max() ? Id : std::nullopt;
}

// Looks up a user or group by name; throws std::system_error when the system can not tell.
template <class TEntry>
std::optional<unsigned> FindId(int (*Find)(char const*, TEntry*, char*, std::size_t, TEntry**),
                               unsigned TEntry::*Id, std::string const& Name) {
  std::string Buffer(1024, '\0');
  TEntry Entry{};
  TEntry* Found = nullptr;
  int Error = Find(Name.c_str(), &Entry, Buffer.data(), Buffer.size(), &Found);
  while (Error == ERANGE && Buffer.size() < kEntryLimit) {
    Buffer.resize(Buffer.size() * 2);
    Error = Find(Name.c_str(), &Entry, Buffer.data(), Buffer.size(), &Found);
  }
  if (Found != nullptr) {
    return Entry.*Id;
  }
  // The values with which the various sources of names say that they do not know one.
  constexpr std::array<int, 5> kUnknown = {0, ENOENT, ESRCH, EBADF, EPERM};
  if (std::find(kUnknown.begin(), kUnknown.end(), Error) == kUnknown.end()) {
    throw std::system_error(Error, std::generic_category());
  }
  return std::nullopt;
}

}  // namespace

std::optional<unsigned> FindUser(std::string const& Name) {
  return IsNumber(Name) ? ParseId(Name) : FindId(getpwnam_r, &passwd::pw_uid, Name);
}

std::optional<unsigned> FindGroup(std::string const& Name) {
  return IsNumber(Name) ? ParseId(Name) : FindId(getgrnam_r, &group::gr_gid, Name);
}

}  // namespace Property
