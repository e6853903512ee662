// SPDX-License-Identifier: MIT
// Statements, schema and error texts of the property server's database.
#include "PropertyServer/TCPropertyDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "PropertyServer/TCDatabaseCopy.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabase";

constexpr long long kApplicationID = 0x50726f70;
constexpr long long kLogSize = 4 << 20;  // 1000 pages and what SQLite writes beside them
constexpr std::size_t kCachedWriters = 1000;

// Step n brings the schema from version n to n + 1 and ends by recording that version; all steps
// that a file needs run in one transaction. Steps are only ever added. A null link is has_link 0
// and link 0, so that the primary key has the order of the server's keys.
constexpr char const* kMigrations[] = {
    R"(CREATE TABLE property_value(
         number INTEGER NOT NULL,
         has_link INTEGER NOT NULL,
         link INTEGER NOT NULL,
         mac TEXT NOT NULL,
         data TEXT NOT NULL,
         PRIMARY KEY(number, has_link, link, mac)) STRICT, WITHOUT ROWID;
       CREATE TABLE mail_sender(
         turn INTEGER PRIMARY KEY,
         identity TEXT NOT NULL UNIQUE,
         last_mail INTEGER NOT NULL) STRICT;
       CREATE TABLE meta(
         name TEXT NOT NULL PRIMARY KEY,
         value INTEGER NOT NULL) STRICT, WITHOUT ROWID;
       PRAGMA application_id=0x50726f70;
       PRAGMA user_version=1;)",
    // Who wrote a value of version 1 is unknown: no writer. A history entry without a former text
    // is of a new value, one without a present text of a secret value.
    R"(CREATE TABLE writer(
         id INTEGER PRIMARY KEY,
         user INTEGER NOT NULL,
         process INTEGER NOT NULL,
         name TEXT NOT NULL,
         UNIQUE(user, process, name)) STRICT;
       ALTER TABLE property_value ADD COLUMN changed INTEGER NOT NULL DEFAULT 0;
       ALTER TABLE property_value ADD COLUMN writer INTEGER;
       CREATE TABLE history(
         id INTEGER PRIMARY KEY,
         turn INTEGER NOT NULL,
         time INTEGER NOT NULL,
         writer INTEGER NOT NULL,
         number INTEGER NOT NULL,
         has_link INTEGER NOT NULL,
         link INTEGER NOT NULL,
         mac TEXT NOT NULL,
         former TEXT,
         present TEXT) STRICT;
       PRAGMA user_version=2;)",
    // Values that are newer than those of the same keys in property_value, in the order in which
    // they were set: the last one of a key stands.
    R"(CREATE TABLE recent_value(
         id INTEGER PRIMARY KEY,
         number INTEGER NOT NULL,
         has_link INTEGER NOT NULL,
         link INTEGER NOT NULL,
         mac TEXT NOT NULL,
         data TEXT NOT NULL,
         changed INTEGER NOT NULL,
         writer INTEGER NOT NULL) STRICT;
       PRAGMA user_version=3;)",
};
constexpr long long kSchemaVersion = std::size(kMigrations);

constexpr char kLoad[] =
    "SELECT number, has_link, link, mac, data FROM property_value "
    "ORDER BY number, has_link, link, mac";

constexpr char kLoadRecent[] =
    "SELECT number, has_link, link, mac, data FROM recent_value ORDER BY id";

// Counted for every recent value beside its text. Their move may change a page for each of them,
// which the log has to hold.
constexpr std::size_t kRecentOverhead = 256;

// A third of what a row takes is the statement around it; more rows than these save little more.
constexpr int kRowsTogether = 10;

constexpr char kTransactionCounter[] = "transaction";

// Bytes of the file's header that say which way of writing it needs.
constexpr std::size_t kWriteVersionPlace = 18;
constexpr std::size_t kReadVersionPlace = 19;
constexpr char kWithoutLog = 1;

// Binds, steps and finally resets a statement. What is not bound is null. Bound text must outlive
// it.
class TCExecution {
 public:
  explicit TCExecution(sqlite3_stmt* Statement) : m_Statement(Statement) {}
  TCExecution(TCExecution const&) = delete;
  TCExecution& operator=(TCExecution const&) = delete;
  ~TCExecution() {
    sqlite3_reset(m_Statement);
    sqlite3_clear_bindings(m_Statement);
  }

  void Bind(int Place, long long Value) { Keep(sqlite3_bind_int64(m_Statement, Place, Value)); }
  void Bind(int Place, std::string const& Text) {
    Keep(sqlite3_bind_text64(m_Statement, Place, Text.data(), Text.size(), SQLITE_STATIC,
                             SQLITE_UTF8));
  }

  // SQLITE_ROW, SQLITE_DONE or the error, which may be that of a binding.
  int Step() { return m_Result == SQLITE_OK ? sqlite3_step(m_Statement) : m_Result; }

 private:
  void Keep(int Result) {
    if (m_Result == SQLITE_OK) {
      m_Result = Result;
    }
  }

  sqlite3_stmt* m_Statement;
  int m_Result = SQLITE_OK;
};

void BindKey(TCExecution& Execution, int Place, int Number, Accessories::TCRecordID const& Link,
             std::string const& MAC) {
  Execution.Bind(Place, Number);
  Execution.Bind(Place + 1, Link.IsNull() ? 0 : 1);
  Execution.Bind(Place + 2, Link.IsNull() ? 0 : Link.get_AsInteger());
  Execution.Bind(Place + 3, MAC);
}

// `Device` is the text of the record's MAC.
void BindValue(TCExecution& Execution, int Place, TSValueToStore const& Value,
               std::string const& Device, long long Writer) {
  TSPropertyRecord const& Record = *Value.Record;
  BindKey(Execution, Place, Record.Number, Record.Link, Device);
  Execution.Bind(Place + 4, Record.Data);
  Execution.Bind(Place + 5, static_cast<long long>(Value.Origin->Time));
  Execution.Bind(Place + 6, Writer);
}

void BindEntry(TCExecution& Execution, int Place, TSHistoryEntry const& Entry,
               std::string const& Device, long long Writer) {
  BindKey(Execution, Place, Entry.Number, Entry.Link, Device);
  Execution.Bind(Place + 4, static_cast<long long>(Entry.Transaction));
  Execution.Bind(Place + 5, static_cast<long long>(Entry.Origin.Time));
  Execution.Bind(Place + 6, Writer);
  if (Entry.From && !Entry.Secret) {
    Execution.Bind(Place + 7, *Entry.From);
  }
  if (!Entry.Secret) {
    Execution.Bind(Place + 8, Entry.To);
  }
}

// Returns the rows that failed: the first, and how many went with it; 0 when all are inserted.
template <class TIterator, class TBind>
std::pair<TIterator, int> Insert(TSSQLiteInsertion const& Insertion, TIterator Begin, TIterator End,
                                 TBind const& Bind) {
  while (Begin != End) {
    bool const Several = End - Begin >= kRowsTogether;
    int const Count = Several ? kRowsTogether : 1;
    TIterator const Next = Begin + Count;
    TCExecution Execution((Several ? Insertion.Several : Insertion.One).get());
    int Place = 1;
    for (TIterator Row = Begin; Row != Next; ++Row, Place += Insertion.Columns) {
      Bind(Execution, Place, *Row);
    }
    if (Execution.Step() != SQLITE_DONE) {
      return {Begin, Count};
    }
    Begin = Next;
  }
  return {End, 0};
}

std::string DescribeRows(int FirstNumber, int Count) {
  std::string const Others = Count > 1 ? " and " + std::to_string(Count - 1) + " others" : "";
  return "property " + std::to_string(FirstNumber) + Others;
}

std::string_view ColumnText(sqlite3_stmt* Statement, int Column) {
  void const* const Bytes = sqlite3_column_text(Statement, Column);
  return {static_cast<char const*>(Bytes),
          static_cast<std::size_t>(sqlite3_column_bytes(Statement, Column))};
}

// Time, user, process and name, from column `First` on.
TSProvenance ReadOrigin(sqlite3_stmt* Row, int First) {
  TSProvenance Origin;
  Origin.Time = sqlite3_column_int64(Row, First);
  Origin.User = static_cast<uid_t>(sqlite3_column_int64(Row, First + 1));
  Origin.Process = static_cast<pid_t>(sqlite3_column_int64(Row, First + 2));
  Origin.ProcessName = ColumnText(Row, First + 3);
  return Origin;
}

TSHistoryEntry ReadEntry(sqlite3_stmt* Row) {
  TSHistoryEntry Entry;
  Entry.Transaction = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 0));
  Entry.Number = sqlite3_column_int(Row, 1);
  if (sqlite3_column_int(Row, 2) == 1) {
    Entry.Link = Accessories::TCRecordID(sqlite3_column_int(Row, 3));
  }
  Entry.MAC = TCMACAddress(std::string(ColumnText(Row, 4)));
  if (sqlite3_column_type(Row, 5) != SQLITE_NULL) {
    Entry.From = ColumnText(Row, 5);
  }
  Entry.Secret = sqlite3_column_type(Row, 6) == SQLITE_NULL;
  Entry.To = ColumnText(Row, 6);
  Entry.Origin = ReadOrigin(Row, 7);
  return Entry;
}

bool IsInt(long long Value) {
  return Value >= std::numeric_limits<int>::min() && Value <= std::numeric_limits<int>::max();
}

// SQLite gives the empty name, ":memory:" and "file:..." a meaning of their own; an absolute path
// is always a file.
std::string FileOf(std::string const& Path) {
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

void TSSQLiteDeleter::operator()(sqlite3* Handle) const {
  sqlite3_close(Handle);
}

void TSSQLiteDeleter::operator()(sqlite3_stmt* Statement) const {
  sqlite3_finalize(Statement);
}

TCPropertyDatabase::TCPropertyDatabase(std::string const& Path, std::size_t RecentLimit)
    : m_Path(FileOf(Path)), m_RecentLimit(RecentLimit) {
  RequireLogHasFile();
  Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  RequireWritable();
  Execute("PRAGMA synchronous=FULL");
  RequireOwnFile();
  RequireSound("PRAGMA quick_check(1)");
  Migrate();
  StartLog();
  PrepareStatements();
  m_RecentSize = MeasureRecent();
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

TCPropertyDatabase::~TCPropertyDatabase() = default;

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

// SQLite undoes an interrupted change of a file without log as soon as it reads it.
void TCPropertyDatabase::RequireNoJournal() const {
  std::error_code Error;
  std::uintmax_t const Size = std::filesystem::file_size(m_Path + "-journal", Error);
  if (!Error && Size > 0) {
    throw TCException(kSource, __LINE__, "Size==0")
        .Format(
            "cannot check %s: its making or its adaptation to this version was interrupted; start "
            "the server with it, which undoes that, and check it again, nothing was changed",
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

void TCPropertyDatabase::RequireOwnFile() const {
  long long const Application = QueryInteger("PRAGMA application_id");
  long long const Version = QueryInteger("PRAGMA user_version");
  bool const New =
      Application == 0 && Version == 0 && QueryInteger("SELECT count(*) FROM sqlite_schema") == 0;
  if (Application != kApplicationID && !New) {
    throw TCException(kSource, __LINE__, "Application==kApplicationID")
        .Format(
            "%s is not a property database: its application id is 0x%08llx, not 0x%08llx; "
            "choose another file, nothing was changed",
            m_Path.c_str(), Application & 0xffffffff, kApplicationID);
  }
  if (Version < 0 || Version > kSchemaVersion) {
    throw TCException(kSource, __LINE__, "Version<=kSchemaVersion")
        .Format(
            "%s was written by a newer version (schema %lld, this program knows %lld); "
            "use that version or restore a backup, nothing was changed",
            m_Path.c_str(), Version, kSchemaVersion);
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

// Database or log (SQLITE_FCNTL_...), which stays SQLite's; null when it is not open.
sqlite3_file* TCPropertyDatabase::OpenFile(int Which) const {
  sqlite3_file* File = nullptr;
  sqlite3_file_control(m_Handle.get(), "main", Which, &File);
  return File != nullptr && File->pMethods != nullptr ? File : nullptr;
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

void TCPropertyDatabase::Migrate() const {
  long long const Version = QueryInteger("PRAGMA user_version");
  if (Version == kSchemaVersion) {
    return;
  }
  Execute("BEGIN IMMEDIATE");
  for (long long Step = Version; Step < kSchemaVersion; ++Step) {
    Execute(kMigrations[Step]);
  }
  Execute("COMMIT");
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
  std::vector<char> const Zeros(std::size_t{1} << 16);  // SQLite takes no more than twice that
  sqlite3_file* const File = OpenFile(SQLITE_FCNTL_JOURNAL_POINTER);
  sqlite3_int64 Former = 0;
  int Result = File != nullptr ? File->pMethods->xFileSize(File, &Former) : SQLITE_IOERR;
  sqlite3_int64 Size = Former;
  while (Result == SQLITE_OK && Size < kLogSize) {
    auto const Count = std::min<long long>(kLogSize - Size, static_cast<long long>(Zeros.size()));
    Result = File->pMethods->xWrite(File, Zeros.data(), static_cast<int>(Count), Size);
    Size += Count;
  }
  if (Result == SQLITE_OK) {
    Result = File->pMethods->xSync(File, SQLITE_SYNC_NORMAL);
  }
  if (Result != SQLITE_OK) {
    if (File != nullptr) {
      File->pMethods->xTruncate(File, Former);
    }
    throw TCException(kSource, __LINE__, "Result==SQLITE_OK")
        .Format("cannot reserve the log of %s: %s (SQLite error %d)", m_Path.c_str(),
                sqlite3_errstr(Result), Result);
  }
}

void TCPropertyDatabase::PrepareStatements() {
  m_Begin = Prepare("BEGIN IMMEDIATE");
  m_Commit = Prepare("COMMIT");
  m_Rollback = Prepare("ROLLBACK");
  m_Update = Prepare(
      "UPDATE property_value SET data = ?5, changed = ?6, writer = ?7 "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4");
  m_Insert = Prepare(
      "INSERT INTO property_value(number, has_link, link, mac, data, changed, writer) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  m_AppendRecent =
      PrepareInsertion("recent_value(number, has_link, link, mac, data, changed, writer)");
  m_MoveRecent = Prepare(
      "INSERT OR REPLACE INTO property_value(number, has_link, link, mac, data, changed, writer) "
      "SELECT number, has_link, link, mac, data, changed, writer FROM recent_value ORDER BY id");
  m_ForgetRecent = Prepare("DELETE FROM recent_value");
  m_Provenance = Prepare(
      "SELECT changed, user, process, name FROM "
      "(SELECT id AS age, changed, writer FROM recent_value "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4 UNION ALL "
      "SELECT 0, changed, writer FROM property_value "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4 "
      "ORDER BY age DESC LIMIT 1) AS newest JOIN writer ON writer.id = newest.writer");
  m_LastMail = Prepare("SELECT last_mail FROM mail_sender WHERE identity = ?1");
  // The replaced row goes, the new one gets the highest turn: the turns order the senders by age.
  m_RememberMail =
      Prepare("INSERT OR REPLACE INTO mail_sender(identity, last_mail) VALUES(?1, ?2)");
  m_ForgetSenders = Prepare(
      "DELETE FROM mail_sender WHERE turn <= "
      "(SELECT turn FROM mail_sender ORDER BY turn DESC LIMIT 1 OFFSET ?1)");
  m_Meta = Prepare("SELECT value FROM meta WHERE name = ?1");
  m_SetMeta = Prepare("INSERT OR REPLACE INTO meta(name, value) VALUES(?1, ?2)");
  m_FindWriter = Prepare("SELECT id FROM writer WHERE user = ?1 AND process = ?2 AND name = ?3");
  m_AddWriter = Prepare("INSERT INTO writer(user, process, name) VALUES(?1, ?2, ?3)");
  m_ForgetWriters = Prepare(
      "DELETE FROM writer WHERE (SELECT count(*) FROM writer) > 10000 AND id NOT IN "
      "(SELECT writer FROM history UNION SELECT writer FROM recent_value UNION "
      "SELECT writer FROM property_value WHERE writer IS NOT NULL)");
  m_AppendHistory =
      PrepareInsertion("history(number, has_link, link, mac, turn, time, writer, former, present)");
  m_TrimByCount = Prepare("DELETE FROM history WHERE id <= (SELECT max(id) FROM history) - ?1");
  // The oldest are first; the clock may have been set back in between, so only a whole beginning
  // that is too old goes.
  m_TrimByTime = Prepare(
      "DELETE FROM history WHERE id < coalesce((SELECT id FROM history WHERE time >= ?1 "
      "ORDER BY id LIMIT 1), 9223372036854775807)");
}

void TCPropertyDatabase::LoadAll(std::function<void(TSPropertyRecord)> const& Take) const {
  std::map<TCPropertyPlace, TSPropertyRecord> Newer;
  VisitValues(kLoadRecent, [&Newer](TSPropertyRecord Record) {
    Newer.insert_or_assign(PlaceOf(Record), std::move(Record));
  });
  auto Next = Newer.begin();
  VisitValues(kLoad, [&](TSPropertyRecord Record) {
    TCPropertyPlace const Place = PlaceOf(Record);
    for (; Next != Newer.end() && Next->first < Place; ++Next) {
      Take(std::move(Next->second));
    }
    bool const IsOld = Next != Newer.end() && Next->first == Place;
    Take(IsOld ? std::move((Next++)->second) : std::move(Record));
  });
  for (; Next != Newer.end(); ++Next) {
    Take(std::move(Next->second));
  }
}

void TCPropertyDatabase::VisitValues(char const* SQL,
                                     std::function<void(TSPropertyRecord)> const& Take) const {
  TCStatement const Statement = Prepare(SQL);
  TCExecution Execution(Statement.get());
  int Result = Execution.Step();
  while (Result == SQLITE_ROW) {
    Take(ReadRecord(Statement.get()));
    Result = Execution.Step();
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the values of");
  }
}

// A key that this program never writes is refused: two such rows could stand for one property.
TSPropertyRecord TCPropertyDatabase::ReadRecord(sqlite3_stmt* Row) const {
  long long const Number = sqlite3_column_int64(Row, 0);
  long long const HasLink = sqlite3_column_int64(Row, 1);
  long long const Link = sqlite3_column_int64(Row, 2);
  std::string const MAC(ColumnText(Row, 3));

  TSPropertyRecord Record;
  Record.Number = static_cast<int>(Number);
  if (HasLink == 1) {
    Record.Link = Accessories::TCRecordID(static_cast<int>(Link));
  }
  if (!MAC.empty()) {
    Record.MAC = TCMACAddress(MAC);
  }
  Record.Data = ColumnText(Row, 4);
  if (!IsInt(Number) || !IsInt(Link) || (HasLink != 1 && (HasLink != 0 || Link != 0)) ||
      Record.MAC.get_AsString(':') != MAC) {
    throw TCException(kSource, __LINE__, "Record.MAC.get_AsString(':')==MAC")
        .Format(
            "%s is damaged: property %lld has the impossible link %lld,%lld or MAC \"%s\"; "
            "restore a backup, nothing was changed",
            m_Path.c_str(), Number, HasLink, Link, MAC.c_str());
  }
  return Record;
}

std::uint64_t TCPropertyDatabase::LastMail(std::string const& Identity) const {
  return FindCounter(m_LastMail, Identity).value_or(0);
}

std::optional<std::uint64_t> TCPropertyDatabase::Meta(std::string const& Name) const {
  return FindCounter(m_Meta, Name);
}

std::optional<std::uint64_t> TCPropertyDatabase::FindCounter(TCStatement const& Statement,
                                                             std::string const& Key) const {
  TCExecution Execution(Statement.get());
  Execution.Bind(1, Key);
  switch (Execution.Step()) {
    case SQLITE_ROW:
      return static_cast<std::uint64_t>(sqlite3_column_int64(Statement.get(), 0));
    case SQLITE_DONE:
      return std::nullopt;
    default:
      throw Failure("read the counter " + Key + " of");
  }
}

// ---- history ----

std::uint64_t TCPropertyDatabase::get_LastTransaction() const {
  return Meta(kTransactionCounter).value_or(0);
}

std::vector<TSHistoryEntry> TCPropertyDatabase::ReadHistory(std::size_t Limit) const {
  std::vector<TSHistoryEntry> Entries;
  VisitHistory(Limit, std::nullopt,
               [&Entries](TSHistoryEntry Entry) { Entries.push_back(std::move(Entry)); });
  return Entries;
}

std::vector<TSHistoryEntry> TCPropertyDatabase::ReadHistory(std::size_t Limit, int Number) const {
  std::vector<TSHistoryEntry> Entries;
  VisitHistory(Limit, Number,
               [&Entries](TSHistoryEntry Entry) { Entries.push_back(std::move(Entry)); });
  return Entries;
}

void TCPropertyDatabase::VisitHistory(std::size_t Limit, std::optional<int> Number,
                                      std::function<void(TSHistoryEntry)> const& Take) const {
  TCStatement const Statement = Prepare(
      "SELECT turn, number, has_link, link, mac, former, present, time, user, process, name "
      "FROM history JOIN writer ON writer.id = history.writer "
      "WHERE ?1 IS NULL OR number = ?1 ORDER BY history.id DESC LIMIT ?2");
  TCExecution Execution(Statement.get());
  if (Number) {
    Execution.Bind(1, *Number);
  }
  Execution.Bind(2, static_cast<long long>(Limit));
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Take(ReadEntry(Statement.get()));
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the history of");
  }
}

std::optional<TSProvenance> TCPropertyDatabase::Provenance(int Number,
                                                           Accessories::TCRecordID const& Link,
                                                           TCMACAddress const& MAC) const {
  std::string const Device = MAC.get_AsString(':');
  TCExecution Execution(m_Provenance.get());
  BindKey(Execution, 1, Number, Link, Device);
  switch (Execution.Step()) {
    case SQLITE_ROW:
      return ReadOrigin(m_Provenance.get(), 0);
    case SQLITE_DONE:
      return std::nullopt;
    default:
      throw Failure("read who wrote property " + std::to_string(Number) + " of");
  }
}

// ---- copies ----

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
  auto const Count = [&Values](TSPropertyRecord const&) { ++Values; };
  if (Version > 2) {
    Database.LoadAll(Count);
  } else if (Version > 0) {
    Database.VisitValues(kLoad, Count);
  }
  if (Version > 1) {
    Database.VisitHistory(std::numeric_limits<std::size_t>::max(), std::nullopt,
                          [&Entries](TSHistoryEntry const&) { ++Entries; });
    Database.RequireWriters(Version);
  }
  TCException Report(kSource, __LINE__);
  Report.Format("%s is sound: schema %lld, %lld values, %lld history entries",
                Database.m_Path.c_str(), Version, Values, Entries);
  return Report.get_Message();
}

void TCPropertyDatabase::RequireWriters(long long Version) const {
  std::vector<std::string> Tables = {"history", "property_value"};
  if (Version > 2) {
    Tables.emplace_back("recent_value");
  }
  long long Nameless = 0;
  for (std::string const& Table : Tables) {
    Nameless += QueryInteger(("SELECT count(*) FROM " + Table +
                              " WHERE writer IS NOT NULL AND writer NOT IN (SELECT id FROM writer)")
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

TCPropertyDatabase::TCStatement TCPropertyDatabase::Prepare(char const* SQL) const {
  sqlite3_stmt* Statement = nullptr;
  if (sqlite3_prepare_v3(m_Handle.get(), SQL, -1, SQLITE_PREPARE_PERSISTENT, &Statement, nullptr) !=
      SQLITE_OK) {
    FailOpening();
  }
  return TCStatement(Statement);
}

// `Target` is a table and those of its columns that are given.
TSSQLiteInsertion TCPropertyDatabase::PrepareInsertion(std::string const& Target) const {
  TSSQLiteInsertion Insertion;
  Insertion.Columns = static_cast<int>(std::count(Target.begin(), Target.end(), ',')) + 1;
  std::string Row = "(?";
  for (int Column = 1; Column < Insertion.Columns; ++Column) {
    Row += ", ?";
  }
  Row += ")";
  // A row that fails ends the transaction: SQLite need not be able to take back those before it.
  std::string SQL = "INSERT OR FAIL INTO " + Target + " VALUES" + Row;
  Insertion.One = Prepare(SQL.c_str());
  for (int Count = 1; Count < kRowsTogether; ++Count) {
    SQL += ", " + Row;
  }
  Insertion.Several = Prepare(SQL.c_str());
  return Insertion;
}

void TCPropertyDatabase::Execute(char const* SQL) const {
  if (sqlite3_exec(m_Handle.get(), SQL, nullptr, nullptr, nullptr) != SQLITE_OK) {
    FailOpening();
  }
}

std::size_t TCPropertyDatabase::MeasureRecent() const {
  std::size_t Size = 0;
  VisitValues(kLoadRecent, [&Size](TSPropertyRecord const& Record) {
    Size += Record.Data.size() + kRecentOverhead;
  });
  return Size;
}

long long TCPropertyDatabase::QueryInteger(char const* SQL) const {
  TCStatement const Statement = Prepare(SQL);
  if (sqlite3_step(Statement.get()) != SQLITE_ROW) {
    FailOpening();
  }
  return sqlite3_column_int64(Statement.get(), 0);
}

std::string TCPropertyDatabase::QueryText(char const* SQL) const {
  TCStatement const Statement = Prepare(SQL);
  if (sqlite3_step(Statement.get()) != SQLITE_ROW) {
    FailOpening();
  }
  return std::string(ColumnText(Statement.get(), 0));
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

TCException TCPropertyDatabase::Failure(std::string const& Operation) const {
  TCException Error(kSource, __LINE__, "Result==SQLITE_DONE");
  Error.Format("cannot %s %s: %s (SQLite error %d)", Operation.c_str(), m_Path.c_str(),
               sqlite3_errmsg(m_Handle.get()), sqlite3_extended_errcode(m_Handle.get()));
  return Error;
}

TCPropertyDatabase::TCTransaction::TCTransaction(TCPropertyDatabase& Database)
    : m_Database(Database), m_RecentSize(Database.m_RecentSize) {
  TCExecution Execution(m_Database.m_Begin.get());
  if (Execution.Step() != SQLITE_DONE) {
    throw m_Database.Failure("begin a transaction in");
  }
  m_Open = true;
}

TCPropertyDatabase::TCTransaction::~TCTransaction() {
  Undo();
}

// Values that change together lie far apart among all others: a page of the file for nearly each of
// them. So they are first put one after the other into a table of their own, a few pages in all,
// and from there to their places when it is full. A transaction that fills it has many values: the
// rest of them goes to its places at once, where it would soon be moved to.
void TCPropertyDatabase::TCTransaction::Put(std::vector<TSValueToStore> const& Values) {
  RequireOpen();
  auto Rest = Values.begin();
  while (Rest != Values.end() && TakeAsRecent(*Rest)) {
    ++Rest;
  }
  auto const [Failed, Count] = Insert(
      m_Database.m_AppendRecent, Values.begin(), Rest,
      [this](TCExecution& Execution, int Place, TSValueToStore const& Value) {
        BindValue(Execution, Place, Value, TextOf(Value.Record->MAC), WriterOf(*Value.Origin));
      });
  if (Count > 0) {
    Fail("store " + DescribeRows(Failed->Record->Number, Count) + " in");
  }
  if (Rest != Values.end() && m_RecentSize > 0) {
    MoveRecent();
  }
  for (; Rest != Values.end(); ++Rest) {
    PutInPlace(*Rest);
  }
}

bool TCPropertyDatabase::TCTransaction::TakeAsRecent(TSValueToStore const& Value) {
  std::size_t const Size = Value.Record->Data.size() + kRecentOverhead;
  m_Large = m_Large || m_RecentSize + Size > m_Database.m_RecentLimit;
  m_RecentSize += m_Large ? 0 : Size;
  return !m_Large;
}

// Most values are there already, and updating a row costs less than replacing it.
void TCPropertyDatabase::TCTransaction::PutInPlace(TSValueToStore const& Value) {
  long long const Writer = WriterOf(*Value.Origin);
  for (TCStatement const* Statement : {&m_Database.m_Update, &m_Database.m_Insert}) {
    TCExecution Execution(Statement->get());
    BindValue(Execution, 1, Value, TextOf(Value.Record->MAC), Writer);
    if (Execution.Step() != SQLITE_DONE) {
      Fail("store " + DescribeRows(Value.Record->Number, 1) + " in");
    }
    if (sqlite3_changes(m_Database.m_Handle.get()) > 0) {
      return;
    }
  }
}

void TCPropertyDatabase::TCTransaction::MoveRecent() {
  for (TCStatement const* Statement : {&m_Database.m_MoveRecent, &m_Database.m_ForgetRecent}) {
    TCExecution Execution(Statement->get());
    if (Execution.Step() != SQLITE_DONE) {
      Fail("move recent values in");
    }
  }
  m_RecentSize = 0;
}

// A transaction changes many values of few devices.
std::string const& TCPropertyDatabase::TCTransaction::TextOf(TCMACAddress const& MAC) {
  auto const Known = m_Devices.find(MAC);
  return Known != m_Devices.end() ? Known->second
                                  : m_Devices.emplace(MAC, MAC.get_AsString(':')).first->second;
}

// The row of a writer; a writer changes many values one after the other.
long long TCPropertyDatabase::TCTransaction::WriterOf(TSProvenance const& Origin) {
  auto& Rows = m_Database.m_Writers;
  auto const Known = Rows.find(std::tie(Origin.User, Origin.Process, Origin.ProcessName));
  if (Known != Rows.end()) {
    return Known->second;
  }
  if (Rows.size() >= kCachedWriters) {
    Rows.clear();
  }
  long long const Row = FindOrAddWriter(Origin);
  Rows.emplace(std::tie(Origin.User, Origin.Process, Origin.ProcessName), Row);
  return Row;
}

long long TCPropertyDatabase::TCTransaction::FindOrAddWriter(TSProvenance const& Origin) {
  auto const StepWith = [&Origin](TCExecution& Execution) {
    Execution.Bind(1, static_cast<long long>(Origin.User));
    Execution.Bind(2, static_cast<long long>(Origin.Process));
    Execution.Bind(3, Origin.ProcessName);
    return Execution.Step();
  };
  TCExecution Find(m_Database.m_FindWriter.get());
  int const Found = StepWith(Find);
  if (Found == SQLITE_ROW) {
    return sqlite3_column_int64(m_Database.m_FindWriter.get(), 0);
  }
  TCExecution Add(m_Database.m_AddWriter.get());
  if (Found != SQLITE_DONE || StepWith(Add) != SQLITE_DONE) {
    Fail("note a writer in");
  }
  return sqlite3_last_insert_rowid(m_Database.m_Handle.get());
}

void TCPropertyDatabase::TCTransaction::AppendHistory(
    std::vector<TSHistoryEntry const*> const& Entries) {
  RequireOpen();
  auto const [Failed, Count] =
      Insert(m_Database.m_AppendHistory, Entries.begin(), Entries.end(),
             [this](TCExecution& Execution, int Place, TSHistoryEntry const* Entry) {
               BindEntry(Execution, Place, *Entry, TextOf(Entry->MAC), WriterOf(Entry->Origin));
             });
  if (Count > 0) {
    Fail("note a change of " + DescribeRows((*Failed)->Number, Count) + " in");
  }
  for (TSHistoryEntry const* Entry : Entries) {
    m_LastTransaction = std::max(m_LastTransaction, Entry->Transaction);
  }
}

void TCPropertyDatabase::TCTransaction::TrimHistory(std::uint64_t Entries,
                                                    std::int64_t OldestTime) {
  RequireOpen();
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<long long>::max());
  TCExecution ByCount(m_Database.m_TrimByCount.get());
  ByCount.Bind(1, static_cast<long long>(std::min(Entries, kMost)));
  if (ByCount.Step() != SQLITE_DONE) {
    Fail("trim the history of");
  }
  TCExecution ByTime(m_Database.m_TrimByTime.get());
  ByTime.Bind(1, static_cast<long long>(OldestTime));
  if (ByTime.Step() != SQLITE_DONE) {
    Fail("trim the history of");
  }
}

void TCPropertyDatabase::TCTransaction::RememberMail(std::string const& Identity,
                                                     std::uint64_t Number) {
  RequireOpen();
  TCExecution Execution(m_Database.m_RememberMail.get());
  Execution.Bind(1, Identity);
  Execution.Bind(2, static_cast<long long>(Number));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("remember mail " + std::to_string(Number) + " of " + Identity + " in");
  }
}

void TCPropertyDatabase::TCTransaction::ForgetSenders(std::size_t Keep) {
  RequireOpen();
  TCExecution Execution(m_Database.m_ForgetSenders.get());
  Execution.Bind(1, static_cast<long long>(Keep));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("forget old mail senders in");
  }
  TCExecution Writers(m_Database.m_ForgetWriters.get());
  if (Writers.Step() != SQLITE_DONE) {
    Fail("forget old writers in");
  }
  m_Database.m_Writers.clear();
}

void TCPropertyDatabase::TCTransaction::SetMeta(std::string const& Name, std::uint64_t Value) {
  RequireOpen();
  TCExecution Execution(m_Database.m_SetMeta.get());
  Execution.Bind(1, Name);
  Execution.Bind(2, static_cast<long long>(Value));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("set the counter " + Name + " in");
  }
}

void TCPropertyDatabase::TCTransaction::Commit() {
  RequireOpen();
  if (m_LastTransaction > 0) {
    SetMeta(kTransactionCounter, m_LastTransaction);
  }
  TCExecution Execution(m_Database.m_Commit.get());
  if (Execution.Step() != SQLITE_DONE) {
    Fail("commit to");
  }
  m_Database.m_RecentSize = m_RecentSize;
  m_Open = false;
}

// SQLite may have ended a failed transaction by itself; a change after that would be stored alone.
void TCPropertyDatabase::TCTransaction::RequireOpen() const {
  if (!m_Open) {
    throw TCException(kSource, __LINE__, "m_Open").Format("the transaction has already ended");
  }
}

void TCPropertyDatabase::TCTransaction::Fail(std::string const& Operation) {
  TCException const Error = m_Database.Failure(Operation);
  Undo();
  throw Error;
}

void TCPropertyDatabase::TCTransaction::Undo() {
  if (m_Open) {
    m_Database.m_Writers.clear();  // some of their rows may be undone
  }
  if (m_Open && sqlite3_get_autocommit(m_Database.m_Handle.get()) == 0) {
    TCExecution Execution(m_Database.m_Rollback.get());
    Execution.Step();
  }
  m_Open = false;
}

}  // namespace Property
