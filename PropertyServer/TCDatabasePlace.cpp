// SPDX-License-Identifier: MIT
// Compares what stands at the names with what stood there.
#include "PropertyServer/TCDatabasePlace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace Property {
namespace {

// Nothing when there is no such file, or `Error` is set.
std::optional<TSFileIdentity> Identify(std::string const& Name, int& Error) {
  struct stat Status {};
  Error = stat(Name.c_str(), &Status) == 0 ? 0 : errno;
  if (Error == 0) {
    return TSFileIdentity{Status.st_dev, Status.st_ino};
  }
  Error = Error == ENOENT || Error == ENOTDIR ? 0 : Error;
  return std::nullopt;
}

std::optional<TSFileIdentity> Identify(std::string const& Name) {
  int Error = 0;
  return Identify(Name, Error);
}

// A link counts, wherever it leads.
bool IsFree(std::string const& Name) {
  struct stat Status {};
  return lstat(Name.c_str(), &Status) != 0 && errno == ENOENT;
}

}  // namespace

TCDatabasePlace::TCDatabasePlace(std::string Path, std::string File)
    : m_Path(std::move(Path)),
      m_File(std::move(File)),
      m_Log(m_File + "-wal"),
      m_Folder(m_File.substr(0, m_File.rfind('/') + 1)),
      m_OwnFile(Identify(m_Path)),
      m_OwnLog(Identify(m_Log)),
      m_OwnFolder(Identify(m_Folder)) {}

TCDatabasePlace::TSFinding TCDatabasePlace::Look() const {
  int Error = 0;
  std::optional<TSFileIdentity> const File = Identify(m_Path, Error);
  if (Error != 0) {
    return {TEState::eUnknown, Error};
  }
  if (File && File == m_OwnFile) {
    return LookAtLog(TEState::eInPlace, TEState::eLogGone);
  }
  if (File) {
    return {File == m_New ? TEState::eNewFile : TEState::eOtherFile, 0};
  }
  std::optional<TSFileIdentity> const Folder = Identify(m_Folder, Error);
  if (Error != 0) {
    return {TEState::eUnknown, Error};
  }
  if (!(Folder == m_OwnFolder)) {
    return {TEState::eOtherFolder, 0};
  }
  return IsFree(m_File) ? LookAtLog(TEState::eFileGone, TEState::eFileGone)
                        : TSFinding{TEState::eOtherFile, 0};
}

TCDatabasePlace::TSFinding TCDatabasePlace::LookAtLog(TEState WithLog, TEState WithoutLog) const {
  int Error = 0;
  std::optional<TSFileIdentity> const Log = Identify(m_Log, Error);
  if (Error != 0) {
    return {TEState::eUnknown, Error};
  }
  if (!Log) {
    return {WithoutLog, 0};
  }
  return {Log == m_OwnLog ? WithLog : TEState::eOtherLog, 0};
}

std::string TCDatabasePlace::Describe(TSFinding const& Finding) const {
  std::string Reason;
  switch (Finding.State) {
    case TEState::eOtherLog:
      Reason = "another file is in the place of its log " + m_Log + "; take that away";
      break;
    case TEState::eOtherFolder:
      Reason = "its folder is gone, or another one is in its place; bring the former one back";
      break;
    case TEState::eUnknown:
      Reason = "its file can not be looked at (" + std::generic_category().message(Finding.Error) +
               "); put that right";
      break;
    default:
      Reason = "another file is in its place; take that away, or bring the former one back";
  }
  return "cannot store in " + m_Path + ": " + Reason +
         ", and storing goes on; property-server --backup saves what is held";
}

void TCDatabasePlace::TakeLog() {
  m_OwnLog = Identify(m_Log);
}

void TCDatabasePlace::RemoveLog() const {
  if (m_OwnLog && Identify(m_Log) == m_OwnLog) {
    unlink(m_Log.c_str());
  }
}

}  // namespace Property
