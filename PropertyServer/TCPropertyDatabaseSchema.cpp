// SPDX-License-Identifier: MIT
// Whose file it is, its tables, and the statements that work on them.
#include <sqlite3.h>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseSchema";

constexpr long long kApplicationID = 0x50727074;
constexpr long long kSchemaVersion = 1;

// In a key a null link is has_link 0 and link 0, so that it has the order of the server's keys.
constexpr char kTables[] = R"(
  BEGIN IMMEDIATE;
  CREATE TABLE writer(
    id INTEGER PRIMARY KEY,
    user INTEGER NOT NULL,
    process INTEGER NOT NULL,
    name TEXT NOT NULL,
    UNIQUE(user, process, name)) STRICT;
  CREATE TABLE property_value(
    number INTEGER NOT NULL,
    has_link INTEGER NOT NULL,
    link INTEGER NOT NULL,
    mac TEXT NOT NULL,
    data TEXT NOT NULL,
    changed INTEGER NOT NULL,
    writer INTEGER NOT NULL,
    PRIMARY KEY(number, has_link, link, mac)) STRICT, WITHOUT ROWID;
  -- A change. Without a former text it is of a new value, without a present one of a secret value,
  -- or it has removed the value. The present text of the newest entry of a key beyond the mark
  -- `moved` is the value, which is not in property_value yet; or it is `overtaken`: then what is
  -- there, or that there is none, is newer. Entries up to the mark `forgotten` are no history any
  -- more, and go when their values are moved. Where an entry begins among the bytes of all, and how
  -- old it is by the history's own clock, stand before its texts: who looks at them need not read
  -- those. A null link is null.
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
    link INTEGER,
    mac TEXT NOT NULL,
    removed INTEGER NOT NULL DEFAULT 0,
    overtaken INTEGER NOT NULL DEFAULT 0,
    former TEXT,
    present TEXT) STRICT;
  -- What a sender's last mail has led to stands with its number; what is `forgotten` is the last of
  -- its refused mails that has no row. An identity says who a sender is within its user only.
  CREATE TABLE sender(
    user INTEGER NOT NULL,
    identity TEXT NOT NULL,
    last_mail INTEGER NOT NULL,
    turn INTEGER NOT NULL,
    outcome INTEGER,
    refusal TEXT,
    forgotten INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY(user, identity)) STRICT, WITHOUT ROWID;
  -- Refused mails, in their order, a row for each value that the reason is about, or one without a
  -- number.
  CREATE TABLE refusal(
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
  -- A pending change is taken back unless it is confirmed; a value of it without a former text was
  -- new.
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
  CREATE TABLE meta(
    name TEXT NOT NULL PRIMARY KEY,
    value INTEGER NOT NULL) STRICT, WITHOUT ROWID;
  INSERT INTO meta VALUES('moved', 0), ('forgotten', 0);
  PRAGMA application_id=0x50727074;
  PRAGMA user_version=1;
  COMMIT;)";

}  // namespace

bool TCPropertyDatabase::IsNew() const {
  return QueryInteger("PRAGMA application_id") == 0 && QueryInteger("PRAGMA user_version") == 0 &&
         QueryInteger("SELECT count(*) FROM sqlite_schema") == 0;
}

void TCPropertyDatabase::RequireOwnFile() const {
  if (IsNew()) {
    return;
  }
  long long const Application = QueryInteger("PRAGMA application_id");
  if (Application != kApplicationID) {
    throw TCException(kSource, __LINE__, "Application==kApplicationID")
        .Format(
            "%s is not a property database: its application id is 0x%08llx, not 0x%08llx; "
            "choose another file, nothing was changed",
            m_Path.c_str(), Application & 0xffffffff, kApplicationID);
  }
  long long const Version = QueryInteger("PRAGMA user_version");
  if (Version != kSchemaVersion) {
    throw TCException(kSource, __LINE__, "Version==kSchemaVersion")
        .Format(
            "%s was written by %s version (schema %lld, this program knows %lld); "
            "use that version or restore a backup, nothing was changed",
            m_Path.c_str(), Version > kSchemaVersion ? "a newer" : "another", Version,
            kSchemaVersion);
  }
}

// All in one transaction: a file has none of it, or all.
void TCPropertyDatabase::MakeTables() const {
  if (IsNew()) {
    Execute(kTables);
  }
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
  m_Statements.ReadUnmoved = Prepare(
      "SELECT number, link IS NOT NULL, coalesce(link, 0), mac, present, time, writer FROM history "
      "WHERE id = ?1");
  m_Statements.Overtake = Prepare("UPDATE history SET overtaken = 1 WHERE id = ?1");
  m_Statements.Provenance = Prepare(
      "SELECT changed, user, process, name FROM "
      "(SELECT id AS age, time AS changed, writer FROM history WHERE id = ?5 UNION ALL "
      "SELECT 0, changed, writer FROM property_value "
      "WHERE number = ?1 AND has_link = ?2 AND link = ?3 AND mac = ?4 "
      "ORDER BY age DESC LIMIT 1) AS newest JOIN writer ON writer.id = newest.writer");
  m_Statements.LastMail =
      Prepare("SELECT last_mail, outcome, refusal FROM sender WHERE user = ?1 AND identity = ?2");
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
      "(SELECT writer FROM history UNION SELECT writer FROM pending UNION "
      "SELECT writer FROM property_value)");
  std::string const Entry =
      "id, start, counted, turn, parts, time, writer, number, link, mac, former, present";
  m_Statements.AppendHistory = PrepareInsertion("history(" + Entry + ")");
  m_Statements.AppendRarely =
      Prepare(("INSERT INTO history(" + Entry +
               ", removed, undoes) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
                  .c_str());
  // The oldest come first, and what is too old in any way has only such before it.
  m_Statements.FirstKept = Prepare(
      "SELECT id FROM history WHERE id > ?1 AND start >= ?2 AND counted >= ?3 ORDER BY id LIMIT 1");
  m_Statements.ForgetHistory = Prepare("DELETE FROM history WHERE id <= ?1");
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

}  // namespace Property
