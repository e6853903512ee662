// SPDX-License-Identifier: MIT
// Tells of changes, of writers and of secrets, as far as the asker may know.
#include "PropertyServer/TCControlRequests.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCControlRequests";

using PropertyControl::kExplain;
using PropertyControl::kFind;
using PropertyControl::kHistory;
using PropertyControl::kOrphans;
using PropertyControl::kOutcome;
using PropertyControl::kPending;
using PropertyControl::kSchemas;
using PropertyControl::kSecrets;

constexpr std::size_t kMostTexts = std::size_t{256} << 10;  // bytes of a page

// A part of a second counts as one: there is time left.
int SecondsLeft(TSPendingChange const& Change) {
  return static_cast<int>((Change.LeftAt(TSClockReading::Now()) + 999999) / 1000000);
}

TSHistoryQuestion ReadQuestion(TSNorvMailContent const& Request) {
  TCControlReader Reader(Request);
  TCNorvControlObject::TCRecord const& Record = Reader.ReadOnly();
  TSHistoryQuestion Question;
  if (Record.m_ID.IsAssigned()) {
    Question.Number = Record.m_ID.get_AsInteger();
  }
  Question.Link = TCControlReader::LinkIn(Record.m_Link);
  Question.MAC = TCControlReader::MACIn(Record.m_MAC);
  if (auto const User = TCControlReader::NumberIn(Record.m_User, "user")) {
    Question.User = static_cast<uid_t>(*User);
  }
  if (Record.m_Program.IsAssigned()) {
    Question.Program = Record.m_Program.get_AsString();
  }
  if (auto const Since = TCControlReader::NumberIn(Record.m_Time, "time")) {
    Question.Since = static_cast<std::int64_t>(*Since);
  }
  Question.Transaction = TCControlReader::NumberIn(Record.m_Transaction, "transaction");
  if (auto const Before = TCControlReader::NumberIn(Record.m_Place, "place")) {
    Question.Before = static_cast<long long>(*Before);
  }
  int const Limit =
      Record.m_Limit.IsAssigned() ? Record.m_Limit.get_AsInteger() : PropertyControl::kPageEntries;
  Question.Limit =
      static_cast<std::size_t>(std::clamp(Limit, 1, PropertyControl::kMostPageEntries));
  return Question;
}

}  // namespace

TCControlRequests::TCControlRequests(TCConfiguration const& Configuration,
                                     TCPropertyValues const& Values,
                                     TCPropertyDatabase const& Database,
                                     TCPendingChanges const& Pending, TCServerSchema const* Schema)
    : m_Configuration(Configuration),
      m_Values(Values),
      m_Database(Database),
      m_Pending(Pending),
      m_Schema(Schema),
      m_Find(Configuration, Values, Schema) {}

bool TCControlRequests::IsKnown(TSNorvMailContent const& Request) {
  return Request.MailClass == Norv_ControlMail && Request.SignalType == eNorvRequest;
}

TSNorvMailContent TCControlRequests::Answer(TSNorvMailSender const& Sender,
                                            TSNorvMailContent const& Request) const {
  switch (Request.SignalName) {
    case kFind.Name:
      return m_Find.Answer(Sender, Request);
    case kHistory.Name:
      return AnswerHistory(Sender, Request);
    case kExplain.Name:
      return AnswerExplain(Sender, Request);
    case kOutcome.Name:
      return AnswerOutcome(Sender);
    case kOrphans.Name:
      return AnswerOrphans(Sender, Request);
    case kSchemas.Name:
      return AnswerSchemas(Sender);
    case kPending.Name:
      return AnswerPending(Sender);
    case kSecrets.Name:
      return AnswerSecrets(Sender);
    default:
      throw TCException(kSource, __LINE__)
          .Format("the server knows no question %d about changes", Request.SignalName);
  }
}

TSNorvMailContent TCControlRequests::AnswerHistory(TSNorvMailSender const& Sender,
                                                   TSNorvMailContent const& Request) const {
  TSHistoryQuestion Question = ReadQuestion(Request);
  Question.MayRead = [this, &Sender](int Number) {
    return m_Configuration->MayRead(Sender, Number);
  };
  TSHistoryPage const Page = m_Database.ReadHistory(Question);
  TCControlWriter Writer;
  for (auto const& [Place, Entry] : Page.Entries) {
    TCNorvControlObject::TCRecord& Record = Writer.Begin();
    Writer.PutPlace(TCPropertyPlace(Entry.Number, Entry.Link, Entry.MAC));
    Writer.PutOrigin(Entry.Origin);
    Record.m_Place.set_AsString(std::to_string(Place));
    Record.m_Transaction.set_AsString(std::to_string(Entry.Transaction));
    Record.m_Secret.set_AsBool(Entry.Secret);
    if (Entry.From) {
      Record.m_Former.set_AsString(*Entry.From);
    }
    Record.m_Removed.set_AsBool(Entry.Removed);
    if (Entry.Undoes != 0) {
      Record.m_Undoes.set_AsString(std::to_string(Entry.Undoes));
    }
    if (!Entry.Secret && !Entry.Removed) {
      Record.m_Data.set_AsString(Entry.To);
    }
    Writer.Append();
  }
  if (Page.Next) {
    Writer.Begin().m_Place.set_AsString(std::to_string(*Page.Next));
    Writer.Append();
  }
  return Writer.Finish(kHistory.Name);
}

TSNorvMailContent TCControlRequests::AnswerExplain(TSNorvMailSender const& Sender,
                                                   TSNorvMailContent const& Request) const {
  TCControlReader Reader(Request);
  if (Reader.get_Count() > PropertyControl::kMostExplained) {
    throw TCException(kSource, __LINE__)
        .Format("%d values are asked for, at most %d are explained at once", Reader.get_Count(),
                PropertyControl::kMostExplained);
  }
  std::vector<TCPropertyPlace> Places;
  std::set<TCPropertyPlace> Held;
  for (int Index = 0; Index < Reader.get_Count(); ++Index) {
    Places.push_back(TCControlReader::PlaceIn(Reader.Read(Index)));
    if (FindReadable(Sender, Places.back()) != nullptr) {
      Held.insert(Places.back());
    }
  }
  auto const Transactions = m_Database.LastTransactions(std::move(Held));
  TCControlWriter Writer;
  for (TCPropertyPlace const& Place : Places) {
    TCNorvControlObject::TCRecord& Record = Writer.Begin();
    Writer.PutPlace(Place);
    std::string const* const Value = FindReadable(Sender, Place);
    Record.m_Held.set_AsBool(Value != nullptr);
    if (IsReadableOrphan(Sender, Place)) {
      Record.m_Orphan.set_AsBool(true);
    }
    if (Value != nullptr) {
      Record.m_Data.set_AsString(*Value);
      Explain(Place, Writer, Record);
    }
    auto const Transaction = Transactions.find(Place);
    if (Transaction != Transactions.end()) {
      Record.m_Transaction.set_AsString(std::to_string(Transaction->second));
    }
    Writer.Append();
  }
  return Writer.Finish(kExplain.Name);
}

std::string const* TCControlRequests::FindReadable(TSNorvMailSender const& Sender,
                                                   TCPropertyPlace const& Place) const {
  int const Number = std::get<int>(Place);
  bool const Told = m_Configuration->MayRead(Sender, Number) && !m_Values.IsOrphan(Number);
  return Told ? m_Values.Find(Place) : nullptr;
}

bool TCControlRequests::IsReadableOrphan(TSNorvMailSender const& Sender,
                                         TCPropertyPlace const& Place) const {
  int const Number = std::get<int>(Place);
  return m_Values.IsOrphan(Number) && m_Configuration->MayRead(Sender, Number) &&
         m_Values.Find(Place) != nullptr;
}

void TCControlRequests::RequireAdministrator(TSNorvMailSender const& Sender) const {
  if (!m_Configuration->MayAdminister(Sender)) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not ask for this, only %s may", Sender.User,
                m_Configuration->get_Administrators().c_str());
  }
}

TSNorvMailContent TCControlRequests::AnswerOrphans(TSNorvMailSender const& Sender,
                                                   TSNorvMailContent const& Request) const {
  RequireAdministrator(Sender);
  TCControlReader Reader(Request);
  TCPropertyPlace Last(std::numeric_limits<int>::min(), Accessories::TCRecordID(), TCMACAddress());
  if (Reader.get_Count() > 0 && Reader.Read(0).m_ID.IsAssigned()) {
    Last = TCControlReader::PlaceIn(Reader.Read(0));
  }
  TCControlWriter Writer;
  std::size_t Count = 0;
  std::size_t Texts = 0;
  m_Values.VisitOrphans(Last, [&](TCPropertyPlace const& Place, std::string const& Data) {
    int const Number = std::get<int>(Place);
    TCNorvControlObject::TCRecord& Record = Writer.Begin();
    if (Count >= static_cast<std::size_t>(PropertyControl::kMostPageEntries) ||
        Texts >= kMostTexts) {
      Writer.Append();  // there is more
      return false;
    }
    ++Count;
    Writer.PutPlace(Place);
    bool const Secret =
        m_Configuration->IsSecret(Number) || !m_Configuration->MayRead(Sender, Number);
    Record.m_Secret.set_AsBool(Secret);
    if (!Secret) {
      Texts += Data.size();
      Record.m_Data.set_AsString(Data);
    }
    Record.m_Text.set_AsString(TCServerSchema::ReasonOf(Number));
    Writer.Append();
    return true;
  });
  return Writer.Finish(kOrphans.Name);
}

TSNorvMailContent TCControlRequests::AnswerSchemas(TSNorvMailSender const& Sender) const {
  RequireAdministrator(Sender);
  TCControlWriter Writer;
  if (m_Schema != nullptr) {
    for (TSSchemaLibrary const& Library : m_Schema->get_Libraries()) {
      TCNorvControlObject::TCRecord& Record = Writer.Begin();
      Record.m_Path.set_AsString(Library.File);
      Record.m_Held.set_AsBool(Library.Loaded);
      Record.m_Refused.set_AsBool(Library.Tried && !Library.Loaded);
      if (Library.Inode != 0) {
        Record.m_Device.set_AsString(std::to_string(Library.Device));
        Record.m_Inode.set_AsString(std::to_string(Library.Inode));
        Record.m_Size.set_AsString(std::to_string(Library.Size));
        Record.m_Time.set_AsString(std::to_string(Library.Changed));
      }
      if (!Library.Loaded) {
        Record.m_Text.set_AsString(Library.Reason);
      }
      Writer.Append();
    }
  }
  return Writer.Finish(kSchemas.Name);
}

void TCControlRequests::Explain(TCPropertyPlace const& Place, TCControlWriter& Writer,
                                TCNorvControlObject::TCRecord& Record) const {
  auto const& [Number, Link, MAC] = Place;
  Record.m_Secret.set_AsBool(m_Configuration->IsSecret(Number));
  if (auto const Origin = m_Database.Provenance(Number, Link, MAC)) {
    Writer.PutOrigin(*Origin);
  }
  if (TSPendingChange const* const Change = m_Pending.FindOf(Place)) {
    Record.m_Seconds = SecondsLeft(*Change);
  }
}

TSNorvMailContent TCControlRequests::AnswerOutcome(TSNorvMailSender const& Sender) const {
  TSLastMail const Last = m_Database.FindLastMail(Sender);
  TCControlWriter Writer;
  if (Last.Number != 0) {
    TCNorvControlObject::TCRecord& Record = Writer.Begin();
    Record.m_Mail.set_AsString(std::to_string(Last.Number));
    Record.m_Refused.set_AsBool(Last.Outcome.Refusal.has_value());
    if (Last.Outcome.Refusal) {
      Record.m_Text.set_AsString(*Last.Outcome.Refusal);
    } else if (Last.Outcome.Transaction != 0) {
      Record.m_Transaction.set_AsString(std::to_string(Last.Outcome.Transaction));
    }
    Writer.Append();
  }
  return Writer.Finish(kOutcome.Name);
}

TSNorvMailContent TCControlRequests::AnswerPending(TSNorvMailSender const& Sender) const {
  bool const All = m_Configuration->MayAdminister(Sender);
  TCControlWriter Writer;
  for (auto const& [Transaction, Change] : m_Pending.get_All()) {
    if (All || Change.Origin.User == Sender.User) {
      TCNorvControlObject::TCRecord& Record = Writer.Begin();
      Record.m_Transaction.set_AsString(std::to_string(Transaction));
      Writer.PutOrigin(Change.Origin);
      Record.m_Seconds = SecondsLeft(Change);
      Writer.Append();
    }
  }
  return Writer.Finish(kPending.Name);
}

TSNorvMailContent TCControlRequests::AnswerSecrets(TSNorvMailSender const& Sender) const {
  TCControlWriter Writer;
  for (TSPropertyRange const& Secrets : m_Configuration->get_Secrets()) {
    for (TSPropertyRange const& Readable : m_Configuration->Readable(Sender, Secrets)) {
      TCNorvControlObject::TCRecord& Record = Writer.Begin();
      Record.m_ID = Readable.First;
      Record.m_Last = Readable.Last;
      Writer.Append();
    }
  }
  return Writer.Finish(kSecrets.Name);
}

}  // namespace Property
