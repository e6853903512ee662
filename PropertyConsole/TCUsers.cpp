// SPDX-License-Identifier: MIT
// Reads the file of users when it has changed.
#include "PropertyConsole/TCUsers.h"

#include <exception>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyConsole/Passwords.h"
#include "PropertyConsole/Tokens.h"

namespace Property {
namespace {

// All zero where there is no file.
struct stat StateOf(std::string const& Path) {
  struct stat State {};
  if (stat(Path.c_str(), &State) != 0) {
    State = {};
  }
  return State;
}

bool AreSameState(struct stat const& Left, struct stat const& Right) {
  return Left.st_dev == Right.st_dev && Left.st_ino == Right.st_ino &&
         Left.st_size == Right.st_size && Left.st_mode == Right.st_mode &&
         Left.st_ctim.tv_sec == Right.st_ctim.tv_sec &&
         Left.st_ctim.tv_nsec == Right.st_ctim.tv_nsec;
}

}  // namespace

TCUsers::TCUsers(std::string Path)
    : m_File(std::move(Path)), m_NobodysHash(HashPassword(MakeToken())) {
  m_File.Load();  // what is wrong with it is told at the start
}

// With m_Lock held. A file that changes while it is read has another state the next time.
void TCUsers::Refresh() {
  struct stat const State = StateOf(m_File.get_Path());
  if (m_IsRead && AreSameState(State, m_Read)) {
    return;
  }
  m_Users.clear();
  m_Read = State;
  m_IsRead = true;
  try {
    m_Users = m_File.Load();
  } catch (std::exception const& Failure) {
    SyslogError("Nobody can sign in: %s", PrintableLine(Failure.what()).c_str());
  }
}

std::optional<TSUser> TCUsers::SignIn(std::string const& Name, std::string const& Password) {
  TCMutexLock const Checking(m_Checking);
  auto User = Find(Name);
  bool const IsRight = IsPassword(Password, User ? User->Hash : m_NobodysHash);
  return IsRight ? User : std::nullopt;
}

std::optional<TSUser> TCUsers::Find(std::string const& Name) {
  TCMutexLock const Lock(m_Lock);
  Refresh();
  auto const Found = m_Users.find(Name);
  return Found != m_Users.end() ? std::optional(Found->second) : std::nullopt;
}

}  // namespace Property
