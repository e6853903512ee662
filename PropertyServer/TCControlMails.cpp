// SPDX-License-Identifier: MIT
// Resets, confirmations and what takes transactions back.
#include "PropertyServer/TCControlMails.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCLogBudget.h"
#include "Platform/Utility/UTF8.h"
#include "PropertyServer/TCCommitQueue.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCControlMails";
constexpr std::size_t kMostReason = 4096;  // bytes
constexpr std::size_t kMostListed = 20;    // values
constexpr std::int64_t kSecond = 1000000;  // microseconds
constexpr char kServerName[] = "property-server";

/// What a transaction made of a value: an undo looks at the first and the last of its entries.
struct TSSpan {
  TSHistoryEntry const* First = nullptr;
  TSHistoryEntry const* Last = nullptr;
};

std::map<TCPropertyPlace, TSSpan> SpansOf(std::vector<TSHistoryEntry> const& Entries) {
  std::map<TCPropertyPlace, TSSpan> Spans;
  for (TSHistoryEntry const& Entry : Entries) {
    TSSpan& Span = Spans[TCPropertyPlace(Entry.Number, Entry.Link, Entry.MAC)];
    Span.First = Span.First != nullptr ? Span.First : &Entry;
    Span.Last = &Entry;
  }
  return Spans;
}

TSPropertyRecord RecordAt(TCPropertyPlace const& Place, std::string const* Data) {
  auto const& [Number, Link, MAC] = Place;
  return {Number, Link, MAC, Data != nullptr ? *Data : std::string(), Data == nullptr};
}

std::uint64_t TransactionIn(TSNorvMailContent const& Content, bool& Force) {
  TCControlReader Reader(Content);
  TCNorvControlObject::TCRecord const& Record = Reader.ReadOnly();
  Force = Record.m_Force.get_AsBool();
  return TCControlReader::NumberIn(Record.m_Transaction, "transaction").value_or(0);
}

}  // namespace

TCControlMails::TCControlMails(TCConfiguration const& Configuration, TCChangeRules const& Rules,
                               TCPropertyDatabase const& Database, TCPropertyValues const& Values,
                               TCPendingChanges const& Pending, TCFindNewest FindNewest,
                               TCStoreAll StoreAll)
    : m_Configuration(Configuration),
      m_Rules(Rules),
      m_Database(Database),
      m_Values(Values),
      m_Pending(Pending),
      m_FindNewest(std::move(FindNewest)),
      m_StoreAll(std::move(StoreAll)) {}

bool TCControlMails::IsKnown(TSNorvMailContent const& Content) {
  return Content.MailClass == Norv_ControlMail && Content.SignalType == eNorvChange;
}

void TCControlMails::Decide(TSTakenMail& Taken) const {
  try {
    DecideSignal(Taken);
  } catch (TCException const& Refusal) {
    Taken.Changes.clear();
    Taken.Effects.reset();
    Taken.Refused = true;
    std::string const& Reason = Refusal.get_Message();
    Taken.Outcome.Refusal = Reason.substr(0, BeginningLength(Reason, kMostReason));
  }
}

void TCControlMails::DecideSignal(TSTakenMail& Taken) const {
  switch (Taken.Mail.Content.SignalName) {
    case PropertyControl::kChange.Name:
      DecideChange(Taken);
      break;
    case PropertyControl::kUndo.Name:
      DecideUndo(Taken);
      break;
    case PropertyControl::kConfirm.Name:
      DecideConfirm(Taken);
      break;
    case PropertyControl::kForget.Name:
      DecideForget(Taken);
      break;
    case PropertyControl::kChangeIf.Name:
      DecideChangeIf(Taken);
      break;
    case PropertyControl::kReset.Name:
      DecideReset(Taken);
      break;
    default:
      throw TCException(kSource, __LINE__)
          .Format("the server knows no mail %d about changes", Taken.Mail.Content.SignalName);
  }
}

// The time begins when the mail is taken, which gives the change its number.
void TCControlMails::DecideChange(TSTakenMail& Taken) const {
  TCControlReader Reader(Taken.Mail.Content);
  int const Seconds = Reader.get_Count() > 0 ? Reader.Read(0).m_Seconds.get_AsInteger() : 0;
  TCExpectations const Expected = ReadConditional(Reader, 1, Taken);
  Check(Taken);
  RequireExpected(Taken, Expected);
  std::string const Reason =
      m_Pending.ReasonAgainst(Taken.Mail.Sender->User, Seconds, Taken.Changes);
  if (!Reason.empty()) {
    throw TCException(kSource, __LINE__).Format("%s", Reason.c_str());
  }
  Taken.Effects = std::make_shared<TSControlEffects>();
  Taken.Effects->Former = Former(Taken.Changes);
  TSPendingChange& Pending = Taken.Effects->Pending.emplace();
  Pending.Granted = Pending.Left = Seconds * kSecond;
  Pending.Noted = TSClockReading::Now();
}

void TCControlMails::DecideReset(TSTakenMail& Taken) const {
  TCControlReader Reader(Taken.Mail.Content);
  for (int Index = 0; Index < Reader.get_Count(); ++Index) {
    Taken.Changes.push_back(RecordAt(TCControlReader::PlaceIn(Reader.Read(Index)), nullptr));
  }
  Check(Taken);
}

void TCControlMails::DecideChangeIf(TSTakenMail& Taken) const {
  TCControlReader Reader(Taken.Mail.Content);
  TCExpectations const Expected = ReadConditional(Reader, 0, Taken);
  Check(Taken);
  RequireExpected(Taken, Expected);
}

// Rights come before what stands, so that no refusal tells of a value that is not for the sender.
TCControlMails::TCExpectations TCControlMails::ReadConditional(TCControlReader& Reader, int First,
                                                               TSTakenMail& Taken) const {
  TSNorvMailSender const& Sender = Taken.Mail.Sender;
  TCExpectations Expected;
  for (int Index = First; Index < Reader.get_Count(); ++Index) {
    TCNorvControlObject::TCRecord const& Record = Reader.Read(Index);
    TCPropertyPlace const Place = TCControlReader::PlaceIn(Record);
    std::string const Data = Record.m_Data.get_AsString();
    if (!Record.m_Held.IsAssigned()) {
      Taken.Changes.push_back(RecordAt(Place, Record.m_Data.IsAssigned() ? &Data : nullptr));
      continue;
    }
    if (!m_Configuration->MayRead(Sender, std::get<int>(Place))) {
      Taken.Outcome.Places = {Place};
      throw TCException(kSource, __LINE__)
          .Format("user %u may not read property %d and so expect nothing of it", Sender.User,
                  std::get<int>(Place));
    }
    Expected[Place] = Record.m_Held.get_AsBool() ? std::optional<std::string>(Data) : std::nullopt;
  }
  return Expected;
}

void TCControlMails::RequireExpected(TSTakenMail& Taken, TCExpectations const& Expected) const {
  std::string List;
  std::size_t Count = 0;
  for (auto const& [Place, Data] : Expected) {
    std::string const* const Now =
        m_Values.IsOrphan(std::get<int>(Place)) ? nullptr : m_FindNewest(Place);
    bool const Same = Now == nullptr ? !Data : Data && *Data == *Now;
    if (!Same && ++Count <= kMostListed) {
      Taken.Outcome.Places.push_back(Place);
      List += (List.empty() ? "" : ", ") + Describe(Place);
    }
  }
  if (Count > 0) {
    Taken.Outcome.Compared = true;
    throw TCException(kSource, __LINE__)
        .Format("not as expected: %s%s", List.c_str(),
                Count > kMostListed
                    ? (" and " + std::to_string(Count - kMostListed) + " others").c_str()
                    : "");
  }
}

void TCControlMails::DecideConfirm(TSTakenMail& Taken) const {
  TSNorvMailSender const& Sender = Taken.Mail.Sender;
  bool Force = false;
  std::uint64_t const Transaction = TransactionIn(Taken.Mail.Content, Force);
  TSPendingChange const* const Change = m_Pending.Find(Transaction);
  if (Change == nullptr ||
      (Change->Origin.User != Sender.User && !m_Configuration->MayAdminister(Sender))) {
    throw TCException(kSource, __LINE__)
        .Format("no transaction %llu waits for a confirmation of user %u",
                static_cast<unsigned long long>(Transaction), Sender.User);
  }
  Taken.Effects = std::make_shared<TSControlEffects>();
  Taken.Effects->Settles = Transaction;
}

// As many at once as a mail may change: the same mail again removes the rest.
void TCControlMails::DecideForget(TSTakenMail& Taken) const {
  TSNorvMailSender const& Sender = Taken.Mail.Sender;
  TCControlReader Reader(Taken.Mail.Content);
  int const Number = std::get<int>(TCControlReader::PlaceIn(Reader.ReadOnly()));
  if (!m_Configuration->MayAdminister(Sender) || !m_Configuration->MayWrite(Sender, Number)) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not have the values of property %d forgotten", Sender.User, Number);
  }
  std::size_t const Most = m_Configuration->get_Limits().MailRecords;
  m_Values.VisitOrphans(TCPropertyPlace(std::max(Number, std::numeric_limits<int>::min() + 1) - 1,
                                        Accessories::TCRecordID(), TCMACAddress()),
                        [&](TCPropertyPlace const& Place, std::string const& /*Data*/) {
                          if (std::get<int>(Place) == Number) {
                            Taken.Changes.push_back(RecordAt(Place, nullptr));
                          }
                          return std::get<int>(Place) <= Number && Taken.Changes.size() < Most;
                        });
  DropEmpty(Taken.Changes);
  if (Taken.Changes.empty()) {
    throw TCException(kSource, __LINE__).Format("no value of a property %d is kept aside", Number);
  }
}

void TCControlMails::DecideUndo(TSTakenMail& Taken) const {
  bool Force = false;
  std::uint64_t const Transaction = TransactionIn(Taken.Mail.Content, Force);
  std::vector<TSHistoryEntry> const Entries = ReadUndoable(Taken.Mail.Sender, Transaction);
  if (!Force) {
    RequireUnchanged(Entries);
  }
  for (auto const& [Place, Span] : SpansOf(Entries)) {
    Taken.Changes.push_back(RecordAt(Place, Span.First->From ? &*Span.First->From : nullptr));
  }
  Check(Taken);
  Taken.Effects = std::make_shared<TSControlEffects>();
  Taken.Effects->Undoes = Transaction;
  Taken.Effects->Settles = m_Pending.Find(Transaction) != nullptr ? Transaction : 0;
}

// What waits is not in the history yet. Who may not change all of it hears nothing of it.
std::vector<TSHistoryEntry> TCControlMails::ReadUndoable(TSNorvMailSender const& Sender,
                                                         std::uint64_t Transaction) const {
  if (!m_StoreAll()) {
    throw std::runtime_error("the history can not be told while changes can not be stored");
  }
  std::vector<TSHistoryEntry> Entries = m_Database.ReadTransaction(Transaction);
  auto const Number = static_cast<unsigned long long>(Transaction);
  bool const Granted =
      std::all_of(Entries.begin(), Entries.end(), [this, &Sender](TSHistoryEntry const& Entry) {
        return m_Configuration->MayRead(Sender, Entry.Number) &&
               m_Configuration->MayWrite(Sender, Entry.Number);
      });
  if (Entries.empty() || !Granted) {
    throw TCException(kSource, __LINE__)
        .Format("the history has no transaction %llu that user %u may take back", Number,
                Sender.User);
  }
  if (Entries.front().Parts != Entries.size()) {
    throw TCException(kSource, __LINE__)
        .Format("the history does not have the whole of transaction %llu any more", Number);
  }
  std::vector<TSPropertyRange> const OnceSecret = m_Database.OnceSecret();
  for (TSHistoryEntry const& Entry : Entries) {
    bool const Hidden = !Entry.From && !Entry.Removed && Contains(OnceSecret, Entry.Number);
    if (Entry.Secret || Hidden) {
      throw TCException(kSource, __LINE__)
          .Format("the history does not have the texts of %s, which is or was secret",
                  Describe(TCPropertyPlace(Entry.Number, Entry.Link, Entry.MAC)).c_str());
    }
  }
  return Entries;
}

void TCControlMails::RequireUnchanged(std::vector<TSHistoryEntry> const& Entries) const {
  std::string List;
  std::size_t Count = 0;
  for (auto const& [Place, Span] : SpansOf(Entries)) {
    std::string const* const Now = m_FindNewest(Place);
    bool const Same = Span.Last->Removed ? Now == nullptr : Now != nullptr && *Now == Span.Last->To;
    if (!Same && ++Count <= kMostListed) {
      List += (List.empty() ? "" : ", ") + Describe(Place);
    }
  }
  if (Count > kMostListed) {
    List += " and " + std::to_string(Count - kMostListed) + " others";
  }
  if (Count > 0) {
    throw TCException(kSource, __LINE__).Format("changed since then: %s", List.c_str());
  }
}

void TCControlMails::Check(TSTakenMail& Taken) const {
  std::size_t const Most = m_Configuration->get_Limits().MailRecords;
  if (Taken.Changes.size() > Most) {
    throw TCException(kSource, __LINE__)
        .Format("it changes %zu values, at most %zu are allowed in one mail (mail_records)",
                Taken.Changes.size(), Most);
  }
  std::string const Reason =
      m_Rules.ReasonAgainst(Taken.Mail.Sender, Taken.Changes, Taken.Outcome.Places);
  if (!Reason.empty()) {
    throw TCException(kSource, __LINE__).Format("%s", Reason.c_str());
  }
  DropEmpty(Taken.Changes);
}

// What is to be removed and is not there.
void TCControlMails::DropEmpty(std::vector<TSPropertyRecord>& Changes) const {
  std::set<TCPropertyPlace> Set;
  auto const IsEmpty = [this, &Set](TSPropertyRecord const& Change) {
    TCPropertyPlace const Place = PlaceOf(Change);
    if (!Change.Removed) {
      Set.insert(Place);
      return false;
    }
    return m_FindNewest(Place) == nullptr && Set.count(Place) == 0;
  };
  Changes.erase(std::remove_if(Changes.begin(), Changes.end(), IsEmpty), Changes.end());
}

std::vector<TSPropertyRecord> TCControlMails::Former(
    std::vector<TSPropertyRecord> const& Changes) const {
  std::set<TCPropertyPlace> Places;
  for (TSPropertyRecord const& Change : Changes) {
    Places.insert(PlaceOf(Change));
  }
  std::vector<TSPropertyRecord> Former;
  Former.reserve(Places.size());
  for (TCPropertyPlace const& Place : Places) {
    Former.push_back(RecordAt(Place, m_FindNewest(Place)));
  }
  return Former;
}

// Whatever has become of rules and limits since, and of the values: what stood before stands again.
bool TCControlMails::TakeBack(TSPendingChange const& Change, TSTakenMail& Taken) const {
  if (!m_StoreAll()) {
    return false;
  }
  Taken.Changes = m_Database.ReadFormer(Change.Transaction);
  DropEmpty(Taken.Changes);
  TSNorvMailSender Server;
  Server.User = geteuid();
  Server.Process = getpid();
  Server.ProcessName = kServerName;
  Taken.Mail.Sender = std::move(Server);
  Taken.Effects = std::make_shared<TSControlEffects>();
  Taken.Effects->Undoes = Change.Transaction;
  Taken.Effects->Settles = Change.Transaction;
  return true;
}

}  // namespace Property
