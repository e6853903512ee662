// SPDX-License-Identifier: MIT
// The write-ahead log and the room that files have on the disk.
#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseLog";

constexpr long long kLogSize = 4 << 20;  // 1000 pages and what SQLite writes beside them

}  // namespace

// Database or log (SQLITE_FCNTL_...), which stays SQLite's; null when it is not open.
sqlite3_file* TCPropertyDatabase::OpenFile(int Which) const {
  sqlite3_file* File = nullptr;
  sqlite3_file_control(m_Handle.get(), "main", Which, &File);
  return File != nullptr && File->pMethods != nullptr ? File : nullptr;
}

// A new file is made with a rollback journal and only then switched to the log: its first page
// says at every moment whose file it is.
void TCPropertyDatabase::StartLog() const {
  std::string const Mode = QueryText("PRAGMA journal_mode=WAL");
  if (Mode != "wal") {
    throw TCException(kSource, __LINE__, "Mode==\"wal\"")
        .Format("cannot open %s: its file system allows no write-ahead log, only mode %s",
                m_Path.c_str(), Mode.c_str());
  }
  Execute("PRAGMA wal_autocheckpoint=1000");
  Execute(("PRAGMA journal_size_limit=" + std::to_string(kLogSize)).c_str());
  sqlite3_db_config(m_Handle.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
}

// Zeros are no pages of the log: it ends before them.
void TCPropertyDatabase::ReserveLog() {
  sqlite3_file* const File = OpenFile(SQLITE_FCNTL_JOURNAL_POINTER);
  int Result = Extend(File, kLogSize);
  if (Result == SQLITE_OK) {
    Result = File->pMethods->xSync(File, SQLITE_SYNC_NORMAL);
  }
  if (Result != SQLITE_OK) {
    throw TCException(kSource, __LINE__, "Result==SQLITE_OK")
        .Format("cannot reserve the log of %s: %s (SQLite error %d)", m_Path.c_str(),
                sqlite3_errstr(Result), Result);
  }
}

// Appends zeros up to that size, or nothing when there is no room for all of them.
int TCPropertyDatabase::Extend(sqlite3_file* File, std::int64_t Size) {
  std::vector<char> const Zeros(std::size_t{1} << 16);  // SQLite takes no more than twice that
  sqlite3_int64 Former = 0;
  int Result = File != nullptr ? File->pMethods->xFileSize(File, &Former) : SQLITE_IOERR;
  for (sqlite3_int64 Place = Former; Result == SQLITE_OK && Place < Size;) {
    auto const Count = std::min<sqlite3_int64>(Size - Place, static_cast<long long>(Zeros.size()));
    Result = File->pMethods->xWrite(File, Zeros.data(), static_cast<int>(Count), Place);
    Place += Count;
  }
  if (Result != SQLITE_OK && File != nullptr) {
    int const Reason = errno;
    File->pMethods->xTruncate(File, Former);
    errno = Reason;
  }
  return Result;
}

void TCPropertyDatabase::ReserveLogIfPossible() {
  try {
    ReserveLog();
  } catch (TCException const& Failure) {
    LogIfPossible([&Failure] { SyslogWarning("%s", Failure.get_Message().c_str()); });
  }
}

void TCPropertyDatabase::EmptyLog() const {
  sqlite3_wal_checkpoint_v2(m_Handle.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

}  // namespace Property
