// SPDX-License-Identifier: MIT
// Opens the file, or says why not.
#include "PropertyServer/TCPropertyDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Platform/Utility/SystemLog.h"
#include "PropertyServer/SQLiteStatements.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseOpening";

// Why the system opens no file at `Path`. SQLite tries a file that it may not write again for
// reading and keeps the reason of that; so the folder is asked first.
std::string OpeningReason(std::string const& Path, sqlite3* Handle) {
  std::string const Folder = Path.substr(0, Path.rfind('/') + 1);
  int const Reason = faccessat(AT_FDCWD, Folder.c_str(), W_OK, AT_EACCESS) == 0
                         ? sqlite3_system_errno(Handle)
                         : errno;
  return std::generic_category().message(Reason);
}

}  // namespace

// SQLite gives the empty name, ":memory:" and "file:..." a meaning of their own; an absolute path
// is always a file.
std::string TCPropertyDatabase::FileOf(std::string const& Path) {
  if (Path.empty()) {
    throw TCException(kSource, __LINE__, "Path.empty()==false")
        .Format("cannot open the property database: its file name is empty");
  }
  std::error_code Error;
  std::string File = std::filesystem::absolute(Path, Error).string();
  if (Error) {
    throw TCException(kSource, __LINE__, "!Error")
        .Format("cannot open %s: %s", Path.c_str(), Error.message().c_str());
  }
  return File;
}

TCPropertyDatabase::TCPropertyDatabase(std::string const& Path, TSUnmovedLimits const& Unmoved)
    : m_Path(FileOf(Path)), m_UnmovedLimits(Unmoved) {
  RequireLogHasFile();
  TakeFromOthers();
  Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  RequireWritable();
  Execute("PRAGMA synchronous=FULL");
  RequireOwnFile();
  RequireSound("PRAGMA quick_check(1)");
  MakeTables();
  StartWork();
}

void TCPropertyDatabase::StartWork() {
  StartLog();
  PrepareStatements();
  m_SenderTurn = QueryInteger("SELECT coalesce(max(turn), 0) FROM sender");
  m_History = FindHistoryEnd();
  LoadUnmoved();
  m_PageSize = QueryInteger("PRAGMA page_size");
  TakePlace();
}

TCPropertyDatabase::TCPropertyDatabase(std::string const& Path, TSUnchanged /*Unchanged*/)
    : m_Path(FileOf(Path)) {
  RequireLogHasFile();
  RequireNoJournal();
  Open(SQLITE_OPEN_READWRITE);
  Execute("PRAGMA query_only=ON");
  RequireOwnFile();
  RequireSound("PRAGMA integrity_check(1)");
}

// SQLite removes the log of a missing or empty file, and with it the last values.
void TCPropertyDatabase::RequireLogHasFile() const {
  std::error_code Error;
  std::uintmax_t const LogSize = std::filesystem::file_size(m_Path + "-wal", Error);
  if (Error || LogSize == 0) {
    return;
  }
  std::uintmax_t const FileSize = std::filesystem::file_size(m_Path, Error);
  if (Error || FileSize == 0) {
    throw TCException(kSource, __LINE__, "FileSize>0")
        .Format(
            "%s is damaged: it is missing or empty, but its log %s-wal is not; restore a backup "
            "or, to begin with no values, remove the log, nothing was changed",
            m_Path.c_str(), m_Path.c_str());
  }
}

// Values may be confidential, whatever the access rules let others read. A new file is made here,
// so that it is never anybody else's; SQLite gives what it makes beside the file the file's own
// mode.
void TCPropertyDatabase::TakeFromOthers() const {
  int const Made = open(m_Path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (Made >= 0) {
    close(Made);
  }
  for (char const* const Suffix : {"", "-wal", "-journal", "-shm"}) {
    std::string const File = m_Path + Suffix;
    struct stat Status {};
    if (stat(File.c_str(), &Status) == 0 && S_ISREG(Status.st_mode) &&
        (Status.st_mode & (S_IRWXG | S_IRWXO)) != 0 &&
        chmod(File.c_str(), S_IRUSR | S_IWUSR) != 0) {
      SyslogWarning("%s stays open to other users: %s; give it to the user of the server",
                    File.c_str(), std::generic_category().message(errno).c_str());
    }
  }
}

// SQLite undoes an interrupted change of a file without log as soon as it reads it.
void TCPropertyDatabase::RequireNoJournal() const {
  std::error_code Error;
  std::uintmax_t const Size = std::filesystem::file_size(m_Path + "-journal", Error);
  if (!Error && Size > 0) {
    throw TCException(kSource, __LINE__, "Size==0")
        .Format(
            "cannot check %s: its making was interrupted; start the server with it, which undoes "
            "that, and check it again, nothing was changed",
            m_Path.c_str());
  }
}

void TCPropertyDatabase::Open(int Flags) {
  bool const HasLog = access((m_Path + "-wal").c_str(), F_OK) == 0;
  sqlite3* Handle = nullptr;
  int const Result = sqlite3_open_v2(m_Path.c_str(), &Handle, Flags | SQLITE_OPEN_NOMUTEX, nullptr);
  m_Handle.reset(Handle);
  if (Result != SQLITE_OK) {
    FailOpening();
  }
  sqlite3_extended_result_codes(Handle, 1);
  // The log of a file that is refused, or only checked, is left alone when the file is closed; but
  // one that there was not goes again.
  sqlite3_db_config(Handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, HasLog ? 1 : 0, nullptr);
  Execute("PRAGMA locking_mode=EXCLUSIVE");
}

void TCPropertyDatabase::RequireWritable() const {
  if (sqlite3_db_readonly(m_Handle.get(), "main") == 1) {
    throw TCException(kSource, __LINE__, "sqlite3_db_readonly(m_Handle.get(),\"main\")!=1")
        .Format("cannot open %s: it is read-only; check that this user may write it",
                m_Path.c_str());
  }
}

void TCPropertyDatabase::RequireSound(char const* Examination) const {
  std::string Finding = QueryText(Examination);
  if (Finding != "ok") {
    RequireReadable();
    Finding = QueryText(Examination);
  }
  if (Finding != "ok") {
    std::replace(Finding.begin(), Finding.end(), '\n', ' ');
    throw TCException(kSource, __LINE__, "Finding==\"ok\"")
        .Format("%s is damaged: %s; restore a backup, nothing was changed", m_Path.c_str(),
                Finding.c_str());
  }
}

// A page that can not be read is a finding like any other, but no reason to restore a backup.
void TCPropertyDatabase::RequireReadable() const {
  std::vector<char> Bytes(std::size_t{1} << 16);
  for (int const Which : {SQLITE_FCNTL_FILE_POINTER, SQLITE_FCNTL_JOURNAL_POINTER}) {
    sqlite3_file* const File = OpenFile(Which);
    sqlite3_int64 Size = 0;
    int Result = File != nullptr ? File->pMethods->xFileSize(File, &Size) : SQLITE_OK;
    auto const Step = static_cast<sqlite3_int64>(Bytes.size());
    for (sqlite3_int64 Place = 0; Place < Size && Result == SQLITE_OK; Place += Step) {
      auto const Count = static_cast<int>(std::min(Step, Size - Place));
      Result = File->pMethods->xRead(File, Bytes.data(), Count, Place);
    }
    if (Result != SQLITE_OK) {
      throw TCException(kSource, __LINE__, "Result==SQLITE_OK")
          .Format("cannot read %s: %s (SQLite error %d); check the disk, nothing was changed",
                  m_Path.c_str(), sqlite3_errstr(Result), Result);
    }
  }
}

void TCPropertyDatabase::FailOpening() const {
  TCException Error(kSource, __LINE__, "Result==SQLITE_OK");
  char const* const Text = sqlite3_errmsg(m_Handle.get());
  switch (sqlite3_errcode(m_Handle.get()) & 0xff) {
    case SQLITE_CANTOPEN:
      throw Error.Format(
          "cannot open %s: %s (%s); check that the folder exists and that this user may write it",
          m_Path.c_str(), Text, OpeningReason(m_Path, m_Handle.get()).c_str());
    case SQLITE_BUSY:
      throw Error.Format(
          "cannot open %s: another process uses it; stop that process, or choose another file",
          m_Path.c_str());
    case SQLITE_NOTADB:
      throw Error.Format(
          "%s is not a property database: %s; choose another file, nothing was changed",
          m_Path.c_str(), Text);
    case SQLITE_CORRUPT:
      throw Error.Format("%s is damaged: %s; restore a backup, nothing was changed", m_Path.c_str(),
                         Text);
    default:
      throw Error.Format("cannot open %s: %s (SQLite error %d)", m_Path.c_str(), Text,
                         sqlite3_extended_errcode(m_Handle.get()));
  }
}

}  // namespace Property
