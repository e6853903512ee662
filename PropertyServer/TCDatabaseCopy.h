// SPDX-License-Identifier: MIT
// Brings the copy of a database to its place without ever leaving half a file there.
#pragma once

#include <string>

#include "PropertyServer/TCDatabasePlace.h"

namespace Property {

/// A file under a name of its own in the folder of its destination, removed unless it is put in
/// place. Used by one thread.
class TCDatabaseCopy {
 public:
  /// Throws TCException when the file can not be made, or when the destination is called like a
  /// log.
  explicit TCDatabaseCopy(std::string const& Destination);
  TCDatabaseCopy(TCDatabaseCopy const&) = delete;
  TCDatabaseCopy& operator=(TCDatabaseCopy const&) = delete;
  ~TCDatabaseCopy();

  /// Returns when the image is on the disk. Throws TCException when that fails.
  void Write(std::string const& Image);
  /// Replaces the destination; returns when that would survive a power cut.
  /// Throws TCException, the destination untouched, when it can not be replaced, or when it has a
  /// log: what the log holds would be mixed with the copy.
  void PutInPlace();
  /// Gives the file the destination's name unless that is taken; returns at once. Throws
  /// TCException when it is, or when that fails.
  void PutInEmptyPlace();
  /// Returns when the names in the folder of `File` would survive a power cut. Throws TCException
  /// when that fails.
  static void SyncFolder(std::string const& File);

  TSFileIdentity get_Identity() const;
  std::string const& get_Path() const { return m_Path; }

 private:
  void RequireNoPart() const;
  void RequireNoLog() const;
  [[noreturn]] void Fail(int Error) const;

  std::string const m_Destination;
  std::string m_Path;
  int m_File = -1;
  bool m_InPlace = false;
};

}  // namespace Property
