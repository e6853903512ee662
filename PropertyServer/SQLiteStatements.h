// SPDX-License-Identifier: MIT
// Steps of the database library's statements, for the files that make up TCPropertyDatabase.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

/// Values that are newer than those in their places, the last one of a place standing; one that is
/// overtaken has a newer one in its place, or none.
constexpr char kLoadUnmoved[] =
    "SELECT number, link IS NOT NULL, coalesce(link, 0), mac, present, overtaken, id FROM history "
    "WHERE id > (SELECT value FROM meta WHERE name = 'moved') AND present IS NOT NULL ORDER BY id";
constexpr char kLoad[] =
    "SELECT number, has_link, link, mac, data, 0 FROM property_value "
    "ORDER BY number, has_link, link, mac";

/// The counter of the history's transactions, where its newest entry does not tell.
constexpr char kTransactionCounter[] = "transaction";
/// Up to which entry values were moved to their places.
constexpr char kMovedMark[] = "moved";
/// Up to which entry those that are not moved yet are no history any more.
constexpr char kForgottenMark[] = "forgotten";

/// A third of what a row takes is the statement around it; more rows than these save little more.
constexpr int kRowsTogether = 10;

/// Binds, steps and finally resets a statement. What is not bound is null. Bound text must outlive
/// it.
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

inline void BindKey(TCExecution& Execution, int Place, int Number,
                    Accessories::TCRecordID const& Link, std::string const& MAC) {
  Execution.Bind(Place, Number);
  Execution.Bind(Place + 1, Link.IsNull() ? 0 : 1);
  Execution.Bind(Place + 2, Link.IsNull() ? 0 : Link.get_AsInteger());
  Execution.Bind(Place + 3, MAC);
}

inline void BindSender(TCExecution& Execution, TSNorvSenderKey const& Sender) {
  Execution.Bind(1, static_cast<long long>(Sender.User));
  Execution.Bind(2, Sender.Identity);
}

/// Returns the rows that failed: the first, and how many went with it; 0 when all are inserted.
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

inline std::string DescribeRows(int FirstNumber, int Count) {
  std::string const Others = Count > 1 ? " and " + std::to_string(Count - 1) + " others" : "";
  return "property " + std::to_string(FirstNumber) + Others;
}

inline std::string_view ColumnText(sqlite3_stmt* Statement, int Column) {
  void const* const Bytes = sqlite3_column_text(Statement, Column);
  return {static_cast<char const*>(Bytes),
          static_cast<std::size_t>(sqlite3_column_bytes(Statement, Column))};
}

}  // namespace Property
