// SPDX-License-Identifier: MIT
// Sends a mail, waits for its receipt, and asks what has become of it.
#include "PropertyConsole/TCChangeDesk.h"

#include <utility>

#include "Platform/Messaging/TCNorvServiceName.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyInterface/TSPropertyRefusal.h"
#include "ServerClient/ControlRecords.h"
#include "ServerClient/TCServerFailure.h"

namespace Property {
namespace {

// Milliseconds. Threads that serve requests wait so long.
constexpr int kReachTime = 250;
constexpr int kStoreTime = 10000;
constexpr int kTellTime = 2000;
constexpr int kMostWaiting = 4;  // further threads are for who only reads

TCNorvServiceName const& PropertyServerName() {
  static auto const& Name =
      *new TCNorvServiceName(TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, ""));
  return Name;
}

void SetPlaceOf(TCControlRecord& Record, TCPropertyKey const& Place) {
  Record.m_ID = Place.get_ID().get_Number();
  Record.m_Link.set_AsRecordID(Place.get_Link());
  Record.m_MAC.set_AsString(Place.get_MAC().get_AsString(':'));
}

TSNorvMailContent ContentOf(PropertyControl::TSSignal Signal, TCNorvMailBody::TCWriter& Writer) {
  return {Norv_ControlMail, Signal.Type, Signal.Name, Writer.Finish()};
}

// What is expected comes as records of its own before what is to change.
TSNorvMailContent MailOf(std::vector<TSPlannedChange> const& Changes, std::optional<int> Seconds) {
  TCNorvMailBody::TCWriter Writer(TCControlRecord().get_Signature());
  if (Seconds) {
    TCControlRecord Record;
    Record.m_Seconds = *Seconds;
    Record.Encode(Writer);
  }
  for (TSPlannedChange const& Change : Changes) {
    TCControlRecord Record;
    SetPlaceOf(Record, Change.Place);
    Record.m_Held.set_AsBool(Change.Expected.has_value());
    if (Change.Expected) {
      Record.m_Data.set_AsString(*Change.Expected);
    }
    Record.Encode(Writer);
  }
  for (TSPlannedChange const& Change : Changes) {
    TCControlRecord Record;
    SetPlaceOf(Record, Change.Place);
    if (Change.Data) {
      Record.m_Data.set_AsString(*Change.Data);
    }
    Record.Encode(Writer);
  }
  return ContentOf(Seconds ? PropertyControl::kChange : PropertyControl::kChangeIf, Writer);
}

TSNorvMailContent MailAbout(std::string const& Transaction, PropertyControl::TSSignal Signal) {
  TCControlRecord Record;
  TCNorvMailBody::TCWriter Writer(Record.get_Signature());
  Record.m_Transaction.set_AsString(Transaction);
  Record.Encode(Writer);
  return ContentOf(Signal, Writer);
}

// All that was sent, and what has come of it.
void AwaitStored(TCPropertyCollectionDriver& Store) {
  std::uint64_t const Last = Store.get_LastSent(PropertyServerName());
  if (Store.WaitForMail(PropertyServerName(), Last, kStoreTime) != eNorvAcknowledged ||
      !TCChangeDesk::AwaitTold()) {
    throw TCServerFailure(
        TEServerFailure::eTimeOut,
        "the property server has not stored a change in time; it may still do so");
  }
}

// The store's connection sends no other mails.
std::string AskTransaction(TCPropertyCollectionDriver& Store) {
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kOutcome.Type,
                     PropertyControl::kOutcome.Name);
  if (!Store.SendAndWait(PropertyServerName(), Mail, kStoreTime) || Mail.RecordCount() == 0) {
    SyslogWarning("The property server does not tell the number of a transaction");
    return std::string();
  }
  return Mail.GetMailRecord(0)->get_Record().m_Transaction.get_AsString();
}

// Counts whoever waits or is at it.
class TCWaitingCount {
 public:
  explicit TCWaitingCount(std::atomic<int>& Count) : m_Count(Count), m_Before(Count++) {}
  TCWaitingCount(TCWaitingCount const&) = delete;
  TCWaitingCount& operator=(TCWaitingCount const&) = delete;
  ~TCWaitingCount() { --m_Count; }

  int get_Before() const { return m_Before; }

 private:
  std::atomic<int>& m_Count;
  int const m_Before;
};

}  // namespace

// What the store was told last.
class TCChangeDesk::TCLastRefusal {
 public:
  void Note(TSPropertyRefusal const& Refusal) {
    TCMutexLock const Lock(m_Lock);
    m_Refusal = Refusal;
  }
  std::optional<TSPropertyRefusal> Take() {
    TCMutexLock const Lock(m_Lock);
    return std::exchange(m_Refusal, std::nullopt);
  }

 private:
  TCMutex m_Lock;
  std::optional<TSPropertyRefusal> m_Refusal PROPERTY_GUARDED_BY(m_Lock);
};

TCChangeDesk::TCChangeDesk() : m_LastRefusal(std::make_shared<TCLastRefusal>()) {
  TCPropertyCollectionDriver::SetRefusalHandler(
      [Last = m_LastRefusal](TSPropertyRefusal const& Refusal) { Last->Note(Refusal); });
}

TCChangeDesk::~TCChangeDesk() {
  TCPropertyCollectionDriver::SetRefusalHandler(nullptr);
}

TSDecision TCChangeDesk::Change(std::vector<TSPlannedChange> const& Changes,
                                std::optional<int> Seconds) {
  return Send(MailOf(Changes, Seconds));
}

TSDecision TCChangeDesk::Undo(std::string const& Transaction) {
  return Send(MailAbout(Transaction, PropertyControl::kUndo));
}

TSDecision TCChangeDesk::Confirm(std::string const& Transaction) {
  return Send(MailAbout(Transaction, PropertyControl::kConfirm));
}

bool TCChangeDesk::AwaitTold() {
  return TCPropertyCollectionDriver::get_Instance()->WaitForDelivery(kTellTime);
}

TSDecision TCChangeDesk::Send(TSNorvMailContent const& Mail) {
  TCWaitingCount const Count(m_Waiting);
  if (Count.get_Before() >= kMostWaiting) {
    TSDecision Decision;
    Decision.Kind = TSDecision::TEKind::eBusy;
    return Decision;
  }
  TCMutexLock const Turn(m_Turn);
  return Decide(Mail);
}

// A refusal is told before its mail is acknowledged. That of a change which came too late for its
// own request is told before the next one is sent.
TSDecision TCChangeDesk::Decide(TSNorvMailContent const& Mail) {
  TCPropertyCollectionDriver& Store = *TCPropertyCollectionDriver::get_Instance();
  if (!Store.WaitForMailRouter(kReachTime)) {
    throw TCServerFailure(TEServerFailure::eNoServer, "no property server takes changes");
  }
  AwaitStored(Store);
  m_LastRefusal->Take();
  if (!Store.Post(PropertyServerName(), Mail)) {
    throw TCServerFailure(TEServerFailure::eNoServer, "the console ends");
  }
  AwaitStored(Store);
  TSDecision Decision;
  if (auto const Refusal = m_LastRefusal->Take()) {
    Decision.Kind =
        Refusal->Standing.empty() ? TSDecision::TEKind::eRefused : TSDecision::TEKind::eConflict;
    Decision.Reason = Refusal->Reason;
    Decision.Places = Refusal->Keys;
    return Decision;
  }
  Decision.Transaction = AskTransaction(Store);
  return Decision;
}

}  // namespace Property
