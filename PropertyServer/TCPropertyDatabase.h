// SPDX-License-Identifier: MIT
// The property server's memory across restarts and power cuts: one SQLite file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "Platform/Utility/TCException.h"
#include "PropertyServer/TSHistoryEntry.h"
#include "PropertyServer/TSPropertyRecord.h"

struct sqlite3;
struct sqlite3_file;
struct sqlite3_stmt;

namespace Property {

struct TSSQLiteDeleter {
  void operator()(sqlite3* Handle) const;
  void operator()(sqlite3_stmt* Statement) const;
};

/// Appends rows to a table, one or several at once.
struct TSSQLiteInsertion {
  int Columns = 0;
  std::unique_ptr<sqlite3_stmt, TSSQLiteDeleter> One;
  std::unique_ptr<sqlite3_stmt, TSSQLiteDeleter> Several;
};

/// A value and who has set it; both belong to somebody else.
struct TSValueToStore {
  TSPropertyRecord const* Record;
  TSProvenance const* Origin;
};

/// Every property value, the last mail taken from each sender and the server's counters.
/// Owns the file as long as it lives; a second opener is refused. Used by one thread at a time.
///
/// A committed transaction survives a power cut: the write-ahead log is synced at each commit.
///
/// The log (`<path>-wal`) is copied into the file when a commit leaves more than 1000 pages (4 MiB)
/// in it, and then written from its start again; no reader can hold that up, because the file has
/// one user. The log thus holds 4 MiB and one transaction at most, and is cut back to 4 MiB after a
/// larger one. It is removed when the database is closed.
class TCPropertyDatabase {
 public:
  class TCTransaction;

  /// Opens the database at `Path`, creates it if there is none and brings an older schema up to
  /// date. Reads the whole file once to check it.
  /// Throws TCException, with the way out in its message, when the file can not be opened or
  /// written, is in use, is damaged, is no property database or has a schema newer than this
  /// program's; file and log then stay as they were.
  /// Up to `RecentLimit` bytes of values lie outside of their order until they are moved there.
  explicit TCPropertyDatabase(std::string const& Path,
                              std::size_t RecentLimit = std::size_t{128} << 10);
  TCPropertyDatabase(TCPropertyDatabase const&) = delete;
  TCPropertyDatabase& operator=(TCPropertyDatabase const&) = delete;
  ~TCPropertyDatabase();

  /// Gives the log its whole size of 4 MiB now. A commit then writes over what is there already,
  /// and its sync is twice as fast as one that makes the file longer; changes can be stored for a
  /// while when the disk is full. Throws TCException when the disk has no room for it or fails; the
  /// database works all the same.
  void ReserveLog();

  /// Hands every value to `Take`, ordered by number, link (null first) and MAC (empty first).
  /// `Take` does not use this database. What it throws passes through and ends the loading.
  /// Throws TCException when a value can not be read.
  void LoadAll(std::function<void(TSPropertyRecord)> const& Take) const;

  /// The number of the last mail remembered of `Identity`; 0 when there is none.
  std::uint64_t LastMail(std::string const& Identity) const;

  /// The counter `Name`; nothing when it was never set.
  std::optional<std::uint64_t> Meta(std::string const& Name) const;

  std::string const& get_Path() const { return m_Path; }

  // ---- history ----

  /// The number of the last transaction that was ever in the history; 0 for none.
  std::uint64_t get_LastTransaction() const;
  /// The newest entries first, at most `Limit`; of property `Number` only in the second form.
  std::vector<TSHistoryEntry> ReadHistory(std::size_t Limit) const;
  std::vector<TSHistoryEntry> ReadHistory(std::size_t Limit, int Number) const;
  /// Who has set the value that stands; nothing when there is none or nobody knows.
  std::optional<TSProvenance> Provenance(int Number, Accessories::TCRecordID const& Link,
                                         TCMACAddress const& MAC) const;

  // ---- copies ----

  /// The image of a database file that holds everything committed, and needs no log.
  /// Throws TCException when something can not be read.
  std::string Copy() const;
  /// Makes `File` from such an image. The image is written beside it, synced and checked first, so
  /// that a file that is there is replaced by a sound copy or not at all.
  /// Throws TCException, `File` untouched, when that fails or when `File` is a database that is in
  /// use or has a log.
  static void WriteCopy(std::string const& Image, std::string const& File);
  /// Examines every page and every row of a database, its log included, and changes nothing.
  /// Returns one line that says what it holds.
  /// Throws TCException naming what is wrong: whatever keeps the database from being opened, a
  /// defect anywhere in it, its use by another process.
  static std::string Check(std::string const& Path);

 private:
  struct TSUnchanged {};
  // Opens a database for its check.
  TCPropertyDatabase(std::string const& Path, TSUnchanged Unchanged);

  using TCHandle = std::unique_ptr<sqlite3, TSSQLiteDeleter>;
  using TCStatement = std::unique_ptr<sqlite3_stmt, TSSQLiteDeleter>;

  void RequireLogHasFile() const;
  void RequireNoJournal() const;
  void Open(int Flags);
  void RequireWritable() const;
  void RequireOwnFile() const;
  void RequireSound(char const* Examination) const;
  void RequireReadable() const;
  void RequireWriters(long long Version) const;
  void Migrate() const;
  void StartLog() const;
  sqlite3_file* OpenFile(int Which) const;
  void PrepareStatements();

  TCStatement Prepare(char const* SQL) const;
  TSSQLiteInsertion PrepareInsertion(std::string const& Target) const;
  void Execute(char const* SQL) const;
  long long QueryInteger(char const* SQL) const;
  std::string QueryText(char const* SQL) const;
  std::optional<std::uint64_t> FindCounter(TCStatement const& Statement,
                                           std::string const& Key) const;
  void VisitValues(char const* SQL, std::function<void(TSPropertyRecord)> const& Take) const;
  TSPropertyRecord ReadRecord(sqlite3_stmt* Row) const;
  std::size_t MeasureRecent() const;
  void VisitHistory(std::size_t Limit, std::optional<int> Number,
                    std::function<void(TSHistoryEntry)> const& Take) const;

  [[noreturn]] void FailOpening() const;
  TCException Failure(std::string const& Operation) const;

  std::string const m_Path;
  std::size_t const m_RecentLimit = 0;
  TCHandle m_Handle;
  std::size_t m_RecentSize = 0;  // bytes that count for m_RecentLimit
  std::map<std::tuple<uid_t, pid_t, std::string>, long long, std::less<>> m_Writers;  // their rows
  TCStatement m_Begin;
  TCStatement m_Commit;
  TCStatement m_Rollback;
  TCStatement m_Update;
  TCStatement m_Insert;
  TSSQLiteInsertion m_AppendRecent;
  TCStatement m_MoveRecent;
  TCStatement m_ForgetRecent;
  TCStatement m_Provenance;
  TCStatement m_LastMail;
  TCStatement m_RememberMail;
  TCStatement m_ForgetSenders;
  TCStatement m_Meta;
  TCStatement m_SetMeta;
  TCStatement m_FindWriter;
  TCStatement m_AddWriter;
  TCStatement m_ForgetWriters;
  TSSQLiteInsertion m_AppendHistory;
  TCStatement m_TrimByCount;
  TCStatement m_TrimByTime;
};

/// Changes that are stored all or none. At most one at a time, within the life of its database.
///
/// An operation that fails throws TCException naming operation, file and SQLite's error, and undoes
/// the whole transaction: the database holds what it held before and takes the next one. Every
/// operation on a transaction that has failed or was committed throws.
class TCPropertyDatabase::TCTransaction {
 public:
  explicit TCTransaction(TCPropertyDatabase& Database);
  TCTransaction(TCTransaction const&) = delete;
  TCTransaction& operator=(TCTransaction const&) = delete;
  /// Undoes the changes unless they were committed.
  ~TCTransaction();

  /// Stores values, each in place of the one with the same number, link and MAC. Many at once take
  /// less time than one after the other.
  void Put(std::vector<TSValueToStore> const& Values);
  void Put(TSPropertyRecord const& Record, TSProvenance const& Origin) {
    Put({{&Record, &Origin}});
  }
  /// Notes changes, in their order. The entries stay the caller's.
  void AppendHistory(std::vector<TSHistoryEntry const*> const& Entries);
  void AppendHistory(TSHistoryEntry const& Entry) {
    AppendHistory(std::vector<TSHistoryEntry const*>{&Entry});
  }
  /// Forgets what goes beyond the newest `Entries` and what is older than `OldestTime`.
  void TrimHistory(std::uint64_t Entries, std::int64_t OldestTime);
  /// Remembers `Number` as the last mail of `Identity`, which becomes the most recent sender.
  void RememberMail(std::string const& Identity, std::uint64_t Number);
  /// Forgets all senders but the `Keep` most recent ones, and writers that nothing refers to, so
  /// that their numbers stay bounded.
  void ForgetSenders(std::size_t Keep);
  void SetMeta(std::string const& Name, std::uint64_t Value);

  /// Returns when the changes are on the disk.
  void Commit();

 private:
  void RequireOpen() const;
  [[noreturn]] void Fail(std::string const& Operation);
  bool TakeAsRecent(TSValueToStore const& Value);
  void PutInPlace(TSValueToStore const& Value);
  void MoveRecent();
  std::string const& TextOf(TCMACAddress const& MAC);
  long long WriterOf(TSProvenance const& Origin);
  long long FindOrAddWriter(TSProvenance const& Origin);
  void Undo();

  TCPropertyDatabase& m_Database;
  std::map<TCMACAddress, std::string> m_Devices;  // their texts
  std::size_t m_RecentSize;
  bool m_Large = false;                 // more values than are kept recent
  std::uint64_t m_LastTransaction = 0;  // appended to the history
  bool m_Open = false;
};

}  // namespace Property
