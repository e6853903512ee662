// SPDX-License-Identifier: MIT
// What becomes of a database whose files were removed, moved or replaced while it is open.
#include <sqlite3.h>

#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"
#include "PropertyServer/TCDatabaseCopy.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabasePlace";

using TEState = TCDatabasePlace::TEState;

bool IsInTheWay(TEState State) {
  return State == TEState::eOtherFile || State == TEState::eOtherLog ||
         State == TEState::eOtherFolder || State == TEState::eUnknown;
}

void Warn(std::string const& File, char const* Text) {
  LogIfPossible([&] { SyslogWarning("%s%s", File.c_str(), Text); });
}

}  // namespace

TCPropertyDatabase::TCPropertyDatabase(std::string const& Path, TSUnmovedLimits const& Unmoved,
                                       TSWritten /*Written*/)
    : m_Path(Path), m_UnmovedLimits(Unmoved) {
  Open(SQLITE_OPEN_READWRITE);
  Execute("PRAGMA synchronous=FULL");
  StartWork();
}

// A log beside another file would be mixed with it by whoever opens that. What the log holds goes
// to the file that is open, wherever that is now.
TCPropertyDatabase::~TCPropertyDatabase() {
  if (m_Place && IsInTheWay(m_Place->Look().State)) {
    TakeLogAway();
    LeaveNamesAlone();
  }
}

// Between the opening and this the names may have come to mean other files.
void TCPropertyDatabase::TakePlace() {
  char const* const File = sqlite3_db_filename(m_Handle.get(), "main");
  m_Place.emplace(m_Path, File);
  int HasMoved = 0;
  sqlite3_file_control(m_Handle.get(), "main", SQLITE_FCNTL_HAS_MOVED, &HasMoved);
  if (HasMoved != 0 || m_Place->Look().State != TEState::eInPlace) {
    throw TCException(kSource, __LINE__, "HasMoved==0")
        .Format("cannot open %s: it was removed or replaced at that moment; try again",
                m_Path.c_str());
  }
}

void TCPropertyDatabase::KeepInPlace() {
  TCDatabasePlace::TSFinding const Found = m_Place->Look();
  switch (Found.State) {
    case TEState::eInPlace:
      if (std::exchange(m_LogWasEmptied, false)) {
        ReserveLogIfPossible();
      }
      break;
    case TEState::eLogGone:
      RestartLog();
      break;
    case TEState::eFileGone:
      WriteNewFile();
      TakeNewFile();
      break;
    case TEState::eNewFile:
      TakeNewFile();
      break;
    default:
      TakeLogAway();
      throw TCException(kSource, __LINE__, "!IsInTheWay(Found.State)")
          .Format("%s", m_Place->Describe(Found).c_str());
  }
}

// The database is switched to a journal and back, under its lock: it is never without a log that it
// needs.
void TCPropertyDatabase::RestartLog() {
  int Size = 0;
  int Copied = 0;
  if (sqlite3_wal_checkpoint_v2(m_Handle.get(), nullptr, SQLITE_CHECKPOINT_FULL, &Size, &Copied) !=
          SQLITE_OK ||
      Size != Copied) {
    throw Failure("copy the removed log into");
  }
  if (QueryText("PRAGMA journal_mode=DELETE") != "delete") {
    throw Failure("give up the removed log of");
  }
  StartLog();
  QueryInteger("PRAGMA user_version");  // the first one to read makes the log
  m_Place->TakeLog();
  TCDatabasePlace::TSFinding const Found = m_Place->Look();
  if (Found.State != TEState::eInPlace) {
    throw TCException(kSource, __LINE__, "Found.State==TEState::eInPlace")
        .Format("%s", m_Place->Describe(Found).c_str());
  }
  ReserveLogIfPossible();
  Warn(m_Place->get_Log(), " was removed: what it held is in the database, which has a new log");
}

// The log stays where it is until the new file stands before it: whoever finds the one with the
// other after a power cut has what the copy has already.
void TCPropertyDatabase::WriteNewFile() {
  TCDatabaseCopy New(m_Place->get_File());
  New.Write(Copy());
  Check(New.get_Path());
  m_Place->Expect(New.get_Identity());
  New.PutInEmptyPlace();
}

// The former file stays open until the new one is: what was stored can be read at every moment.
void TCPropertyDatabase::TakeNewFile() {
  TCDatabaseCopy::SyncFolder(m_Place->get_File());
  m_Place->RemoveLog();
  TCDatabaseCopy::SyncFolder(m_Place->get_File());
  TCPropertyDatabase New(m_Path, m_UnmovedLimits, TSWritten());
  if (!m_Place->IsExpected(*New.m_Place)) {
    throw TCException(kSource, __LINE__, "m_Place->IsExpected(*New.m_Place)")
        .Format("%s", m_Place->Describe({TEState::eOtherFile, 0}).c_str());
  }
  LeaveNamesAlone();
  std::swap(m_Handle, New.m_Handle);
  std::swap(m_Statements, New.m_Statements);
  std::swap(m_Place, New.m_Place);
  m_FilePages = 0;
  ReserveLogIfPossible();
  Warn(m_Path, " was removed: all that it held is stored in a new file of that name");
}

void TCPropertyDatabase::TakeLogAway() {
  m_LogWasEmptied = true;
  sqlite3_wal_checkpoint_v2(m_Handle.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}

// Closing would remove what stands in the place of the log, whosever it is.
void TCPropertyDatabase::LeaveNamesAlone() const {
  sqlite3_db_config(m_Handle.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

}  // namespace Property
