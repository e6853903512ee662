// SPDX-License-Identifier: MIT
// Takes one step after the other, each acknowledged before the next.
#include "tests/fault/soak/SoakKeeper.h"

#include <utility>

#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/fault/soak/SoakValues.h"

namespace PropertyControl = Property::PropertyControl;
namespace PropertyProtocol = Property::PropertyProtocol;

namespace {

constexpr int kWithoutLimit = -1;
constexpr int kLongSeconds = 3600;  // nothing is taken back by the server itself in a round

TCNorvServiceName Mailbox() {
  return TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, "");
}

std::string Shown(std::optional<std::string> const& Value) {
  return Value ? "'" + *Value + "'" : "nothing";
}

}  // namespace

TSoakKeeper::TSoakKeeper(TSoakJournalWriter& Journal, int Stream, unsigned long Seed)
    : m_Journal(Journal), m_Stream(Stream), m_Random(Seed) {}

void TSoakKeeper::Run(std::atomic<bool> const& Ending) {
  while (!Ending) {
    Step();
  }
}

TSoakKeeper::TCValue TSoakKeeper::NewValue() {
  return std::to_string(m_Stream) + "." + std::to_string(m_Steps + 1);
}

void TSoakKeeper::Step() {
  if (m_Waits) {
    Draw(2) == 0 ? Confirm() : Undo();
    return;
  }
  switch (Draw(4)) {
    case 0:
      SetForTheTimeBeing();
      break;
    case 1:
      m_Value ? Reset() : Set();
      break;
    case 2:
      m_Transaction.empty() ? Set() : Undo();
      break;
    default:
      Set();
  }
}

// ---- the ways to change it ----

void TSoakKeeper::Set() {
  TCValue const After = NewValue();
  TCNorvMailMessage<TCNorvPropertyObject> Mail(Norv_PropertyMail, PropertyProtocol::kChange.Type,
                                               PropertyProtocol::kChange.Name);
  Mail.CreateRecord()->SetRecord(kKept, *After, Accessories::TCRecordID(m_Stream), false, "");
  Change(Mail.get_Content(), After);
}

void TSoakKeeper::SetForTheTimeBeing() {
  TCValue const After = m_Value && Draw(4) == 0 ? std::nullopt : NewValue();
  TCControlMail Mail(Property::Norv_ControlMail, PropertyControl::kChange.Type,
                     PropertyControl::kChange.Name);
  Mail.CreateRecord()->get_Record().m_Seconds = kLongSeconds;
  Property::TCNorvControlObject::TCRecord& Record = Mail.CreateRecord()->get_Record();
  SetPlace(Record);
  if (After) {
    Record.m_Data.set_AsString(*After);
  }
  m_Waits = Change(Mail.get_Content(), After);
}

void TSoakKeeper::Reset() {
  TCControlMail Mail(Property::Norv_ControlMail, PropertyControl::kReset.Type,
                     PropertyControl::kReset.Name);
  SetPlace(Mail.CreateRecord()->get_Record());
  Change(Mail.get_Content(), std::nullopt);
}

void TSoakKeeper::Confirm() {
  TCControlMail Mail(Property::Norv_ControlMail, PropertyControl::kConfirm.Type,
                     PropertyControl::kConfirm.Name);
  Mail.CreateRecord()->get_Record().m_Transaction.set_AsString(m_Transaction);
  std::string const Transaction = m_Transaction;
  TCValue const Former = m_Former;
  Change(Mail.get_Content(), m_Value);
  m_Transaction = Transaction;
  m_Former = Former;
  m_Waits = false;
}

// What it takes back may be an undoing itself.
void TSoakKeeper::Undo() {
  TCControlMail Mail(Property::Norv_ControlMail, PropertyControl::kUndo.Type,
                     PropertyControl::kUndo.Name);
  Mail.CreateRecord()->get_Record().m_Transaction.set_AsString(m_Transaction);
  Change(Mail.get_Content(), m_Former);
  m_Waits = false;
}

void TSoakKeeper::SetPlace(Property::TCNorvControlObject::TCRecord& Record) const {
  Record.m_ID = kKept;
  Record.m_Link.set_AsString(std::to_string(m_Stream));
  Record.m_MAC.set_AsString("");
}

// ---- what becomes of it ----

// False when it is refused, which only too many changes that wait may be.
bool TSoakKeeper::Change(TSNorvMailContent const& Mail, TCValue After) {
  ++m_Steps;
  m_Journal.Keeping({m_Stream, m_Steps, 0}, m_Value.value_or(kNoValue), After.value_or(kNoValue));
  m_Proxy.Post(Mailbox(), Mail);
  if (!m_Proxy.WaitForAcknowledgements()) {
    m_Journal.Complain("has no acknowledgement of its step " + std::to_string(m_Steps));
  }
  bool const Taken = IsTaken();
  if (Taken) {
    m_Former = std::exchange(m_Value, std::move(After));
  }
  RequireValue();
  m_Journal.Kept({m_Stream, m_Steps, 0}, m_Value.value_or(kNoValue));
  return Taken;
}

bool TSoakKeeper::IsTaken() {
  TCControlMail Mail(Property::Norv_ControlMail, PropertyControl::kOutcome.Type,
                     PropertyControl::kOutcome.Name);
  if (!m_Proxy.SendAndWait(Mailbox(), Mail, kWithoutLimit) || Mail.RecordCount() != 1) {
    m_Journal.Complain("hears nothing of its step " + std::to_string(m_Steps));
    return false;
  }
  Property::TCNorvControlObject::TCRecord const& Record = Mail.GetMailRecord(0)->get_Record();
  std::string const Reason = Record.m_Text.get_AsString();
  if (Record.m_Mail.get_AsString() != std::to_string(m_Steps)) {
    m_Journal.Complain("hears of mail " + Record.m_Mail.get_AsString() + " instead of " +
                       std::to_string(m_Steps));
  }
  if (Record.m_Refused.get_AsBool() && Reason.find("wait") == std::string::npos) {
    m_Journal.Complain("is refused its step " + std::to_string(m_Steps) + ": " + Reason);
  }
  m_Transaction =
      Record.m_Refused.get_AsBool() ? m_Transaction : Record.m_Transaction.get_AsString();
  return !Record.m_Refused.get_AsBool();
}

void TSoakKeeper::RequireValue() {
  TCControlMail Mail(Property::Norv_ControlMail, PropertyControl::kExplain.Type,
                     PropertyControl::kExplain.Name);
  SetPlace(Mail.CreateRecord()->get_Record());
  if (!m_Proxy.SendAndWait(Mailbox(), Mail, kWithoutLimit) || Mail.RecordCount() != 1) {
    m_Journal.Complain("is not told its value after step " + std::to_string(m_Steps));
    return;
  }
  Property::TCNorvControlObject::TCRecord const& Record = Mail.GetMailRecord(0)->get_Record();
  TCValue const Told = Record.m_Held.get_AsBool()
                           ? std::optional<std::string>(Record.m_Data.get_AsString())
                           : std::nullopt;
  if (Told != m_Value) {
    m_Journal.Complain("is told " + Shown(Told) + " after step " + std::to_string(m_Steps) +
                       ", which has left " + Shown(m_Value));
  }
}
