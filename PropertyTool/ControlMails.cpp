// SPDX-License-Identifier: MIT
// Reads and shows who has changed what.
#include "PropertyTool/ControlMails.h"

#include <pwd.h>

#include <array>
#include <nlohmann/json.hpp>

#include "Platform/Utility/TextConversions.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCOutput.h"

namespace Property {
namespace {

constexpr std::size_t kUserBytes = 16384;  // of an entry of the system's users

// Empty where the system has no such user.
std::string NameOfUser(std::string const& Number) {
  bool OK = false;
  long long const User = StringToBigInt(Number, OK);
  passwd Entry = {};
  passwd* Found = nullptr;
  std::array<char, kUserBytes> Buffer{};
  if (!OK ||
      getpwuid_r(static_cast<uid_t>(User), &Entry, Buffer.data(), Buffer.size(), &Found) != 0 ||
      Found == nullptr) {
    return std::string();
  }
  return Entry.pw_name;
}

void SetNumberOrNull(nlohmann::ordered_json& Object, char const* Name, std::string const& Text) {
  bool OK = false;
  long long const Number = StringToBigInt(Text, OK);
  Object[Name] = nullptr;
  if (OK) {
    Object[Name] = Number;
  }
}

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

std::string TSWriter::get_Name() const {
  std::string const UserName = NameOfUser(User);
  std::string const Who = UserName.empty() ? User : UserName;
  return Program.empty() ? Who : Who + " (" + Program + ")";
}

void TSWriter::WriteTo(nlohmann::ordered_json& Object) const {
  SetNumberOrNull(Object, "transaction", Transaction);
  SetTextOrNull(Object, "time", Time > 0 ? std::optional(TimeText(Time)) : std::nullopt);
  SetNumberOrNull(Object, "user", User);
  std::string const UserName = NameOfUser(User);
  SetTextOrNull(Object, "user_name", UserName.empty() ? std::nullopt : std::optional(UserName));
  SetNumberOrNull(Object, "process", Process);
  SetTextOrNull(Object, "program", Program.empty() ? std::nullopt : std::optional(Program));
}

void SetTextOrNull(nlohmann::ordered_json& Object, std::string const& Name,
                   std::optional<std::string> const& Text) {
  if (Text) {
    SetText(Object, Name, *Text);
  } else {
    Object[Name] = nullptr;
  }
}

}  // namespace Property
