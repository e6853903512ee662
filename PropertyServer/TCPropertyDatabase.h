// SPDX-License-Identifier: MIT
// The property server's memory across restarts and power cuts: one SQLite file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Platform/Messaging/TSNorvSenderKey.h"
#include "Platform/Utility/TCException.h"
#include "PropertyServer/TCDatabasePlace.h"
#include "PropertyServer/TCHistoryClock.h"
#include "PropertyServer/TCUnmovedValues.h"
#include "PropertyServer/TSHistoryEntry.h"
#include "PropertyServer/TSHistoryLimits.h"
#include "PropertyServer/TSHistoryQuestion.h"
#include "PropertyServer/TSMailOutcome.h"
#include "PropertyServer/TSPendingChange.h"
#include "PropertyServer/TSPropertyRange.h"
#include "PropertyServer/TSPropertyRecord.h"
#include "PropertyServer/TSRefusal.h"

struct sqlite3;
struct sqlite3_file;
struct sqlite3_stmt;

namespace Property {

class TCExecution;

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

/// Where the history ends, and how far it is moved: what its next entry needs to know.
struct TSHistoryEnd {
  long long LastId = 0;
  long long Bytes = 0;  ///< of all entries up to there, those that are forgotten included
  TCHistoryClock Clock;
  long long Moved = 0;                 ///< the values up to this entry are in their places
  long long Forgotten = 0;             ///< entries up to this one are no history any more
  long long Gone = 0;                  ///< those up to this one are not in the file any more
  std::uint64_t Transaction = 0;       ///< the last one that there ever was
  std::uint64_t EntryTransaction = 0;  ///< that of the newest entry
};

/// A value and who has set it; both belong to somebody else.
struct TSValueToStore {
  TSPropertyRecord const* Record;
  TSProvenance const* Origin;
};

/// A change, and what the history says of it; all belong to somebody else.
struct TSChangeToStore {
  TSPropertyRecord const* Record;
  TSProvenance const* Origin;
  TSHistoryEntry const* Entry;  ///< null: nothing, as of what it would forget at once
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
///
/// A file or a log that is removed is noticed before the next transaction is committed, and written
/// anew with all that was stored. What stands in their place is left alone: no transaction succeeds
/// until it is gone, or the former file is back.
class TCPropertyDatabase {
 public:
  class TCTransaction;

  /// Opens the database at `Path` and creates it if there is none. Reads the whole file once to
  /// check it.
  /// Throws TCException, with the way out in its message, when the file can not be opened or
  /// written, is in use, is damaged, is no property database or has another schema than this
  /// program's; file and log then stay as they were.
  /// Up to `Unmoved` values stand in the history alone until they are moved to their places.
  explicit TCPropertyDatabase(std::string const& Path, TSUnmovedLimits const& Unmoved = {});
  TCPropertyDatabase(TCPropertyDatabase const&) = delete;
  TCPropertyDatabase& operator=(TCPropertyDatabase const&) = delete;
  ~TCPropertyDatabase();

  /// Gives the log its whole size of 4 MiB now. A commit then writes over what is there already,
  /// and its sync is twice as fast as one that makes the file longer; changes can be stored for a
  /// while when the disk is full. Throws TCException when the disk has no room for it or fails; the
  /// database works all the same.
  void ReserveLog();
  /// The same; where it fails the log of the system says so.
  void ReserveLogIfPossible();

  /// Sees to it that what was stored is what the next start finds: if the file or its log were
  /// removed, new ones are made. Every transaction does this, before it begins and before it counts
  /// as committed. Throws TCException, with the way out in its message, when another file stands in
  /// the place, or when the new one can not be made; what was stored can still be read and copied.
  void KeepInPlace();

  /// Hands every value to `Take`, ordered by number, link (null first) and MAC (empty first).
  /// `Take` does not use this database. What it throws passes through and ends the loading.
  /// Throws TCException when a value can not be read.
  void LoadAll(std::function<void(TSPropertyRecord)> const& Take) const;

  /// The number of the last mail remembered of `Sender`; 0 when there is none.
  std::uint64_t LastMail(TSNorvSenderKey const& Sender) const;
  /// That mail and what has become of it.
  TSLastMail FindLastMail(TSNorvSenderKey const& Sender) const;
  /// Which of its mails were refused, of the newest ones.
  TSRefusals ReadRefusals(TSNorvSenderKey const& Sender) const;

  /// The counter `Name`; nothing when it was never set.
  std::optional<std::uint64_t> Meta(std::string const& Name) const;

  std::string const& get_Path() const { return m_Path; }
  /// The processes that have been noted as writers since some were last forgotten, or more.
  std::size_t get_AddedWriters() const { return m_AddedWriters; }

  // ---- history ----

  /// The number of the last transaction that was ever in the history; 0 for none.
  std::uint64_t get_LastTransaction() const { return m_History.Transaction; }
  /// The newest entries first, at most `Limit`; of property `Number` only in the second form.
  std::vector<TSHistoryEntry> ReadHistory(std::size_t Limit) const;
  std::vector<TSHistoryEntry> ReadHistory(std::size_t Limit, int Number) const;
  /// A page of what is asked for, the newest first. Reads a bounded part of the history.
  TSHistoryPage ReadHistory(TSHistoryQuestion const& Question) const;
  /// What is left of a transaction, in the order of its changes.
  std::vector<TSHistoryEntry> ReadTransaction(std::uint64_t Transaction) const;
  /// The newest transaction that has changed each of the values, where the newer part of the
  /// history has one.
  std::map<TCPropertyPlace, std::uint64_t> LastTransactions(std::set<TCPropertyPlace> Places) const;
  /// The bytes of all entries, as TSHistoryLimits counts them.
  std::uint64_t MeasureHistory() const;
  /// Forgets the older half of the entries, 10000 at most, to make room in the file. What is to be
  /// written for that fits into the reserved log. Returns false when there is no entry, or none
  /// without a value for which there is no room in its place.
  /// Throws TCException when it fails; some may be forgotten then.
  bool GiveUpHistory();
  /// Copies the log into the file, so that the next transaction has the whole of it. No failure is
  /// told: the next transaction meets it.
  void EmptyLog() const;
  /// Who has set the value that stands; nothing when there is none or nobody knows.
  std::optional<TSProvenance> Provenance(int Number, Accessories::TCRecordID const& Link,
                                         TCMACAddress const& MAC) const;

  // ---- changes to be confirmed ----

  /// Those that are neither confirmed nor taken back, the oldest first.
  std::vector<TSPendingChange> ReadPending() const;
  /// What they had as values before; what had none is to be removed.
  std::vector<TSPropertyRecord> ReadFormer(std::uint64_t Transaction) const;

  // ---- secrets ----

  /// Takes the texts of these properties, sorted and disjoint, out of the history and remembers
  /// that they are secret, in one transaction. What is left in unused parts of the files remains to
  /// be erased. Throws TCException, with everything as it was, when it fails, and TCDatabaseFull
  /// for lack of space.
  void HideTexts(std::vector<TSPropertyRange> const& Secrets);
  /// The properties that ever were given to HideTexts().
  std::vector<TSPropertyRange> OnceSecret() const;
  /// Hands over whatever the history has entries of, and whether the newest of them has a text.
  void VisitNewest(
      std::function<void(TCPropertyPlace const& Place, bool HasText)> const& Take) const;
  /// Whether hidden texts may be left in the files, those of a former server included.
  bool HasTextsToErase() const;
  /// Writes the file anew, without them, and empties the log, which then has no size reserved. It
  /// takes as much room on the disk as the file once more in the log, and for a while in a
  /// temporary file. No transaction is under way. Throws TCException when it fails; it can be
  /// repeated.
  void EraseHiddenTexts();

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
  struct TSWritten {};
  // Opens a copy that was just written.
  TCPropertyDatabase(std::string const& Path, TSUnmovedLimits const& Unmoved, TSWritten Written);

  using TCHandle = std::unique_ptr<sqlite3, TSSQLiteDeleter>;
  using TCStatement = std::unique_ptr<sqlite3_stmt, TSSQLiteDeleter>;
  // Forgets rows up to one, and first notes with their senders that it does.
  struct TSForgetting {
    TCStatement Note;
    TCStatement Forget;
  };
  struct TSStatements {
    TCStatement Begin;
    TCStatement Commit;
    TCStatement Rollback;
    TCStatement Update;
    TCStatement Insert;
    TCStatement Remove;
    TCStatement ReadUnmoved;
    TCStatement Overtake;
    TCStatement Provenance;
    TCStatement LastMail;
    TCStatement RememberMail;
    TCStatement KeepSender;
    TCStatement ForgetSenders;
    TCStatement Refusals;
    TCStatement NoteRefusal;
    TCStatement OldOfSender;
    TCStatement OldOfUser;
    TSForgetting ForgetOfSender;
    TSForgetting ForgetOfUser;
    TCStatement ForgetOfForgotten;
    TCStatement Meta;
    TCStatement SetMeta;
    TCStatement FindWriter;
    TCStatement AddWriter;
    TCStatement ForgetWriters;
    TSSQLiteInsertion AppendHistory;
    TCStatement AppendRarely;
    TCStatement FirstKept;
    TCStatement ForgetHistory;
    TCStatement PageCount;
  };

  static std::string FileOf(std::string const& Path);
  void RequireLogHasFile() const;
  void TakeFromOthers() const;
  void RequireNoJournal() const;
  void Open(int Flags);
  void RequireWritable() const;
  void RequireOwnFile() const;
  void RequireSound(char const* Examination) const;
  void RequireReadable() const;
  void RequireWriters() const;
  bool IsNew() const;
  void MakeTables() const;
  void StartLog() const;
  sqlite3_file* OpenFile(int Which) const;
  static int Extend(sqlite3_file* File, std::int64_t Size);
  void StartWork();
  void PrepareStatements();
  void PrepareRefusals();
  void TakePlace();
  void RestartLog();
  void WriteNewFile();
  void TakeNewFile();
  void TakeLogAway();
  void LeaveNamesAlone() const;

  TCStatement Prepare(char const* SQL) const;
  TSSQLiteInsertion PrepareInsertion(std::string const& Target) const;
  void Execute(char const* SQL) const;
  long long QueryInteger(char const* SQL) const;
  std::string QueryText(char const* SQL) const;
  void VisitValues(
      char const* SQL,
      std::function<void(TSPropertyRecord Record, bool IsOvertaken)> const& Take) const;
  TSPropertyRecord ReadRecord(sqlite3_stmt* Row) const;
  TSHistoryEnd FindHistoryEnd() const;
  void LoadUnmoved();
  std::vector<TSPropertyRange> ReadRanges(std::string const& Name) const;
  long long CountHistory() const;
  void VisitHistory(std::size_t Limit, std::optional<int> Number,
                    std::function<void(TSHistoryEntry)> const& Take) const;

  [[noreturn]] void FailOpening() const;
  TCException Failure(std::string const& Operation) const;
  bool IsFull() const;

  std::string const m_Path;
  TSUnmovedLimits const m_UnmovedLimits;
  TCHandle m_Handle;
  long long m_SenderTurn = 0;  // of the sender that was remembered last
  TSHistoryEnd m_History;
  TCUnmovedValues m_Unmoved;
  long long m_PageSize = 0;
  long long m_FilePages = 0;           // that the file has room for on the disk, at least
  std::uint64_t m_FirstDoubtless = 0;  // of the history's transactions; those before are noted
  bool m_LogWasEmptied = false;
  std::optional<TCDatabasePlace> m_Place;  // none while it is only checked
  std::map<std::tuple<uid_t, pid_t, std::string>, long long, std::less<>> m_Writers;  // their rows
  std::size_t m_AddedWriters = 0;  // at most so many, since some were last forgotten
  TSStatements m_Statements;
};

/// Changes that are stored all or none. At most one at a time, within the life of its database.
///
/// An operation that fails throws TCException naming operation, file and SQLite's error, and undoes
/// the whole transaction: the database holds what it held before and takes the next one. Every
/// operation on a transaction that has failed or was committed throws. For lack of space it throws
/// TCDatabaseFull.
class TCPropertyDatabase::TCTransaction {
 public:
  /// Throws as KeepInPlace() does.
  explicit TCTransaction(TCPropertyDatabase& Database);
  TCTransaction(TCTransaction const&) = delete;
  TCTransaction& operator=(TCTransaction const&) = delete;
  /// Undoes the changes unless they were committed.
  ~TCTransaction();

  /// Stores changes in their order: each value comes in place of the one with the same number, link
  /// and MAC, or is removed, and the history notes the change. First it forgets what goes beyond
  /// `Limits` together with them; what alone goes beyond is not noted. `Now` is the system's time,
  /// in microseconds since 1970. Many at once take less time than one after the other.
  void Store(std::vector<TSChangeToStore> const& Changes, TSHistoryLimits const& Limits,
             std::int64_t Now);
  /// The same without any history.
  void Put(std::vector<TSValueToStore> const& Values);
  void Put(TSPropertyRecord const& Record, TSProvenance const& Origin) {
    Put({{&Record, &Origin}});
  }
  /// Remembers `Number` as the last mail of `Sender`, which becomes the most recent one.
  void RememberMail(TSNorvSenderKey const& Sender, std::uint64_t Number,
                    TSMailOutcome const& Outcome = TSMailOutcome());
  /// Remembers that a mail was refused, with its sender, which is remembered.
  void NoteRefusal(TSNorvSenderKey const& Sender, TSRefusal const& Refusal);
  /// Keeps the newest refusals of a sender and of its user, as many as either may have.
  void ForgetOldRefusals(TSNorvSenderKey const& Sender);
  /// Counts on from there, also where the history has nothing of it.
  void CountTransaction(std::uint64_t Transaction);
  /// The change waits for its confirmation; its values follow, as they were before.
  void AddPending(TSPendingChange const& Change);
  void AddFormer(std::uint64_t Transaction, std::vector<TSPropertyRecord> const& Values);
  /// What is left of the time of one.
  void NotePending(TSPendingChange const& Change);
  /// It waits no longer, and what it would have restored is forgotten.
  void SettlePending(std::uint64_t Transaction);
  /// Forgets all senders but those that are `Connected` and `Keep` others: the most recent ones,
  /// as many of each user as of every other, where they do not all fit. Forgets writers that
  /// nothing refers to as well, so that their numbers stay bounded.
  void ForgetSenders(std::size_t Keep, std::vector<TSNorvSenderKey> const& Connected);
  void SetMeta(std::string const& Name, std::uint64_t Value);

  /// Returns when the changes are on the disk, in the database's place. When the place was taken
  /// meanwhile it throws, and nobody knows whether they are stored: they have to be stored again,
  /// and what they note in the history is then noted once.
  void Commit();

 private:
  void RequireOpen() const;
  [[noreturn]] void Fail(std::string const& Operation);
  using TCChanges = std::vector<TSChangeToStore>;
  struct TSRoom;
  void Remove(TSPropertyRecord const& Record);
  struct TSPlacedValue;
  struct TSUnmovedValue;
  void Overtake(TSPropertyRecord const& Record);
  void PutInPlace(TSPlacedValue const& Value);
  void MoveValues(long long LastId);
  void MoveTogether(long long LastId);
  TSUnmovedValue ReadUnmoved(long long Entry);
  std::string const& TextOf(TCMACAddress const& MAC);
  long long WriterOf(TSProvenance const& Origin);
  long long FindOrAddWriter(TSProvenance const& Origin);
  long long FindOldRefusal(TCStatement const& Statement, TSNorvSenderKey const& Sender,
                           long long Keep);
  void ForgetRefusals(TSForgetting const& Forgetting, TSNorvSenderKey const& Sender, long long Row);
  friend class TCPropertyDatabase;
  TSRoom MakeRoom(TCChanges const& Changes, TSHistoryLimits const& Limits, std::int64_t Now);
  TCChanges WithoutStored(TCChanges const& Changes) const;
  void Append(TCChanges::const_iterator Begin, TCChanges::const_iterator End, TSRoom const& Room);
  void StoreRarely(TSChangeToStore const& Change, TSRoom const& Room);
  void BindEntry(TCExecution& Execution, int Place, TSChangeToStore const& Change,
                 TSRoom const& Room);
  void CountEntry(TSChangeToStore const& Change, TSRoom const& Room);
  void MoveIfMany();
  void ForgetUpTo(long long LastId);
  void GiveUp(long long LastId);
  void DeleteForgotten();
  void NoteCounters();
  void HideTexts(std::vector<TSPropertyRange> const& Secrets);
  void RememberSecrets(std::vector<TSPropertyRange> const& Secrets,
                       std::vector<TSPropertyRange> const& Once);
  void ReserveFile();
  void Undo();

  TCPropertyDatabase& m_Database;
  std::map<TCMACAddress, std::string> m_Devices;  // their texts
  std::uint64_t m_LastTransaction = 0;            // of the history
  TSHistoryEnd m_History;
  long long m_FilePages;
  bool m_ForgetsWriters = false;
  bool m_Open = false;
};

}  // namespace Property
