// SPDX-License-Identifier: MIT
// Stands between configurations and the system's users and groups.
#include "ConfigurationFixture.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <map>
#include <utility>

#include "Platform/Utility/TCException.h"

using Property::TCServerConfiguration;

namespace {

std::map<std::string, unsigned> const kUsers = {{"root", 0}, {"panel", kPanel}};
std::map<std::string, unsigned> const kGroups = {{"property", kProperty},
                                                 {"operators", kOperators}};

std::string s_Removed;            // is not known
std::string s_Broken = "broken";  // can not be looked up

// "large" needs a buffer of 100000 bytes.
template <class TEntry>
int FindFake(std::map<std::string, unsigned> const& Known, char const* Name, TEntry* Entry,
             unsigned TEntry::*Id, std::size_t Size, TEntry** Found) {
  *Found = nullptr;
  std::string const Wanted = Name;
  if (Wanted == s_Broken) {
    return EIO;
  }
  if (Wanted == "endless" || (Wanted == "large" && Size < 100000)) {
    return ERANGE;
  }
  auto const Place = Known.find(Wanted);
  if ((Place == Known.end() && Wanted != "large") || Wanted == s_Removed) {
    return Wanted == "absent" ? ENOENT : 0;
  }
  Entry->*Id = Wanted == "large" ? kOperators : Place->second;
  *Found = Entry;
  return 0;
}

}  // namespace

// In the place of the system's users and groups, so that the tests do not depend on them.
extern "C" int getpwnam_r(char const* Name, passwd* Entry, char* /*Buffer*/, std::size_t Size,
                          passwd** Found) {
  return FindFake(kUsers, Name, Entry, &passwd::pw_uid, Size, Found);
}

extern "C" int getgrnam_r(char const* Name, group* Entry, char* /*Buffer*/, std::size_t Size,
                          group** Found) {
  return FindFake(kGroups, Name, Entry, &group::gr_gid, Size, Found);
}

TSNorvMailSender Sender(uid_t User, gid_t Group, std::vector<gid_t> Groups) {
  TSNorvMailSender Result;
  Result.User = User;
  Result.Group = Group;
  Result.Groups = std::move(Groups);
  return Result;
}

TCServerConfiguration Parse(std::string const& Text) {
  return TCServerConfiguration::Parse(Text, "property.toml");
}

std::string MessageOf(std::function<void()> const& Action) {
  try {
    Action();
  } catch (TCException const& Refused) {
    return Refused.what();
  }
  return "nothing was thrown";
}

std::string Refusal(std::string const& Text) {
  return MessageOf([&Text] { Parse(Text); });
}

std::string Rule(std::string const& Body) {
  return "[[rule]]\nproperties = [100]\n" + Body + "\n";
}

TConfigurationFixture::~TConfigurationFixture() {
  s_Removed.clear();
  s_Broken = "broken";
}

void TConfigurationFixture::Remove(std::string const& Name) {
  s_Removed = Name;
}

void TConfigurationFixture::Break(std::string const& Name) {
  s_Broken = Name;
}
