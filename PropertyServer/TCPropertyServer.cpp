// SPDX-License-Identifier: MIT
// Answers requests, stores changes and tells every process of them.
#include "PropertyServer/TCPropertyServer.h"

#include <systemd/sd-event.h>

#include <cstdio>
#include <utility>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyServer";
constexpr char kMailbox[] = "@mailrouter.property";
constexpr std::uint64_t kRetryMicroseconds = 500000;
constexpr std::size_t kRememberedSenders = 10000;

// Signal names of the property mail class, by signal type.
constexpr int kRequestAll = 1;
constexpr int kRequestOne = 2;
constexpr int kChange = 3;
constexpr int kAllValues = 1;
constexpr int kPublishedChange = 1;
constexpr int kOneValue = 2;

constexpr int kActionOwn = 0;  // the asking device's values and those of no device

[[noreturn]] void ThrowMalformed(int Line, char const* Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason);
}

bool IsSignal(TSNorvMailContent const& Content, int Type, int Name) {
  return Content.MailClass == Norv_PropertyMail && Content.SignalType == Type &&
         Content.SignalName == Name;
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
                                   bool Trace)
    : TCNorvService(Router, kMailbox), m_Router(Router), m_Database(Database), m_Trace(Trace) {
  m_Database.LoadAll([this](TSPropertyRecord Record) {
    m_Values.emplace(TCKey(Record.Number, Record.Link, Record.MAC), std::move(Record.Data));
  });
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  Transaction.ForgetSenders(kRememberedSenders);
  Transaction.Commit();
  Open();
}

TCPropertyServer::~TCPropertyServer() {
  Close();
  sd_event_source_disable_unref(m_Retry);
}

// ---- changes ----

void TCPropertyServer::OnMail(TSNorvReceivedMail const& Mail) {
  if (!IsSignal(Mail.Content, eNorvChange, kChange)) {
    throw TCException(kSource, __LINE__)
        .Format("%s v%d %s %d is no change of properties",
                Mail.Content.MailClass.get_Name().c_str(), Mail.Content.MailClass.get_Version(),
                TCNorvMessage::SignalTypename(Mail.Content.SignalType).c_str(),
                Mail.Content.SignalName);
  }
  std::vector<TSPropertyRecord> Changes = ReadChanges(Mail.Content);
  TraceMail("received", Mail.Sender, Mail.Content);
  Enqueue({Mail, std::move(Changes)});
}

void TCPropertyServer::OnRefused(TSNorvReceivedMail const& Mail) {
  Enqueue({Mail, std::vector<TSPropertyRecord>()});
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

void TCPropertyServer::Enqueue(TSPending Pending) {
  m_Pending.push_back(std::move(Pending));
  if (m_Retry == nullptr) {
    ProcessPending();
  }
}

void TCPropertyServer::ProcessPending() {
  try {
    while (!m_Pending.empty()) {
      Process(m_Pending.front());
      m_Pending.pop_front();
    }
  } catch (TCException const& Failure) {
    if (m_Retry == nullptr) {
      SyslogError("Changes wait until they can be stored: %s", Failure.what());
    }
    RetryLater();
    return;
  }
  if (m_Retry != nullptr) {
    m_Retry = sd_event_source_disable_unref(m_Retry);
    SyslogWarning("Changes are stored again");
  }
}

void TCPropertyServer::Process(TSPending const& Pending) {
  TSNorvReceivedMail const& Mail = Pending.Mail;
  if (Mail.Number <= m_Database.LastMail(Mail.Sender.Identity)) {
    Acknowledge(Mail);  // stored before; its sender has not heard of it
    return;
  }
  Store(Pending);
  if (!Pending.Changes.empty()) {
    TSNorvMailContent Published = Mail.Content;
    Published.SignalType = eNorvEvent;
    Published.SignalName = kPublishedChange;
    TraceMail("published", Mail.Sender, Published);
    Publish(Published, Mail);
  }
  Acknowledge(Mail);
}

void TCPropertyServer::Store(TSPending const& Pending) {
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  for (TSPropertyRecord const& Change : Pending.Changes) {
    Transaction.Put(Change);
  }
  Transaction.RememberMail(Pending.Mail.Sender.Identity, Pending.Mail.Number);
  Transaction.Commit();
  for (TSPropertyRecord const& Change : Pending.Changes) {
    m_Values[TCKey(Change.Number, Change.Link, Change.MAC)] = Change.Data;
  }
}

void TCPropertyServer::RetryLater() {
  if (m_Retry == nullptr) {
    sd_event_add_time_relative(m_Router.get_Event(), &m_Retry, CLOCK_MONOTONIC, kRetryMicroseconds,
                               0, OnRetry, this);
    return;
  }
  sd_event_source_set_time_relative(m_Retry, kRetryMicroseconds);
  sd_event_source_set_enabled(m_Retry, SD_EVENT_ONESHOT);
}

int TCPropertyServer::OnRetry(sd_event_source* /*Source*/, std::uint64_t /*Time*/, void* Server) {
  static_cast<TCPropertyServer*>(Server)->ProcessPending();
  return 0;
}

// ---- requests ----

bool TCPropertyServer::OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                                 TSNorvMailContent& Answer) {
  if (IsSignal(Request, eNorvRequest, kRequestAll)) {
    TraceMail("received", Sender, Request);
    Answer = AnswerAll(Sender, Request);
  } else if (IsSignal(Request, eNorvRequest, kRequestOne)) {
    TraceMail("received", Sender, Request);
    Answer = AnswerOne(Request);
  } else {
    return false;
  }
  TraceMail("answered", Sender, Answer);
  return true;
}

TSNorvMailContent TCPropertyServer::AnswerAll(TSNorvMailSender const& Sender,
                                              TSNorvMailContent const& Request) {
  TCNorvPropertyObject::TCRequest& Part = m_Scratch.get_Request();
  RequireLayout(Request, Part);
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for all properties has one record");
  }
  Part.Decode(Request.Body->get_Record(0));
  bool const OwnOnly = Part.m_Action == kActionOwn;
  auto Body = EncodeValues(
      [&](TCMACAddress const& MAC) { return !OwnOnly || MAC.Empty() || MAC == Sender.Device; });
  return {Norv_PropertyMail, eNorvChange, kAllValues, std::move(Body)};
}

std::shared_ptr<TCNorvMailBody const> TCPropertyServer::EncodeValues(
    std::function<bool(TCMACAddress const&)> const& IsWanted) {
  TCNorvMailBody::TCWriter Writer(m_Scratch.get_Record().get_Signature());
  for (auto const& [Key, Data] : m_Values) {
    if (IsWanted(std::get<TCMACAddress>(Key))) {
      AppendValue(Writer, Key, Data, false);
    }
  }
  return Writer.Finish();
}

// All values, as a change: those that the subscriber holds already tell nobody anything there.
bool TCPropertyServer::OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                                 TSNorvMailContent& Content) {
  if (MailClass != Norv_PropertyMail) {
    return false;
  }
  Content = {Norv_PropertyMail, eNorvEvent, kPublishedChange,
             EncodeValues([](TCMACAddress const&) { return true; })};
  TraceMail("published", Sender, Content);
  return true;
}

TSNorvMailContent TCPropertyServer::AnswerOne(TSNorvMailContent const& Request) {
  RequireLayout(Request, m_Scratch.get_Record());
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for one property has one record");
  }
  TSPropertyRecord const Asked = ReadRecord(Request.Body->get_Record(0));
  TCKey const Key(Asked.Number, Asked.Link, Asked.MAC);
  auto const Value = m_Values.find(Key);
  bool const Held = Value != m_Values.end();
  TCNorvMailBody::TCWriter Writer(m_Scratch.get_Record().get_Signature());
  AppendValue(Writer, Key, Held ? Value->second : std::string(), Held);
  return {Norv_PropertyMail, eNorvEvent, kOneValue, Writer.Finish()};
}

void TCPropertyServer::AppendValue(TCNorvMailBody::TCWriter& Writer, TCKey const& Key,
                                   std::string const& Data, bool Loaded) {
  auto const& [Number, Link, MAC] = Key;
  m_Scratch.get_Record().m_Link.Unassign();  // SetRecord leaves it alone for a null link
  m_Scratch.SetRecord(Number, Data, Link, Loaded, MAC.get_AsString(':'));
  m_Scratch.get_Record().Encode(Writer);
}

void TCPropertyServer::TraceMail(char const* Direction, TSNorvMailSender const& Sender,
                                 TSNorvMailContent const& Content) const {
  if (!m_Trace) {
    return;
  }
  TCNorvMailMessage<TCNorvPropertyObject> const Message(Content);
  std::printf("%s %s[%d] %s\n", Direction, Sender.ProcessName.c_str(),
              static_cast<int>(Sender.Process), Message.get_AsText().c_str());
  std::fflush(stdout);
}

}  // namespace Property
