// SPDX-License-Identifier: MIT
// Reads who has changed what.
#include "ServerClient/ControlRecords.h"

#include <pwd.h>

#include <array>

#include "Platform/Utility/TextConversions.h"

namespace Property {
namespace {

constexpr std::size_t kUserBytes = 16384;  // of an entry of the system's users

long long ToTime(std::string const& Text) {
  bool OK = false;
  return StringToBigInt(Text, OK);
}

}  // namespace

std::string NumberOfUser(std::string const& Name) {
  passwd Entry = {};
  passwd* Found = nullptr;
  std::array<char, kUserBytes> Buffer{};
  bool const IsRead = getpwnam_r(Name.c_str(), &Entry, Buffer.data(), Buffer.size(), &Found) == 0;
  return IsRead && Found != nullptr ? std::to_string(Entry.pw_uid) : std::string();
}

TSPropertyPlace PlaceOf(TCControlRecord const& Record) {
  return {Record.m_ID, Record.m_Link.get_AsString(), Record.m_MAC.get_AsString()};
}

void SetPlace(TCControlRecord& Record, TSPropertyPlace const& Place) {
  Record.m_ID = Place.Number;
  Record.m_Link.set_AsString(Place.Link);
  Record.m_MAC.set_AsString(Place.MAC);
}

TSWriter::TSWriter(TCControlRecord const& Record)
    : Transaction(Record.m_Transaction.get_AsString()),
      Time(ToTime(Record.m_Time.get_AsString())),
      User(Record.m_User.get_AsString()),
      Process(Record.m_Process.IsAssigned() ? Record.m_Process.get_AsString() : std::string()),
      Program(Record.m_Program.get_AsString()) {}

std::string TSWriter::get_UserName() const {
  bool OK = false;
  long long const Number = StringToBigInt(User, OK);
  passwd Entry = {};
  passwd* Found = nullptr;
  std::array<char, kUserBytes> Buffer{};
  if (!OK ||
      getpwuid_r(static_cast<uid_t>(Number), &Entry, Buffer.data(), Buffer.size(), &Found) != 0 ||
      Found == nullptr) {
    return std::string();
  }
  return Entry.pw_name;
}

std::string TSWriter::get_Name() const {
  std::string const UserName = get_UserName();
  std::string const Who = UserName.empty() ? User : UserName;
  return Program.empty() ? Who : Who + " (" + Program + ")";
}

}  // namespace Property
