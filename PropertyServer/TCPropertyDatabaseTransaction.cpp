// SPDX-License-Identifier: MIT
// Changes that are stored all or none.
#include "PropertyServer/TCPropertyDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <tuple>
#include <utility>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCDatabaseFull.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseTransaction";

constexpr std::size_t kCachedWriters = 1000;

}  // namespace

TCPropertyDatabase::TCTransaction::TCTransaction(TCPropertyDatabase& Database)
    : m_Database((Database.KeepInPlace(), Database)),
      m_History(Database.m_History),
      m_FilePages(Database.m_FilePages) {
  TCExecution Execution(m_Database.m_Statements.Begin.get());
  if (Execution.Step() != SQLITE_DONE) {
    throw m_Database.Failure("begin a transaction in");
  }
  m_Open = true;
}

TCPropertyDatabase::TCTransaction::~TCTransaction() {
  Undo();
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
  TCExecution Find(m_Database.m_Statements.FindWriter.get());
  int const Found = StepWith(Find);
  if (Found == SQLITE_ROW) {
    return sqlite3_column_int64(m_Database.m_Statements.FindWriter.get(), 0);
  }
  TCExecution Add(m_Database.m_Statements.AddWriter.get());
  if (Found != SQLITE_DONE || StepWith(Add) != SQLITE_DONE) {
    Fail("note a writer in");
  }
  ++m_Database.m_AddedWriters;
  return sqlite3_last_insert_rowid(m_Database.m_Handle.get());
}

// Nothing that a failure says names the sender: its identity is a secret.
void TCPropertyDatabase::TCTransaction::RememberMail(TSNorvSenderKey const& Sender,
                                                     std::uint64_t Number,
                                                     TSMailOutcome const& Outcome) {
  RequireOpen();
  TCExecution Execution(m_Database.m_Statements.RememberMail.get());
  BindSender(Execution, Sender);
  Execution.Bind(3, static_cast<long long>(Number));
  Execution.Bind(4, ++m_Database.m_SenderTurn);
  Execution.Bind(5, static_cast<long long>(Outcome.Transaction));
  if (Outcome.Refusal) {
    Execution.Bind(6, *Outcome.Refusal);
  }
  if (Execution.Step() != SQLITE_DONE) {
    Fail("remember the last mail of a sender in");
  }
}

void TCPropertyDatabase::TCTransaction::ForgetSenders(
    std::size_t Keep, std::vector<TSNorvSenderKey> const& Connected) {
  RequireOpen();
  long long const LastOfOthers = m_Database.m_SenderTurn;
  for (TSNorvSenderKey const& Sender : Connected) {
    TCExecution Kept(m_Database.m_Statements.KeepSender.get());
    BindSender(Kept, Sender);
    Kept.Bind(3, ++m_Database.m_SenderTurn);
    if (Kept.Step() != SQLITE_DONE) {
      Fail("keep the senders that are connected in");
    }
  }
  TCExecution Execution(m_Database.m_Statements.ForgetSenders.get());
  Execution.Bind(1, static_cast<long long>(Keep));
  Execution.Bind(2, LastOfOthers);
  if (Execution.Step() != SQLITE_DONE) {
    Fail("forget old mail senders in");
  }
  TCExecution Refusals(m_Database.m_Statements.ForgetOfForgotten.get());
  if (Refusals.Step() != SQLITE_DONE) {
    Fail("forget the refused mails of old senders in");
  }
  TCExecution Writers(m_Database.m_Statements.ForgetWriters.get());
  if (Writers.Step() != SQLITE_DONE) {
    Fail("forget old writers in");
  }
  m_Database.m_Writers.clear();
  m_ForgetsWriters = true;
}

void TCPropertyDatabase::TCTransaction::SetMeta(std::string const& Name, std::uint64_t Value) {
  RequireOpen();
  TCExecution Execution(m_Database.m_Statements.SetMeta.get());
  Execution.Bind(1, Name);
  Execution.Bind(2, static_cast<long long>(Value));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("set the counter " + Name + " in");
  }
}

void TCPropertyDatabase::TCTransaction::CountTransaction(std::uint64_t Transaction) {
  m_LastTransaction = std::max(m_LastTransaction, Transaction);
}

// What the entries that are left tell need not be written beside them.
void TCPropertyDatabase::TCTransaction::NoteCounters() {
  TSHistoryEnd const& Former = m_Database.m_History;
  m_History.Transaction = std::max(m_History.Transaction, m_LastTransaction);
  bool const Told =
      m_History.EntryTransaction == m_History.Transaction && m_History.Forgotten < m_History.LastId;
  bool const WasTold =
      Former.EntryTransaction == Former.Transaction && Former.Forgotten < Former.LastId;
  if (!Told && (WasTold || m_History.Transaction > Former.Transaction)) {
    SetMeta(kTransactionCounter, m_History.Transaction);
  }
  if (m_History.Forgotten > m_History.Gone && m_History.Forgotten > Former.Forgotten) {
    SetMeta(kForgottenMark, static_cast<std::uint64_t>(m_History.Forgotten));
  }
}

void TCPropertyDatabase::TCTransaction::Commit() {
  RequireOpen();
  NoteCounters();
  ReserveFile();
  {
    TCExecution Execution(m_Database.m_Statements.Commit.get());
    if (Execution.Step() != SQLITE_DONE) {
      Fail("commit to");
    }
  }
  m_Database.m_History = m_History;
  m_Database.m_Unmoved.Commit(m_History.Moved);
  m_Database.m_FilePages = m_FilePages;
  m_Database.m_AddedWriters = m_ForgetsWriters ? 0 : m_Database.m_AddedWriters;
  m_Open = false;
  try {
    m_Database.KeepInPlace();
  } catch (...) {
    m_Database.m_FirstDoubtless = std::max(m_Database.m_FirstDoubtless, m_LastTransaction + 1);
    throw;
  }
}

// Pages that the transaction adds to the file get their room on the disk before it is committed: so
// the log can always be copied into the file, and be written from its start again, however full the
// disk is.
void TCPropertyDatabase::TCTransaction::ReserveFile() {
  {
    TCExecution Execution(m_Database.m_Statements.PageCount.get());
    if (Execution.Step() != SQLITE_ROW) {
      Fail("count the pages of");
    }
    long long const Pages = sqlite3_column_int64(m_Database.m_Statements.PageCount.get(), 0);
    if (Pages <= m_FilePages) {
      return;
    }
    m_FilePages = Pages;
  }
  sqlite3_file* const File = m_Database.OpenFile(SQLITE_FCNTL_FILE_POINTER);
  int const Result = TCPropertyDatabase::Extend(File, m_FilePages * m_Database.m_PageSize);
  if (Result == SQLITE_OK) {
    return;
  }
  TCException Error(kSource, __LINE__, "Result==SQLITE_OK");
  Error.Format("cannot make room in %s: %s (SQLite error %d)", m_Database.m_Path.c_str(),
               sqlite3_errstr(Result), Result);
  bool const Full = Result == SQLITE_FULL || errno == EDQUOT || errno == EFBIG;
  Undo();
  if (Full) {
    throw TCDatabaseFull(Error, TEShortage::eFile);
  }
  throw Error;
}

// SQLite may have ended a failed transaction by itself; a change after that would be stored alone.
void TCPropertyDatabase::TCTransaction::RequireOpen() const {
  if (!m_Open) {
    throw TCException(kSource, __LINE__, "m_Open").Format("the transaction has already ended");
  }
}

void TCPropertyDatabase::TCTransaction::Fail(std::string const& Operation) {
  TCException const Error = m_Database.Failure(Operation);
  bool const Full = m_Database.IsFull();
  Undo();
  if (Full) {
    throw TCDatabaseFull(Error, TEShortage::eLog);
  }
  throw Error;
}

void TCPropertyDatabase::TCTransaction::Undo() {
  if (m_Open) {
    m_Database.m_Writers.clear();  // some of their rows may be undone
    m_Database.m_Unmoved.Undo();
  }
  if (m_Open && sqlite3_get_autocommit(m_Database.m_Handle.get()) == 0) {
    TCExecution Execution(m_Database.m_Statements.Rollback.get());
    Execution.Step();
  }
  m_Open = false;
}

}  // namespace Property
