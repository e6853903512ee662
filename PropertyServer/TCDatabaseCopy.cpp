// SPDX-License-Identifier: MIT
// Temporary file, sync, rename, sync of the folder.
#include "PropertyServer/TCDatabaseCopy.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCDatabaseCopy";

}  // namespace

TCDatabaseCopy::TCDatabaseCopy(std::string const& Destination)
    : m_Destination(Destination), m_Path(Destination + ".XXXXXX") {
  RequireNoLog();
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
  SyncFolder();
}

// A database in use always has one.
void TCDatabaseCopy::RequireNoLog() const {
  for (char const* const Suffix : {"-wal", "-journal"}) {
    std::string const Log = m_Destination + Suffix;
    if (access(Log.c_str(), F_OK) == 0) {
      throw TCException(kSource, __LINE__, "access(Log.c_str(),F_OK)!=0")
          .Format(
              "cannot replace %s: with its log %s it is a database in use, or one that was not "
              "closed; choose another file",
              m_Destination.c_str(), Log.c_str());
    }
  }
}

void TCDatabaseCopy::SyncFolder() const {
  std::string const Folder = m_Destination.substr(0, m_Destination.rfind('/') + 1);
  int const Opened = open(Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int const Result = Opened < 0 ? -1 : fsync(Opened);
  int const Error = errno;
  if (Opened >= 0) {
    close(Opened);
  }
  if (Result != 0) {
    Fail(Error);
  }
}

void TCDatabaseCopy::Fail(int Error) const {
  throw TCException(kSource, __LINE__, "Result==0")
      .Format("cannot write %s: %s", m_Destination.c_str(),
              std::generic_category().message(Error).c_str());
}

}  // namespace Property
