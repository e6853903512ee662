// SPDX-License-Identifier: MIT
// Notices when the names of a database lead to other files than those that are open.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Property {

/// A file whatever its name; another one only once nothing holds this one open any more.
struct TSFileIdentity {
  dev_t Device;
  ino_t Number;

  bool operator==(TSFileIdentity const& Other) const {
    return Device == Other.Device && Number == Other.Number;
  }
};

/// Where a database and its log were when they were opened, and what stands there now. Changes
/// nothing but its own log. Used by one thread.
class TCDatabasePlace {
 public:
  enum class TEState {
    eInPlace,      ///< file and log stand where they stood
    eFileGone,     ///< the file's name is free
    eNewFile,      ///< the new file stands there that is to take the former one's place
    eLogGone,      ///< the file is there, its log is not
    eOtherFile,    ///< another file, or none although the name is not free
    eOtherLog,     ///< another file in the place of the log
    eOtherFolder,  ///< the folder is not the one that it was
    eUnknown       ///< the system does not say, for the reason `Error`
  };
  struct TSFinding {
    TEState State;
    int Error;
  };

  /// `Path` leads to the file with the name `File`, which is open now, as is its log.
  TCDatabasePlace(std::string Path, std::string File);

  /// Needs no memory.
  TSFinding Look() const;
  /// Why nothing can be stored, and what to do; for what Look() finds in the way.
  std::string Describe(TSFinding const& Finding) const;

  /// The log that stands there now is the database's.
  void TakeLog();
  /// This file will take the place of the former one.
  void Expect(TSFileIdentity const& New) { m_New = New; }
  bool IsExpected(TCDatabasePlace const& New) const { return m_New && m_New == New.m_OwnFile; }
  /// Removes the log that belongs to the former file, if it is still there.
  void RemoveLog() const;

  std::string const& get_File() const { return m_File; }
  std::string const& get_Log() const { return m_Log; }

 private:
  TSFinding LookAtLog(TEState WithLog, TEState WithoutLog) const;

  std::string m_Path;
  std::string m_File;
  std::string m_Log;
  std::string m_Folder;
  std::optional<TSFileIdentity> m_OwnFile;
  std::optional<TSFileIdentity> m_OwnLog;
  std::optional<TSFileIdentity> m_OwnFolder;
  std::optional<TSFileIdentity> m_New;
};

}  // namespace Property
