// SPDX-License-Identifier: MIT
// Files and statements for the database tests.
#include "tests/unit/PropertyServer/DatabaseFixture.h"

#include <sqlite3.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/support/PrivateFolder.h"

namespace fs = std::filesystem;

namespace {

int KeepFirst(void* Result, int, char** Values, char**) {
  std::string& Text = *static_cast<std::string*>(Result);
  if (Text.empty() && Values[0] != nullptr) {
    Text = Values[0];
  }
  return 0;
}

}  // namespace

DatabaseFixture::DatabaseFixture()
    : m_Folder(MakePrivateFolder()), m_Path((m_Folder / "values.db").string()) {}

DatabaseFixture::~DatabaseFixture() {
  fs::remove_all(m_Folder);
}

std::string DatabaseFixture::MessageOf(std::function<void()> const& Action) {
  try {
    Action();
  } catch (TCException const& Error) {
    return Error.get_Message();
  }
  return "nothing was thrown";
}

std::string DatabaseFixture::OpeningMessage(std::string const& Path) {
  return MessageOf([&Path] { Property::TCPropertyDatabase Database(Path); });
}

void DatabaseFixture::Store(Property::TCPropertyDatabase& Database,
                            Property::TSPropertyRecord const& Record) {
  Property::TCPropertyDatabase::TCTransaction Transaction(Database);
  Property::TSProvenance const Nobody;
  Transaction.Store({{&Record, &Nobody, nullptr}}, Property::TSHistoryLimits(), 0);
  Transaction.Commit();
}

void DatabaseFixture::Note(Property::TCPropertyDatabase::TCTransaction& Transaction,
                           std::vector<Property::TSHistoryEntry> const& Entries,
                           Property::TSHistoryLimits const& Limits, std::int64_t Now) {
  std::vector<Property::TSPropertyRecord> Records;
  for (Property::TSHistoryEntry const& Entry : Entries) {
    Records.push_back(
        {Entry.Number, Entry.Link, Entry.MAC, Entry.Secret ? "a secret" : Entry.To, Entry.Removed});
  }
  std::vector<Property::TSChangeToStore> Changes;
  for (std::size_t Index = 0; Index < Entries.size(); ++Index) {
    Changes.push_back({&Records[Index], &Entries[Index].Origin, &Entries[Index]});
  }
  Transaction.Store(Changes, Limits, Now);
}

std::string DatabaseFixture::Unmoved(std::string const& Path) {
  return QuerySQL(Path,
                  "SELECT count(*) FROM (SELECT overtaken, max(id) FROM history "
                  "WHERE present IS NOT NULL AND "
                  "id > (SELECT value FROM meta WHERE name = 'moved') "
                  "GROUP BY number, link, mac) WHERE overtaken = 0");
}

std::vector<std::string> DatabaseFixture::Values(Property::TCPropertyDatabase const& Database) {
  std::vector<std::string> Result;
  Database.LoadAll([&Result](Property::TSPropertyRecord const& Record) {
    Result.push_back(std::to_string(Record.Number) + "/" +
                     (Record.Link.IsNull() ? "-" : Record.Link.get_AsString()) + "/" +
                     Record.MAC.get_AsString(':') + "=" + Record.Data);
  });
  return Result;
}

void DatabaseFixture::RunSQL(std::string const& Path, char const* SQL) {
  QuerySQL(Path, SQL);
}

void DatabaseFixture::MakeWithSmallPages(std::string const& Path) {
  { Property::TCPropertyDatabase const New(Path); }
  RunSQL(Path, "PRAGMA journal_mode=DELETE; PRAGMA page_size=512; VACUUM; PRAGMA journal_mode=WAL");
}

std::string DatabaseFixture::QuerySQL(std::string const& Path, char const* SQL) {
  std::string Result;
  sqlite3* Handle = nullptr;
  bool const Done = sqlite3_open(Path.c_str(), &Handle) == SQLITE_OK &&
                    sqlite3_exec(Handle, SQL, KeepFirst, &Result, nullptr) == SQLITE_OK;
  std::string const Error = sqlite3_errmsg(Handle);
  sqlite3_close(Handle);
  if (!Done) {
    throw std::runtime_error(Error);
  }
  return Result;
}

std::string DatabaseFixture::ReadFile(std::string const& Path) {
  std::ifstream File(Path, std::ios::binary);
  return {std::istreambuf_iterator<char>(File), std::istreambuf_iterator<char>()};
}

void DatabaseFixture::WriteFile(std::string const& Path, std::string const& Content) {
  std::ofstream(Path, std::ios::binary) << Content;
}

std::string DatabaseFixture::CopyAsLeft(std::string const& Name) const {
  fs::path const Folder = m_Folder / Name;
  fs::create_directory(Folder);
  for (char const* Suffix : {"", "-wal"}) {
    fs::copy_file(m_Path + Suffix, (Folder / "values.db").string() + Suffix);
  }
  return (Folder / "values.db").string();
}
