// SPDX-License-Identifier: MIT
// Temporary file, sync, rename, sync of the folder.
#include "PropertyServer/TCDatabaseCopy.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCDatabaseCopy";

[[noreturn]] void ThrowFailure(std::string const& File, int Error) {
  throw TCException(kSource, __LINE__, "Result==0")
      .Format("cannot write %s: %s", File.c_str(), std::generic_category().message(Error).c_str());
}

}  // namespace

TCDatabaseCopy::TCDatabaseCopy(std::string const& Destination)
    : m_Destination(Destination), m_Path(Destination + ".XXXXXX") {
  RequireNoPart();
  m_File = mkostemp(m_Path.data(), O_CLOEXEC);
  if (m_File < 0) {
    Fail(errno);
  }
}

TCDatabaseCopy::~TCDatabaseCopy() {
  close(m_File);
  if (!m_InPlace) {
    unlink(m_Path.c_str());
  }
}

void TCDatabaseCopy::Write(std::string const& Image) {
  std::size_t Done = 0;
  while (Done < Image.size()) {
    ssize_t const Written = write(m_File, Image.data() + Done, Image.size() - Done);
    if (Written < 0 && errno != EINTR) {
      Fail(errno);
    }
    Done += Written > 0 ? static_cast<std::size_t>(Written) : 0;
  }
  if (fsync(m_File) != 0) {
    Fail(errno);
  }
}

void TCDatabaseCopy::PutInPlace() {
  RequireNoLog();
  if (rename(m_Path.c_str(), m_Destination.c_str()) != 0) {
    Fail(errno);
  }
  m_InPlace = true;
  SyncFolder(m_Destination);
}

// Not every file system can rename without replacing; without that the file has two names for a
// moment.
void TCDatabaseCopy::PutInEmptyPlace() {
  if (renameat2(AT_FDCWD, m_Path.c_str(), AT_FDCWD, m_Destination.c_str(), RENAME_NOREPLACE) == 0) {
    m_InPlace = true;
    return;
  }
  if ((errno != EINVAL && errno != ENOSYS) || link(m_Path.c_str(), m_Destination.c_str()) != 0) {
    Fail(errno);
  }
}

TSFileIdentity TCDatabaseCopy::get_Identity() const {
  struct stat Status {};
  if (fstat(m_File, &Status) != 0) {
    Fail(errno);
  }
  return {Status.st_dev, Status.st_ino};
}

// Whatever the way to it is called, a log has its database's name and this end.
void TCDatabaseCopy::RequireNoPart() const {
  for (std::string const Suffix : {"-wal", "-journal", "-shm"}) {
    if (m_Destination.size() > Suffix.size() &&
        m_Destination.compare(m_Destination.size() - Suffix.size(), Suffix.size(), Suffix) == 0) {
      throw TCException(kSource, __LINE__)
          .Format("cannot write %s: a file of that name belongs to a database; choose another name",
                  m_Destination.c_str());
    }
  }
}

// A database in use always has one. Through a link it is beside the file that the link names.
void TCDatabaseCopy::RequireNoLog() const {
  std::error_code Error;
  std::string const File = std::filesystem::canonical(m_Destination, Error).string();
  for (std::string const& Name : {m_Destination, Error ? m_Destination : File}) {
    for (char const* const Suffix : {"-wal", "-journal"}) {
      std::string const Log = Name + Suffix;
      if (access(Log.c_str(), F_OK) == 0) {
        throw TCException(kSource, __LINE__, "access(Log.c_str(),F_OK)!=0")
            .Format(
                "cannot replace %s: with its log %s it is a database in use, or one that was not "
                "closed; choose another file",
                m_Destination.c_str(), Log.c_str());
      }
    }
  }
}

void TCDatabaseCopy::SyncFolder(std::string const& File) {
  std::string const Folder = File.substr(0, File.rfind('/') + 1);
  int const Opened = open(Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int const Result = Opened < 0 ? -1 : fsync(Opened);
  int const Error = errno;
  if (Opened >= 0) {
    close(Opened);
  }
  if (Result != 0) {
    ThrowFailure(File, Error);
  }
}

void TCDatabaseCopy::Fail(int Error) const {
  ThrowFailure(m_Destination, Error);
}

}  // namespace Property
