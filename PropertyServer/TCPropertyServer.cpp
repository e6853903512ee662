// SPDX-License-Identifier: MIT
// Answers requests, stores changes and tells every process of them.
#include "PropertyServer/TCPropertyServer.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvServerObject.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyServer";

[[noreturn]] void ThrowMalformed(int Line, char const* Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason);
}

bool IsSignal(TSNorvMailContent const& Content, PropertyProtocol::TSSignal Signal) {
  return Content.MailClass == Norv_PropertyMail && Content.SignalType == Signal.Type &&
         Content.SignalName == Signal.Name;
}

TSNorvMailContent NewMail(PropertyProtocol::TSSignal Signal,
                          std::shared_ptr<TCNorvMailBody const> Body) {
  return {Norv_PropertyMail, Signal.Type, Signal.Name, std::move(Body)};
}

// A link or device that can not be read must not be stored as none.
Accessories::TCRecordID ReadLink(TCNorvField const& Field) {
  Accessories::TCRecordID const Link = Field.get_AsRecordID();
  if (Link.IsNull() && !Field.get_AsString().empty()) {
    ThrowMalformed(__LINE__, "a link that is no number");
  }
  return Link;
}

TCMACAddress ReadMAC(TCNorvField const& Field) {
  std::string const Text = Field.get_AsString();
  TCMACAddress const MAC(Text);
  if (MAC.Empty() && !Text.empty()) {
    ThrowMalformed(__LINE__, "a device that is no MAC address");
  }
  return MAC;
}

}  // namespace

TCPropertyServer::TCPropertyServer(TCNorvMailRouter& Router, TCPropertyDatabase& Database,
                                   TEDurability Durability, bool Trace,
                                   TCConfiguration Configuration)
    : TCNorvService(Router, PropertyProtocol::kMailbox),
      m_Router(Router),
      m_Database(Database),
      m_Durability(Durability),
      m_Trace(Trace),
      m_Configuration(std::move(Configuration)),
      m_Taken(Database, [&Router] { return Router.get_Senders(); }),
      m_SecretTexts(Database),
      m_LastTransaction(Database.get_LastTransaction()),
      m_Everything(Router.get_Event()),
      m_Whole(Router.get_Event()),
      m_Queue(
          Database, m_Taken, Router.get_Event(), Durability,
          [this](std::list<TSTakenMail>& Stored) { OnStored(Stored); },
          [this](bool Failing, char const* Reason) { OnTrouble(Failing, Reason); }) {
  m_Database.LoadAll([this](TSPropertyRecord Record) {
    m_Values.emplace(PlaceOf(Record), std::move(Record.Data));
  });
  m_SecretTexts.SetSecrets(m_Configuration->get_Secrets());
  Open();
  m_Router.Execute([this] { Configure(); });
}

TCPropertyServer::~TCPropertyServer() {
  Close();
  m_Router.Execute([this] {
    m_Queue.Commit();
    m_Router.SetAdmission(nullptr);
  });
}

void TCPropertyServer::Configure() {
  TSServerLimits const& Limits = m_Configuration->get_Limits();
  TSNorvRouterLimits RouterLimits;
  RouterLimits.Connections = Limits.Connections;
  RouterLimits.ConnectionsPerUser = Limits.ConnectionsPerUser;
  RouterLimits.MailsPerSecond = Limits.MailsPerSecond;
  RouterLimits.RecordsPerMail = Limits.MailRecords;
  m_Router.SetLimits(RouterLimits);
  m_Router.SetAdmission([this](TSNorvMailSender const& Sender) {
    return m_Configuration->MayConnect(Sender)
               ? std::string()
               : "it is in no group that may, and no rule lets it read or write anything";
  });
  m_Queue.SetHistoryLimits(m_Configuration->get_History());
}

void TCPropertyServer::SetConfiguration(TCConfiguration Configuration) {
  m_Queue.Commit();  // no transaction is under way then
  m_SecretTexts.SetSecrets(Configuration->get_Secrets());
  m_Queue.HideTexts([&Configuration](int Number) { return Configuration->IsSecret(Number); });
  TCConfiguration const Former = std::exchange(m_Configuration, std::move(Configuration));
  Configure();
  m_Router.BringUpToDate([&](TSNorvMailSender const& Sender) {
    return !Former->ReadsEverything(Sender) || !m_Configuration->ReadsEverything(Sender);
  });
}

void TCPropertyServer::SetStatusSink(std::function<void(std::string const&)> Sink) {
  m_StatusSink = std::move(Sink);
}

// ---- changes ----

void TCPropertyServer::OnMail(TSNorvReceivedMail const& Mail) {
  if (IsRepeated(Mail)) {
    return;
  }
  if (!IsSignal(Mail.Content, PropertyProtocol::kChange)) {
    throw TCException(kSource, __LINE__)
        .Format("%s v%d %s %d is no change of properties",
                Mail.Content.MailClass.get_Name().c_str(), Mail.Content.MailClass.get_Version(),
                TCNorvMessage::SignalTypename(Mail.Content.SignalType).c_str(),
                Mail.Content.SignalName);
  }
  TSTakenMail Taken{Mail, ReadChanges(Mail.Content), false, false, {}, {}};
  TraceMail("received", Mail.Sender, Mail.Content);
  std::string const Reason = ReasonToRefuse(Mail.Sender, Taken.Changes);
  if (!Reason.empty()) {
    Taken.Refused = true;
    LogRefusal(Mail.Sender, Reason);
  }
  Take(std::move(Taken));
}

void TCPropertyServer::LogRefusal(TSNorvMailSender const& Sender, std::string const& Reason) {
  LogIfPossible([&] {
    auto const User = m_Users.Find(Sender.User, 0);  // nothing is charged here, so no time counts
    if (User->m_LogBudget.Grant()) {
      SyslogWarning("Change of %s (process %d, user %u) refused: %s%s", Sender.ProcessName.c_str(),
                    static_cast<int>(Sender.Process), Sender.User, Reason.c_str(),
                    User->m_LogBudget.TakeNote().c_str());
    }
  });
}

void TCPropertyServer::OnRefused(TSNorvReceivedMail const& Mail) {
  if (!IsRepeated(Mail)) {
    Take({Mail, {}, true, false, {}, {}});
  }
}

// A repeat has done its work; its sender may not have heard of it.
bool TCPropertyServer::IsRepeated(TSNorvReceivedMail const& Mail) {
  std::uint64_t Last = 0;
  try {
    Last = m_Taken.get_Last(Mail.Sender);
  } catch (TCException const& Failure) {
    throw std::runtime_error(Failure.what());  // no reason to refuse: it has to come again
  }
  if (Mail.Number > Last) {
    return false;
  }
  if (!m_Taken.IsWaiting(Mail.Sender)) {
    Acknowledge(Mail);
  }
  return true;
}

// Empty when nothing forbids the change.
std::string TCPropertyServer::ReasonToRefuse(TSNorvMailSender const& Sender,
                                             std::vector<TSPropertyRecord> const& Changes) const {
  TSServerLimits const& Limits = m_Configuration->get_Limits();
  std::size_t Bytes = 0;
  for (TSPropertyRecord const& Change : Changes) {
    if (!m_Configuration->MayWrite(Sender, Change.Number)) {
      return "user " + std::to_string(Sender.User) + " may not write property " +
             std::to_string(Change.Number);
    }
    if (Change.Data.size() > Limits.ValueBytes) {
      return "property " + std::to_string(Change.Number) + " has " +
             std::to_string(Change.Data.size()) + " bytes, at most " +
             std::to_string(Limits.ValueBytes) + " are allowed (value_bytes)";
    }
    Bytes += Change.Data.size();
  }
  if (Bytes > Limits.MailBytes) {
    return "the values have " + std::to_string(Bytes) + " bytes, at most " +
           std::to_string(Limits.MailBytes) + " are allowed in one mail (mail_bytes)";
  }
  return std::string();
}

void TCPropertyServer::Take(TSTakenMail Taken) {
  TSNorvMailSender const& Sender = Taken.Mail.Sender;
  Taken.Origin = {CurrentTime(), Sender.User, Sender.Process, Sender.ProcessName};
  if (!Taken.Refused) {
    Taken.History = HistoryOf(Taken);
  }
  TSTakenMail& Waiting = m_Queue.Add(std::move(Taken));
  if (!Waiting.Refused) {
    m_SecretTexts.OnSet(Waiting.Changes);
  }
  if (m_Durability == TEDurability::eRelaxed && !m_EffectsWait) {
    TakeEffectAtOnce(Waiting);
  }
  m_Queue.CommitIfMuch();
}

// A mail that can not, and all behind it, take effect with the commit, in order. A value that
// nobody has is told of when it is stored: no mail could take it back from a process if it were
// lost.
void TCPropertyServer::TakeEffectAtOnce(TSTakenMail& Taken) {
  m_EffectsWait =
      std::any_of(Taken.Changes.begin(), Taken.Changes.end(),
                  [this](auto const& Change) { return m_Values.count(PlaceOf(Change)) == 0; });
  if (m_EffectsWait) {
    m_Queue.CommitWhenIdle();
    return;
  }
  try {
    TakeEffect(Taken);
  } catch (std::bad_alloc const&) {
    m_EffectsWait = true;
  }
}

std::vector<TSHistoryEntry> TCPropertyServer::HistoryOf(TSTakenMail const& Taken) {
  std::vector<TSHistoryEntry> History;
  std::uint64_t const Kept =
      std::min<std::uint64_t>(m_Configuration->get_History().Entries, Taken.Changes.size());
  if (Kept == 0) {
    return History;
  }
  ++m_LastTransaction;
  History.reserve(Kept);  // the rest would be forgotten at once
  auto const First = Taken.Changes.end() - static_cast<std::ptrdiff_t>(Kept);
  for (auto Place = First; Place != Taken.Changes.end(); ++Place) {
    TSPropertyRecord const& Change = *Place;
    TSHistoryEntry Entry;
    Entry.Transaction = m_LastTransaction;
    Entry.Origin = Taken.Origin;
    Entry.Number = Change.Number;
    Entry.Link = Change.Link;
    Entry.MAC = Change.MAC;
    Entry.Secret = m_Configuration->IsSecret(Change.Number);
    if (!Entry.Secret) {
      TCPropertyPlace const At = PlaceOf(Change);
      std::string const* const From = m_SecretTexts.MayShow(At) ? FindNewest(At) : nullptr;
      if (From != nullptr) {
        Entry.From = *From;
      }
      Entry.To = Change.Data;
    }
    History.push_back(std::move(Entry));
  }
  return History;
}

// What the value will be once everything that waits is stored.
std::string const* TCPropertyServer::FindNewest(TCPropertyPlace const& Place) const {
  if (std::string const* const Waiting = m_Queue.Find(Place)) {
    return Waiting;
  }
  auto const Value = m_Values.find(Place);
  return Value != m_Values.end() ? &Value->second : nullptr;
}

// The values change and everybody hears of it. May be repeated after it has thrown.
void TCPropertyServer::TakeEffect(TSTakenMail& Taken) {
  TSNorvMailContent Published = NewMail(PropertyProtocol::kPublishedChange, nullptr);
  if (Taken.Refused) {
    Published.Body = EncodeStanding(Taken);
  } else {
    Published.Body = EncodeChanges(Taken.Changes);
    m_Everything.Drop();
    m_Whole.Drop();
    for (TSPropertyRecord const& Change : Taken.Changes) {
      m_Values[PlaceOf(Change)] = Change.Data;
    }
  }
  if (!Taken.Changes.empty()) {
    TraceMail(Taken.Refused ? "restored" : "published", Taken.Mail.Sender, Published);
    if (Taken.Refused) {
      Restore(Taken.Mail, Published);
    } else {
      Publish(Published, Taken.Mail);
    }
  }
  m_Taken.TakeEffect(Taken.Mail.Sender, Taken.Mail.Number);
  if (Taken.Refused && Taken.Changes.empty()) {
    m_Router.BringUpToDate(Taken.Mail.Sender.get_Key());  // what it has changed is not known
  }
  ++(Taken.Refused ? m_RefusedMails : m_TakenMails);
  Taken.InEffect = true;
}

void TCPropertyServer::OnStored(std::list<TSTakenMail>& Stored) {
  for (TSTakenMail& Taken : Stored) {
    if (!Taken.InEffect) {
      TakeEffect(Taken);
    }
  }
  m_EffectsWait = m_Queue.IsAnyWithoutEffect();
  std::map<TSNorvSenderKey, TSNorvReceivedMail const*> Last;
  for (TSTakenMail const& Taken : Stored) {
    Last[Taken.Mail.Sender] = &Taken.Mail;
  }
  for (auto const& [Sender, Mail] : Last) {
    Acknowledge(*Mail);
  }
  Stored.clear();
  if (!m_Queue.IsStoring()) {
    m_SecretTexts.EraseAgain();
  }
}

void TCPropertyServer::OnTrouble(bool Failing, char const* Reason) {
  LogIfPossible([&] {
    m_Trouble = Reason;
    if (Failing) {
      SyslogError("Changes wait until they can be stored: %s", Reason);
    } else {
      SyslogWarning("Changes are stored again");
    }
    if (m_StatusSink) {
      m_StatusSink(Failing ? std::string("Changes wait until they can be stored: ") + Reason
                           : "Changes are stored again");
    }
  });
}

std::uint64_t TCPropertyServer::get_LastTaken(TSNorvSenderKey const& Sender) const {
  return m_Taken.get_InEffect(Sender);
}

TCPropertyServer::TCStatus TCPropertyServer::get_Status() const {
  return {{"values", std::to_string(m_Values.size())},
          {"peers", std::to_string(m_Router.get_ConnectionCount())},
          {"epoch", std::to_string(m_Router.get_Epoch())},
          {"sequence", std::to_string(get_Sequence())},
          {"durability", m_Durability == TEDurability::eFull ? "full" : "relaxed"},
          {"taken mails", std::to_string(m_TakenMails)},
          {"refused mails", std::to_string(m_RefusedMails)},
          {"waiting mails", std::to_string(m_Queue.get_WaitingCount())},
          {"commits", std::to_string(m_Queue.get_CommitCount())},
          {"last commit", std::to_string(m_Queue.get_LastCommit())},
          {"trouble", m_Trouble.empty() ? "none" : m_Trouble},
          {"database", m_Database.get_Path()}};
}

void TCPropertyServer::RequireLayout(TSNorvMailContent const& Content,
                                     TCNorvRecordObject const& Part) const {
  if (Content.Body->get_Count() > 0 && Content.Body->get_Signature() != Part.get_Signature()) {
    ThrowMalformed(__LINE__, "records of another layout");
  }
}

std::vector<TSPropertyRecord> TCPropertyServer::ReadChanges(TSNorvMailContent const& Content) {
  RequireLayout(Content, m_Scratch.get_Record());
  std::vector<TSPropertyRecord> Changes;
  Changes.reserve(static_cast<std::size_t>(Content.Body->get_Count()));
  for (int Index = 0; Index < Content.Body->get_Count(); ++Index) {
    Changes.push_back(ReadRecord(Content.Body->get_Record(Index)));
  }
  return Changes;
}

TSPropertyRecord TCPropertyServer::ReadRecord(std::string_view Record) {
  TCNorvPropertyObject::TCRecord& Part = m_Scratch.get_Record();
  Part.Decode(Record);
  if (!Part.m_ID.IsAssigned()) {
    ThrowMalformed(__LINE__, "a record without a property's number");
  }
  return {Part.m_ID, ReadLink(Part.m_Link), ReadMAC(Part.m_MAC), Part.m_Data.get_AsString()};
}

// ---- requests ----

bool TCPropertyServer::OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                                 TSNorvMailContent& Answer) {
  if (Request.MailClass == Norv_ServerMail && Request.SignalType == eNorvRequest) {
    Answer = AnswerAboutServer(Sender, Request.SignalName);
    return true;
  }
  if (IsSignal(Request, PropertyProtocol::kRequestAll)) {
    TraceMail("received", Sender, Request);
    Answer = AnswerAll(Sender, Request);
  } else if (IsSignal(Request, PropertyProtocol::kRequestOne)) {
    TraceMail("received", Sender, Request);
    Answer = AnswerOne(Sender, Request);
  } else {
    return false;
  }
  TraceMail("answered", Sender, Answer);
  return true;
}

TSNorvMailContent TCPropertyServer::AnswerAboutServer(TSNorvMailSender const& Sender, int Signal) {
  if (Signal == kServerBackup && !m_Configuration->MayCopy(Sender)) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not copy the database, only root and the server's own user may",
                Sender.User);
  }
  if (!m_Configuration->MayAdminister(Sender)) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not ask about the server, only %s may", Sender.User,
                m_Configuration->get_Administrators().c_str());
  }
  TCNorvMailMessage<TCNorvServerObject> Answer(Norv_ServerMail, eNorvChange, Signal);
  auto const Append = [&Answer](std::string const& Name, std::string const& Value) {
    TCNorvServerObject::TCRecord& Record = Answer.CreateRecord()->get_Record();
    Record.m_Name.set_AsString(Name);
    Record.m_Value.set_AsString(Value);
  };
  if (Signal == kServerStatus) {
    for (auto const& [Name, Value] : get_Status()) {
      Append(Name, Value);
    }
  } else if (Signal == kServerBackup) {
    m_Queue.Commit();
    Append("database", m_Database.Copy());
  } else {
    throw TCException(kSource, __LINE__).Format("the server knows no question %d", Signal);
  }
  return Answer.get_Content();
}

TSNorvMailContent TCPropertyServer::AnswerAll(TSNorvMailSender const& Sender,
                                              TSNorvMailContent const& Request) {
  TCNorvPropertyObject::TCRequest& Part = m_Scratch.get_Request();
  RequireLayout(Request, Part);
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for all properties has one record");
  }
  Part.Decode(Request.Body->get_Record(0));
  if (Part.m_Action != PropertyProtocol::kActionOwn) {
    return NewMail(PropertyProtocol::kAllValues, EncodeEverything(Sender));
  }
  TCNorvMailBody::TCWriter Writer = NewWriter();
  AppendValues(Writer, Sender,
               [&Sender](TCMACAddress const& MAC) { return MAC.Empty() || MAC == Sender.Device; });
  return NewMail(PropertyProtocol::kAllValues, Writer.Finish());
}

TSNorvMailContent TCPropertyServer::AnswerOne(TSNorvMailSender const& Sender,
                                              TSNorvMailContent const& Request) {
  RequireLayout(Request, m_Scratch.get_Record());
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for one property has one record");
  }
  TCPropertyPlace const Place = PlaceOf(ReadRecord(Request.Body->get_Record(0)));
  auto const Value = m_Values.find(Place);
  bool const Held =
      Value != m_Values.end() && m_Configuration->MayRead(Sender, std::get<int>(Place));
  TCNorvMailBody::TCWriter Writer = NewWriter();
  AppendValue(Writer, Place, Held ? Value->second : std::string(), Held);
  return NewMail(PropertyProtocol::kOneValue, Writer.Finish());
}

// All values, as a change: those that the subscriber holds already tell nobody anything there, and
// what it holds beside them is removed.
bool TCPropertyServer::OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                                 TSNorvMailContent& Content) {
  if (MailClass != Norv_PropertyMail) {
    return false;
  }
  Content = NewMail(PropertyProtocol::kPublishedChange, EncodeWhole(Sender));
  TraceMail("published", Sender, Content);
  return true;
}

std::shared_ptr<TCNorvMailBody const> TCPropertyServer::OnForward(
    TSNorvMailSender const& Subscriber, TSNorvMailContent const& Content) {
  if (m_Configuration->ReadsEverything(Subscriber)) {
    return Content.Body;
  }
  std::vector<bool> Readable;
  for (int Index = 0; Index < Content.Body->get_Count(); ++Index) {
    TCNorvPropertyObject::TCRecord& Part = m_Scratch.get_Record();
    Part.Decode(Content.Body->get_Record(Index));
    // What has no data tells of nothing but the subscriber's own refused change.
    Readable.push_back(!Part.m_Data.IsAssigned() ||
                       m_Configuration->MayRead(Subscriber, Part.m_ID));
  }
  auto const Count = std::count(Readable.begin(), Readable.end(), true);
  if (Count == 0) {
    return nullptr;
  }
  return Count == Content.Body->get_Count() ? Content.Body
                                            : TCNorvMailBody::Selected(*Content.Body, Readable);
}

// ---- records ----

TCNorvMailBody::TCWriter TCPropertyServer::NewWriter() {
  return TCNorvMailBody::TCWriter(m_Scratch.get_Record().get_Signature());
}

void TCPropertyServer::AppendValues(TCNorvMailBody::TCWriter& Writer,
                                    TSNorvMailSender const& Reader,
                                    std::function<bool(TCMACAddress const&)> const& IsWanted) {
  bool const ReadsEverything = m_Configuration->ReadsEverything(Reader);
  for (auto const& [Place, Data] : m_Values) {
    if (IsWanted(std::get<TCMACAddress>(Place)) &&
        (ReadsEverything || m_Configuration->MayRead(Reader, std::get<int>(Place)))) {
      AppendValue(Writer, Place, Data, false);
    }
  }
}

TCPropertyServer::TCBody TCPropertyServer::EncodeEverything(TSNorvMailSender const& Reader) {
  auto const Encode = [&] {
    TCNorvMailBody::TCWriter Writer = NewWriter();
    AppendValues(Writer, Reader, [](auto const&) { return true; });
    return Writer.Finish();
  };
  return m_Configuration->ReadsEverything(Reader) ? m_Everything.Get(Encode) : Encode();
}

// Begins with a record of nothing, which says that what does not follow is not held, or not for
// the reader: to name what it may not read would tell it what exists.
TCPropertyServer::TCBody TCPropertyServer::EncodeWhole(TSNorvMailSender const& Reader) {
  auto const Encode = [&] {
    TCNorvMailBody::TCWriter Writer = NewWriter();
    TCNorvPropertyObject::TCRecord().Encode(Writer);
    AppendValues(Writer, Reader, [](auto const&) { return true; });
    return Writer.Finish();
  };
  return m_Configuration->ReadsEverything(Reader) ? m_Whole.Get(Encode) : Encode();
}

// In the one form that every process writes a link and a device in, whatever the sender wrote.
TCPropertyServer::TCBody TCPropertyServer::EncodeChanges(
    std::vector<TSPropertyRecord> const& Changes) {
  TCNorvMailBody::TCWriter Writer = NewWriter();
  for (TSPropertyRecord const& Change : Changes) {
    AppendValue(Writer, PlaceOf(Change), Change.Data, false);
  }
  return Writer.Finish();
}

// What stands where the mail would have changed something.
TCPropertyServer::TCBody TCPropertyServer::EncodeStanding(TSTakenMail const& Refused) {
  TCNorvMailBody::TCWriter Writer = NewWriter();
  for (TSPropertyRecord const& Change : Refused.Changes) {
    auto const Value = m_Values.find(PlaceOf(Change));
    if (Value != m_Values.end() && m_Configuration->MayRead(Refused.Mail.Sender, Change.Number)) {
      AppendValue(Writer, PlaceOf(Change), Value->second, true);
    } else {
      AppendNoValue(Writer, PlaceOf(Change));
    }
  }
  return Writer.Finish();
}

void TCPropertyServer::AppendValue(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
                                   std::string const& Data, bool Loaded) {
  FillRecord(Place, Data, Loaded).Encode(Writer);
}

// The same for a value that is not held and for one that the receiver may not read: it is not told
// which exist.
void TCPropertyServer::AppendNoValue(TCNorvMailBody::TCWriter& Writer,
                                     TCPropertyPlace const& Place) {
  TCNorvPropertyObject::TCRecord& Record = FillRecord(Place, std::string(), false);
  Record.m_Data.Unassign();
  Record.Encode(Writer);
}

TCNorvPropertyObject::TCRecord& TCPropertyServer::FillRecord(TCPropertyPlace const& Place,
                                                             std::string const& Data, bool Loaded) {
  auto const& [Number, Link, MAC] = Place;
  m_Scratch.get_Record().m_Link.Unassign();  // SetRecord leaves it alone for a null link
  m_Scratch.SetRecord(Number, Data, Link, Loaded, MAC.get_AsString(':'));
  return m_Scratch.get_Record();
}

void TCPropertyServer::TraceMail(char const* Direction, TSNorvMailSender const& Sender,
                                 TSNorvMailContent const& Content) {
  if (!m_Trace) {
    return;
  }
  TCNorvMailMessage<TCNorvPropertyObject> Message(Content);
  bool const HasTexts = !IsSignal(Content, PropertyProtocol::kRequestAll);
  for (int Index = 0; HasTexts && Index < Message.RecordCount(); ++Index) {
    TCNorvPropertyObject::TCRecord& Record = Message.GetMailRecord(Index)->get_Record();
    if (Record.m_Data.IsAssigned() && m_Configuration->IsSecret(Record.m_ID)) {
      Record.m_Data.set_AsString("(secret)");
    }
  }
  std::string const Line =
      PrintableText(std::string(Direction) + " " + Sender.ProcessName + "[" +
                    std::to_string(Sender.Process) + "] " + Message.get_AsText());
  std::printf("%s\n", Line.c_str());
  std::fflush(stdout);
}

}  // namespace Property
