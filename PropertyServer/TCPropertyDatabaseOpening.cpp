// SPDX-License-Identifier: MIT
// Opens the file: which ones it takes, its schema, its log and its statements.
#include "PropertyServer/TCPropertyDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "Platform/Utility/SystemLog.h"
#include "PropertyServer/SQLiteStatements.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseOpening";

constexpr long long kApplicationID = 0x50726f70;
constexpr long long kLogSize = 4 << 20;  // 1000 pages and what SQLite writes beside them

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
    // An identity says who a sender is within its user only. Of the senders of version 3 the user
    // is unknown, -1: their mails are still known when they come again.
    R"(CREATE TABLE sender(
         user INTEGER NOT NULL,
         identity TEXT NOT NULL,
         last_mail INTEGER NOT NULL,
         turn INTEGER NOT NULL,
         PRIMARY KEY(user, identity)) STRICT, WITHOUT ROWID;
       INSERT INTO sender SELECT -1, identity, last_mail, turn FROM mail_sender;
       DROP TABLE mail_sender;
       PRAGMA user_version=4;)",
    // Where an entry begins among the bytes of all, and how old it is by the history's own clock,
    // stand before its texts: who looks at them need not read those.
    R"(ALTER TABLE history RENAME TO former_history;
       CREATE TABLE history(
         id INTEGER PRIMARY KEY,
         start INTEGER NOT NULL,
         counted INTEGER NOT NULL,
         turn INTEGER NOT NULL,
         time INTEGER NOT NULL,
         writer INTEGER NOT NULL,
         number INTEGER NOT NULL,
         has_link INTEGER NOT NULL,
         link INTEGER NOT NULL,
         mac TEXT NOT NULL,
         former TEXT,
         present TEXT) STRICT;
       INSERT INTO history SELECT id,
         coalesce(sum(64 + coalesce(length(CAST(former AS BLOB)), 0) +
           coalesce(length(CAST(present AS BLOB)), 0)) OVER (
             ORDER BY id ROWS BETWEEN UNBOUNDED PRECEDING AND 1 PRECEDING), 0),
         0, turn, time, writer, number, has_link, link, mac, former, present FROM former_history;
       DROP TABLE former_history;
       PRAGMA user_version=5;)",
    // Of an older entry nobody knows how many values changed with it: parts 0. What a sender's last
    // mail has led to stands with its number. A pending change is taken back unless it is
    // confirmed; a value of it without a former text was new.
    R"(ALTER TABLE history RENAME TO former_history;
       CREATE TABLE history(
         id INTEGER PRIMARY KEY,
         start INTEGER NOT NULL,
         counted INTEGER NOT NULL,
         turn INTEGER NOT NULL,
         parts INTEGER NOT NULL,
         undoes INTEGER,
         time INTEGER NOT NULL,
         writer INTEGER NOT NULL,
         number INTEGER NOT NULL,
         has_link INTEGER NOT NULL,
         link INTEGER NOT NULL,
         mac TEXT NOT NULL,
         removed INTEGER NOT NULL,
         former TEXT,
         present TEXT) STRICT;
       INSERT INTO history SELECT id, start, counted, turn, 0, NULL, time, writer, number, has_link,
         link, mac, 0, former, present FROM former_history;
       DROP TABLE former_history;
       ALTER TABLE sender ADD COLUMN outcome INTEGER;
       ALTER TABLE sender ADD COLUMN refusal TEXT;
       CREATE TABLE pending(
         turn INTEGER PRIMARY KEY,
         time INTEGER NOT NULL,
         writer INTEGER NOT NULL,
         granted INTEGER NOT NULL,
         left INTEGER NOT NULL,
         boot TEXT NOT NULL,
         moment INTEGER NOT NULL,
         noted INTEGER NOT NULL) STRICT;
       CREATE TABLE pending_value(
         turn INTEGER NOT NULL,
         number INTEGER NOT NULL,
         has_link INTEGER NOT NULL,
         link INTEGER NOT NULL,
         mac TEXT NOT NULL,
         former TEXT,
         PRIMARY KEY(turn, number, has_link, link, mac)) STRICT, WITHOUT ROWID;
       PRAGMA user_version=6;)",
    // Refused mails, in their order, a row for each value that the reason is about, or one without
    // a number. What a sender has `forgotten` is the last of its refused mails that has no row.
    R"(CREATE TABLE refusal(
         id INTEGER PRIMARY KEY,
         user INTEGER NOT NULL,
         identity TEXT NOT NULL,
         mail INTEGER NOT NULL,
         reason TEXT NOT NULL,
         compared INTEGER NOT NULL,
         number INTEGER,
         has_link INTEGER,
         link INTEGER,
         mac TEXT) STRICT;
       CREATE INDEX refusal_of_sender ON refusal(user, identity);
       CREATE INDEX refusal_of_user ON refusal(user);
       ALTER TABLE sender ADD COLUMN forgotten INTEGER NOT NULL DEFAULT 0;
       PRAGMA user_version=7;)",
};
constexpr long long kSchemaVersion = std::size(kMigrations);

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

TCPropertyDatabase::TCPropertyDatabase(std::string const& Path, std::size_t RecentLimit)
    : m_Path(FileOf(Path)), m_RecentLimit(RecentLimit) {
  RequireLogHasFile();
  TakeFromOthers();
  Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  RequireWritable();
  Execute("PRAGMA synchronous=FULL");
  RequireOwnFile();
  RequireSound("PRAGMA quick_check(1)");
  Migrate();
  StartWork();
}

void TCPropertyDatabase::StartWork() {
  StartLog();
  PrepareStatements();
  m_RecentSize = MeasureRecent();
  m_SenderTurn = QueryInteger("SELECT coalesce(max(turn), 0) FROM sender");
  m_History = FindHistoryEnd();
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
  try {
    MigrateFrom(Version);
  } catch (TCException const&) {
    if (Version < 2 || Version >= kSchemaVersion || !IsFull()) {
      throw;
    }
    sqlite3_exec(m_Handle.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    DropHistory();
    MigrateFrom(Version);
    SyslogWarning("The disk is too full to bring %s up to date with its history: it was given up",
                  m_Path.c_str());
  }
}

// Takes next to no room. Where the library is built to overwrite what it deletes, doing so here
// would take as much as the history has.
void TCPropertyDatabase::DropHistory() const {
  long long const Overwriting = QueryInteger("PRAGMA secure_delete");
  QueryInteger("PRAGMA secure_delete=FAST");
  Execute("DELETE FROM history");
  QueryInteger(("PRAGMA secure_delete=" + std::to_string(Overwriting)).c_str());
}

void TCPropertyDatabase::MigrateFrom(long long Version) const {
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

void TCPropertyDatabase::PrepareStatements() {
  m_Statements.Begin = Prepare("BEGIN IMMEDIATE");
  m_Statements.Commit = Prepare("COMMIT");
  m_Statements.Rollback = Prepare("ROLLBACK");
  m_Statements.Update = Prepare(
      "UPDATE property_value SET data = ?5, changed = ?6, writer = ?7 "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4");
  m_Statements.Insert = Prepare(
      "INSERT INTO property_value(number, has_link, link, mac, data, changed, writer) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  m_Statements.Remove = Prepare(
      "DELETE FROM property_value WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4");
  m_Statements.AppendRecent =
      PrepareInsertion("recent_value(number, has_link, link, mac, data, changed, writer)");
  m_Statements.MoveRecent = Prepare(
      "INSERT OR REPLACE INTO property_value(number, has_link, link, mac, data, changed, writer) "
      "SELECT number, has_link, link, mac, data, changed, writer FROM recent_value ORDER BY id");
  m_Statements.ForgetRecent = Prepare("DELETE FROM recent_value");
  m_Statements.Provenance = Prepare(
      "SELECT changed, user, process, name FROM "
      "(SELECT id AS age, changed, writer FROM recent_value "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4 UNION ALL "
      "SELECT 0, changed, writer FROM property_value "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4 "
      "ORDER BY age DESC LIMIT 1) AS newest JOIN writer ON writer.id = newest.writer");
  m_Statements.LastMail = Prepare(
      "SELECT last_mail, outcome, refusal FROM sender WHERE identity = ?2 AND user IN (?1, -1) "
      "ORDER BY user DESC LIMIT 1");
  m_Statements.RememberMail = Prepare(
      "INSERT INTO sender(user, identity, last_mail, turn, outcome, refusal) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6) "
      "ON CONFLICT DO UPDATE SET last_mail = ?3, turn = ?4, outcome = ?5, refusal = ?6");
  m_Statements.KeepSender =
      Prepare("UPDATE sender SET turn = ?3 WHERE user = ?1 AND identity = ?2");
  // The last sender of each user comes before the last but one of any, so that no user's many
  // senders have another's forgotten.
  m_Statements.ForgetSenders = Prepare(
      "DELETE FROM sender WHERE (user, identity) IN (SELECT user, identity FROM "
      "(SELECT user, identity, turn, row_number() OVER (PARTITION BY user ORDER BY turn DESC) "
      "AS place FROM sender WHERE turn <= ?2) ORDER BY place, turn DESC LIMIT -1 OFFSET ?1)");
  PrepareRefusals();
  m_Statements.Meta = Prepare("SELECT value FROM meta WHERE name = ?1");
  m_Statements.SetMeta = Prepare("INSERT OR REPLACE INTO meta(name, value) VALUES(?1, ?2)");
  m_Statements.FindWriter =
      Prepare("SELECT id FROM writer WHERE user = ?1 AND process = ?2 AND name = ?3");
  m_Statements.AddWriter = Prepare("INSERT INTO writer(user, process, name) VALUES(?1, ?2, ?3)");
  m_Statements.ForgetWriters = Prepare(
      "DELETE FROM writer WHERE (SELECT count(*) FROM writer) > 10000 AND id NOT IN "
      "(SELECT writer FROM history UNION SELECT writer FROM recent_value UNION "
      "SELECT writer FROM pending UNION "
      "SELECT writer FROM property_value WHERE writer IS NOT NULL)");
  m_Statements.AppendHistory = PrepareInsertion(
      "history(number, has_link, link, mac, id, start, counted, turn, parts, time, writer, "
      "removed, undoes, former, present)");
  // The oldest come first, and what is too old in any way has only such before it: so a beginning
  // goes.
  m_Statements.TrimHistory = Prepare(
      "DELETE FROM history WHERE id < coalesce((SELECT id FROM history WHERE id > ?1 AND "
      "start >= ?2 AND counted >= ?3 ORDER BY id LIMIT 1), 9223372036854775807)");
  m_Statements.PageCount = Prepare("PRAGMA page_count");
}

// Rows of a sender and of a user are in the order of their ids, which is that of the mails.
void TCPropertyDatabase::PrepareRefusals() {
  m_Statements.Refusals = Prepare(
      "SELECT sender.forgotten, coalesce(refusal.mail, 0), reason, compared, number, has_link, "
      "link, mac FROM sender LEFT JOIN refusal ON refusal.user = sender.user AND "
      "refusal.identity = sender.identity AND refusal.mail > sender.forgotten "
      "WHERE sender.user = ?1 AND sender.identity = ?2 ORDER BY refusal.id");
  m_Statements.NoteRefusal = Prepare(
      "INSERT INTO refusal(user, identity, mail, reason, compared, number, has_link, link, mac) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)");
  m_Statements.OldOfSender = Prepare(
      "SELECT id FROM refusal WHERE user = ?1 AND identity = ?2 "
      "ORDER BY id DESC LIMIT 1 OFFSET ?3");
  m_Statements.OldOfUser = Prepare(
      "SELECT id FROM refusal INDEXED BY refusal_of_user WHERE user = ?1 AND ?2 IS NOT NULL "
      "ORDER BY id DESC LIMIT 1 OFFSET ?3");
  m_Statements.ForgetOfSender = {
      Prepare("UPDATE sender SET forgotten = (SELECT mail FROM refusal WHERE id = ?3) "
              "WHERE user = ?1 AND identity = ?2"),
      Prepare("DELETE FROM refusal WHERE user = ?1 AND identity = ?2 AND id <= ?3")};
  m_Statements.ForgetOfUser = {
      Prepare("UPDATE sender SET forgotten = (SELECT max(mail) FROM refusal WHERE "
              "refusal.user = sender.user AND refusal.identity = sender.identity AND id <= ?3) "
              "WHERE user = ?1 AND ?2 IS NOT NULL AND identity IN "
              "(SELECT identity FROM refusal WHERE user = ?1 AND id <= ?3)"),
      Prepare("DELETE FROM refusal WHERE user = ?1 AND ?2 IS NOT NULL AND id <= ?3")};
  m_Statements.ForgetOfForgotten = Prepare(
      "DELETE FROM refusal WHERE NOT EXISTS (SELECT 1 FROM sender WHERE "
      "sender.user = refusal.user AND sender.identity = refusal.identity)");
}

std::size_t TCPropertyDatabase::MeasureRecent() const {
  std::size_t Size = 0;
  VisitValues(kLoadRecent, [&Size](TSPropertyRecord const& Record) {
    Size += Record.Data.size() + kRecentOverhead;
  });
  return Size;
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
