// SPDX-License-Identifier: MIT
// Who may sign in, as the file says at this moment.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/TCUserFile.h"

namespace Property {

/// Users of a file that is read again whenever it has changed: who is removed from it is out at
/// once. A file that cannot be read any more lets nobody in, and is logged. Synchronised.
class TCUsers {
 public:
  /// Throws TCException when the file cannot be read.
  explicit TCUsers(std::string Path);

  /// The user whose password that is. Takes as long for an unknown user as for a wrong password,
  /// and one check at a time, so that those who guess do not take the whole machine.
  std::optional<TSUser> SignIn(std::string const& Name, std::string const& Password);
  /// The user as he is now; none when there is none any more.
  std::optional<TSUser> Find(std::string const& Name);

 private:
  void Refresh() PROPERTY_REQUIRES(m_Lock);

  TCUserFile const m_File;
  std::string const m_NobodysHash;  // of a password that nobody knows

  TCMutex m_Checking;  // held while a password is hashed; taken before m_Lock
  TCMutex m_Lock;
  TCUserList m_Users PROPERTY_GUARDED_BY(m_Lock);
  struct stat m_Read PROPERTY_GUARDED_BY(m_Lock) = {};  // of the file as it was read
  bool m_IsRead PROPERTY_GUARDED_BY(m_Lock) = false;
};

}  // namespace Property
