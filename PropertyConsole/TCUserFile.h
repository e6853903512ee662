// SPDX-License-Identifier: MIT
// The file with the users of the console.
#pragma once

#include <map>
#include <string>

#include "PropertyConsole/TERole.h"

namespace Property {

struct TSUser {
  TERole Role = TERole::eViewer;
  std::string Hash;  ///< of the password
};

/// Users by name.
using TCUserList = std::map<std::string, TSUser>;

/// Reads and writes a file of lines "NAME:ROLE:HASH" that only its owner may read. Holds its path
/// alone: who changes the file at the same time, in whatever process, waits. May be used by several
/// threads.
class TCUserFile {
 public:
  explicit TCUserFile(std::string Path) : m_Path(std::move(Path)) {}

  /// What is wrong with a user's name; empty for nothing.
  static std::string CheckName(std::string const& Name);

  /// All users; none where there is no file. Throws TCException, with "FILE:LINE: " where it is a
  /// line's fault, when the file cannot be read, holds something else, or others may read it.
  TCUserList Load() const;
  /// Adds a user. Throws TCException, with the file as it was, when there is one of that name or
  /// the file cannot be written; so does Remove().
  void Add(std::string const& Name, TSUser const& User) const;
  /// Removes a user; throws TCException when there is none of that name.
  void Remove(std::string const& Name) const;

  std::string const& get_Path() const { return m_Path; }

 private:
  class TCFolderLock;

  void Save(TCUserList const& Users) const;

  std::string const m_Path;
};

}  // namespace Property
