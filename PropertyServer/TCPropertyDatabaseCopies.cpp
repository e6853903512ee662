// SPDX-License-Identifier: MIT
// Copies of a database, and the check of one.
#include "PropertyServer/TCPropertyDatabase.h"

#include <sqlite3.h>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCDatabaseCopy.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseCopies";

// Bytes of the file's header that say which way of writing it needs.
constexpr std::size_t kWriteVersionPlace = 18;
constexpr std::size_t kReadVersionPlace = 19;
constexpr char kWithoutLog = 1;

}  // namespace

std::string TCPropertyDatabase::Copy() const {
  sqlite3* Memory = nullptr;
  int Result =
      sqlite3_open_v2("copy", &Memory, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, "memdb");
  TCHandle const Target(Memory);
  sqlite3_backup* const Backup =
      Result == SQLITE_OK ? sqlite3_backup_init(Memory, "main", m_Handle.get(), "main") : nullptr;
  if (Backup != nullptr) {
    sqlite3_backup_step(Backup, -1);
    Result = sqlite3_backup_finish(Backup);
  }
  sqlite3_int64 Size = 0;
  void const* const Image = Backup != nullptr && Result == SQLITE_OK
                                ? sqlite3_serialize(Memory, "main", &Size, SQLITE_SERIALIZE_NOCOPY)
                                : nullptr;
  if (Image == nullptr) {
    throw TCException(kSource, __LINE__, "Image")
        .Format("cannot copy %s: %s (SQLite error %d)", m_Path.c_str(), sqlite3_errmsg(Memory),
                sqlite3_extended_errcode(Memory));
  }
  std::string Bytes(static_cast<char const*>(Image), static_cast<std::size_t>(Size));
  // The copy has no log beside it: it says so itself, or nobody could open it for reading only.
  Bytes.at(kWriteVersionPlace) = kWithoutLog;
  Bytes.at(kReadVersionPlace) = kWithoutLog;
  return Bytes;
}

void TCPropertyDatabase::WriteCopy(std::string const& Image, std::string const& File) {
  TCDatabaseCopy Copy(FileOf(File));
  Copy.Write(Image);
  Check(Copy.get_Path());
  Copy.PutInPlace();
}

std::string TCPropertyDatabase::Check(std::string const& Path) {
  TCPropertyDatabase Database(Path, TSUnchanged());
  long long const Version = Database.QueryInteger("PRAGMA user_version");
  long long Values = 0;
  long long Entries = 0;
  if (!Database.IsNew()) {
    Database.LoadAll([&Values](TSPropertyRecord const&) { ++Values; });
    Entries = Database.CountHistory();
    Database.RequireWriters();
  }
  TCException Report(kSource, __LINE__);
  Report.Format("%s is sound: schema %lld, %lld values, %lld history entries",
                Database.m_Path.c_str(), Version, Values, Entries);
  return Report.get_Message();
}

void TCPropertyDatabase::RequireWriters() const {
  long long Nameless = 0;
  for (char const* const Table : {"history", "property_value", "pending"}) {
    Nameless += QueryInteger((std::string("SELECT count(*) FROM ") + Table +
                              " WHERE writer NOT IN (SELECT id FROM writer)")
                                 .c_str());
  }
  if (Nameless > 0) {
    throw TCException(kSource, __LINE__, "Nameless==0")
        .Format(
            "%s is damaged: the writers of %lld values and history entries are missing; "
            "restore a backup, nothing was changed",
            m_Path.c_str(), Nameless);
  }
}

}  // namespace Property
