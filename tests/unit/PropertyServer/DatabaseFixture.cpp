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

constexpr char kVersion1[] = R"(
    CREATE TABLE property_value(
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
    PRAGMA user_version=1;
    INSERT INTO property_value VALUES(-5, 0, 0, '', 'first'), (7, 1, 3, '', ''),
      (7, 1, 3, '00:11:22:AA:BB:CC', 'of a device'), (8, 0, 0, '', CAST(x'610062ff' AS TEXT));
    INSERT INTO mail_sender VALUES(1, 'sender', 12);
    INSERT INTO meta VALUES('counter', 34);)";

constexpr char kVersion2[] = R"(
    CREATE TABLE writer(
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
    PRAGMA user_version=2;
    INSERT INTO writer VALUES(1, 0, 77, 'gateway');
    INSERT INTO history VALUES(1, 1, 5, 1, 8, 0, 0, '', NULL, 'new');
    UPDATE property_value SET changed = 5, writer = 1 WHERE number = 8;)";

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
  Transaction.Put(Record, Property::TSProvenance());
  Transaction.Commit();
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

void DatabaseFixture::MakeVersion1(std::string const& Path, std::string const& Settings) {
  RunSQL(Path, (Settings + kVersion1).c_str());
}

void DatabaseFixture::MakeVersion2(std::string const& Path, std::string const& Settings) {
  MakeVersion1(Path, Settings);
  RunSQL(Path, kVersion2);
}

std::vector<std::string> DatabaseFixture::Version1Values() {
  return {"-5/-/=first", "7/3/=", "7/3/00:11:22:AA:BB:CC=of a device",
          std::string("8/-/=a\0b\xff", 9)};
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
