// SPDX-License-Identifier: MIT
// Speaks the property protocol for the process's store.
#include "PropertyInterface/TCPropertyCollectionDriver.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TextConversions.h"
#include "PropertyInterface/ChangeKey.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCChangeMail.h"
#include "PropertyInterface/TCConditionalMail.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyInterface/TCReceivedValues.h"
#include "PropertyInterface/TCRefusalLedger.h"
#include "PropertyInterface/TCRefusalTelling.h"

namespace Property {
namespace {

using TCPropertyMail = TCNorvMailMessage<TCNorvPropertyObject>;

constexpr char kSource[] = "../PropertyInterface/TCPropertyCollectionDriver";
constexpr int kWithoutLimit = -1;

TCNorvServiceName const& PropertyServer() {
  static auto const& Name = *new TCNorvServiceName(  // in use until the process ends
      TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, ""));
  return Name;
}

bool IsSignal(TCNorvMessage const& Mail, PropertyProtocol::TSSignal Signal) {
  return Mail.get_SignalType() == Signal.Type && Mail.get_SignalName() == Signal.Name;
}

bool IsBulkLoad(TCNorvMessage const& Mail) {
  return IsSignal(Mail, PropertyProtocol::kAllValues);
}

bool IsAccepted(TCNorvMessage const& Mail) {
  return IsSignal(Mail, PropertyProtocol::kPublishedChange) ||
         IsSignal(Mail, PropertyProtocol::kChange) || IsBulkLoad(Mail);
}

void TraceCommon(char const* Text) {
  if (IsDebugLevel(DEBUG_COMMON)) {
    SendDebugOutput(DEBUG_COMMON, "%s", Text);
  }
}

std::string KeyOfChange(TCCommonPropertyObject const& Object) {
  return ChangeKey(Object.get_ID().get_Number(), Object.get_Link(), Object.get_MAC());
}

// The calling thread's last mail, for the receipt of its last set: SetProperty answers the value,
// so there is nowhere else to put it. The one thing about a change that is not handed on.
thread_local std::uint64_t LastMail = 0;

// Whether a change of this process has overtaken what the mail says of a value.
bool IsOvertaken(TCNorvMessage const& Mail, TCPropertyKey const& Key) {
  TCNorvMailInHand const* const InHand = Mail.get_InHand();
  return InHand != nullptr && InHand->IsAnyOvertaken() &&
         InHand->IsOvertaken(ChangeKey(Key.get_ID().get_Number(), Key.get_Link(), Key.get_MAC()));
}

// Who has a guard must not wait for the server, however long that is away: nobody else could use
// the store.
void ExpectNoGuard(std::string const& What) {
  if (TCReadGuard::IsHeld()) {
    throw TCException(kSource, __LINE__, "!TCReadGuard::IsHeld()")
        .Format("%s: the server is not asked while this thread holds a read guard", What.c_str());
  }
}

}  // namespace

std::atomic<TCPropertyCollectionDriver*> TCPropertyCollectionDriver::m_Instance{nullptr};
std::atomic<bool> TCPropertyCollectionDriver::m_Created{false};

TCPropertyCollectionDriver::TCPropertyCollectionDriver()
    : m_MailFunctions(this), m_Refusals(std::make_shared<TCRefusalLedger>()) {
  SetMailParse(m_MailFunctions);
  m_MailFunctions.Add(Norv_PropertyMail.get_ID(), &TCPropertyCollectionDriver::OnPropertyMail);
  m_MailFunctions.Add(Norv_ControlMail.get_ID(), &TCPropertyCollectionDriver::OnControlMail);
  TCBasicPropertyID::Initialize();
  m_Instance = this;  // last: nothing can fail any more
}

TCPropertyCollectionDriver::~TCPropertyCollectionDriver() {
  Close();
}

// ---- start-up ----

void TCPropertyCollectionDriver::Create(bool ownMACOnly) {
  {
    TCCriticalSectionLock const Lock(m_CSection);
    if (m_Instance != nullptr) {
      throw TCException(kSource, 82, "m_Instance==__null");
    }
    ExpectNoGuard("Create");
    {
      TCUnderConstruction const Marked;
      new TCPropertyCollectionDriver;  // registers itself and lives as long as the process
    }
    {
      TCLongWait const Marked;
      get_Instance()->Init();
    }
    get_Instance()->m_OwnMACOnly = ownMACOnly;
    m_Created = true;
  }
  if (!get_Instance()->WaitForMailRouter(kWithoutLimit)) {
    throw TCException(kSource, 88, "m_Instance->WaitForMailRouter() == true")
        .Format("Mail router is not available");
  }
  get_Instance()->Fetch();
}

void TCPropertyCollectionDriver::Init() {
  {
    TCCriticalSectionLock const Lock(m_CSection);
    m_OwnMACOnly = false;
    m_Created = true;
  }
  SubscribeFirst(Norv_ControlMail, [Refusals = m_Refusals](TSNorvMailContent const& Content,
                                                           std::uint64_t Acknowledged) {
    Refusals->Take(Content, Acknowledged);
  });
  if (!get_Instance()->WaitForMailRouter(kWithoutLimit)) {
    throw TCException(kSource, 100, "m_Instance->WaitForMailRouter() == true")
        .Format("Mail router is not available");
  }
  m_Connected = true;
}

void TCPropertyCollectionDriver::Fetch() {
  ExpectNoGuard("Fetch");
  TCPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, PropertyProtocol::kRequestAll.Type,
                      PropertyProtocol::kRequestAll.Name);
  Mail.CreateRecord()->get_Request().m_Action =
      m_OwnMACOnly ? PropertyProtocol::kActionOwn : PropertyProtocol::kActionAll;
  TraceCommon("Property Request All");
  TCOwnValues const Own = ClearForAnswer();
  TCAnswerInHand const Answer(*this, Mail);
  if (!SendAndWait(PropertyServer(), Mail, kWithoutLimit)) {
    TraceCommon("Property Request All Done");
    throw TCException(kSource, 163).Format("Unable to fetch properties");
  }
  TCCriticalSectionLock const Lock(m_CSection);
  m_Connected = true;
  ConnectService(Norv_PropertyMail, 3, false);
  LayOver(Own);
  OnPropertyMail(Mail);
  TraceCommon("Property Request All Done");
}

// Returns the values of which a change of this process is on its way.
TCPropertyCollectionDriver::TCOwnValues TCPropertyCollectionDriver::ClearForAnswer() {
  TCCriticalSectionLock const Lock(m_CSection);
  TCOwnValues Own;
  for (std::string const& Key : KeysOnWay(PropertyServer(), Norv_PropertyMail)) {
    auto const Stored = m_Properties.find(StoreKey(Key));
    if (Stored != m_Properties.end()) {
      Own.emplace(Key, *Stored->second);
    }
  }
  Clear();
  return Own;
}

// Before an answer is taken in that may be older than changes on their way:
// those come first. A change whose value has gone meanwhile is left to what the server sends.
void TCPropertyCollectionDriver::LayOver(TCOwnValues const& Own) {
  std::vector<std::string> Gone;
  for (std::string const& Key : KeysOnWay(PropertyServer(), Norv_PropertyMail)) {
    auto const Value = Own.find(Key);
    if (m_Properties.count(StoreKey(Key)) != 0) {
      continue;  // set since
    }
    if (Value != Own.end()) {
      LoadProperty(Value->second);
    } else {
      Gone.push_back(Key);
    }
  }
  GiveUpChanges(PropertyServer(), Norv_PropertyMail, Gone);
}

// ---- what the server sends ----

void TCPropertyCollectionDriver::OnProxySignal() {
  if (m_Connected) {
    ProcessProxy(-1, false);
  }
}

void TCPropertyCollectionDriver::OnMailRouterState(bool /*Reachable*/) {}

bool TCPropertyCollectionDriver::IsWanted(TCPropertyKey const& Key, std::string const& MAC,
                                          std::string const& OwnMAC) {
  return !m_OwnMACOnly || MAC == OwnMAC || IsSystemWideProperty(Key.get_ID()) ||
         ExistProperty(Key.get_ID(), Key.get_Link(), MAC);
}

void TCPropertyCollectionDriver::OnPropertyMail(TCNorvMessage const& Mail) {
  if (!IsAccepted(Mail)) {
    return;
  }
  // By their keys: meanwhile another thread may have emptied the store.
  for (auto const& [Key, IsGone] : TakeIn(Mail)) {
    IsGone ? TellRemoved(Key) : TellChanged(Key);
  }
}

// With the lock held throughout, so that who holds it meanwhile sees all of the mail or nothing.
TCPropertyCollectionDriver::TCChangedKeys TCPropertyCollectionDriver::TakeIn(
    TCNorvMessage const& Mail) {
  std::string const OwnMAC = m_OwnMACOnly ? TCMACAddress::Own("").get_AsString(':') : std::string();
  bool const Notified = !IsBulkLoad(Mail);
  TCChangedKeys Changed;
  std::vector<TCPropertyKey> Named;  // in a mail that has all that the server holds
  TCReceivedValues Values(Mail);
  TCCriticalSectionLock const Lock(m_CSection);
  while (Values.Next()) {
    TCPropertyKey const Key = Values.get_Key();
    if (Values.IsWhole()) {
      Named.push_back(Key);
    }
    if (!IsWanted(Key, Values.get_MAC(), OwnMAC) || IsOvertaken(Mail, Key)) {
      continue;
    }
    bool const IsNew =
        Values.IsHeld() ? UpdateProperty(Key, Values.get_Data()) != nullptr : Remove(Key);
    if (IsNew && Notified) {
      Changed.emplace_back(Key, !Values.IsHeld());
    }
  }
  if (Values.IsWhole()) {
    std::vector<TCPropertyKey> const Gone = RemoveAllBut(std::move(Named), Mail);
    for (TCPropertyKey const& Key : Gone) {
      Changed.emplace_back(Key, true);
    }
  }
  return Changed;
}

// Leaves also those of which a change of this process is on its way. Returns what it has removed.
std::vector<TCPropertyKey> TCPropertyCollectionDriver::RemoveAllBut(std::vector<TCPropertyKey> Held,
                                                                    TCNorvMessage const& Mail) {
  std::sort(Held.begin(), Held.end());
  std::vector<TCPropertyKey> Gone;
  TCCriticalSectionLock const Lock(m_CSection);
  for (auto const& [Key, Value] : m_Properties) {
    if (!std::binary_search(Held.begin(), Held.end(), Key) && !IsOvertaken(Mail, Key)) {
      Gone.push_back(Key);
    }
  }
  for (TCPropertyKey const& Key : Gone) {
    Remove(Key);
  }
  return Gone;
}

// ---- what the server refuses ----

void TCPropertyCollectionDriver::SetRefusalHandler(TCRefusalHandler Handler) {
  TCRefusalTelling::Get().SetHandler(std::move(Handler));
}

void TCPropertyCollectionDriver::OnControlMail(TCNorvMessage const& Mail) {
  if (!IsSignal(Mail, PropertyControl::kRefusals)) {
    return;
  }
  for (TCRefusalLedger::TSRefusedMail const& Refused :
       TCRefusalLedger::Read(Mail.get_Content()).Mails) {
    if (Refused.Number > m_LastRefusal) {
      m_LastRefusal = Refused.Number;
      TCRefusalTelling::Get().Tell(TCRefusalLedger::Resolve(Refused));
    }
  }
}

TCPropertyCollectionDriver& TCPropertyCollectionDriver::Require() {
  if (m_Instance == nullptr) {
    throw TCException(kSource, __LINE__, "m_Instance!=nullptr")
        .Format("there is no store that sends changes to a server");
  }
  return *m_Instance;
}

TCPropertyReceipt TCPropertyCollectionDriver::ReceiptOfAll() const {
  return TCPropertyReceipt(1, get_LastSent(PropertyServer()));
}

TCPropertyReceipt TCPropertyCollectionDriver::ReceiptOfLast() const {
  static_cast<void>(get_LastSent(PropertyServer()));  // throws in a forked child
  return LastMail == 0 ? TCPropertyReceipt() : TCPropertyReceipt(LastMail, LastMail);
}

// The receipt of no change when the store is closed.
TCPropertyReceipt TCPropertyCollectionDriver::Send(TSNorvMailContent const& Content,
                                                   TCNorvChange Change) const {
  std::uint64_t const Number = PostChange(PropertyServer(), Content, std::move(Change));
  if (Number == 0) {
    return TCPropertyReceipt();
  }
  LastMail = Number;
  return TCPropertyReceipt(Number, Number);
}

TSPropertyReceipt TCPropertyCollectionDriver::WaitFor(TCPropertyReceipt const& Receipt,
                                                      int Timeout) const {
  TENorvWait const Ended = WaitForMail(PropertyServer(), Receipt.m_Last, Timeout);
  TSPropertyReceipt Result = m_Refusals->Look(Receipt.m_First, Receipt.m_Last);
  if (Ended != eNorvAcknowledged) {
    Result.Outcome = Ended == eNorvClosed ? eReceiptClosed : eReceiptTimedOut;
    Result.Complete = false;
  }
  return Result;
}

// ---- what the server decides ----

// Nothing when the store is closed.
std::optional<TCPropertyReceipt> TCPropertyCollectionDriver::SendConditional(
    TCPropertyTransaction const& Transaction, TCExpectations const& Expected) const {
  TCConditionalMail Mail;
  for (auto const& [Key, Data] : Expected) {
    Mail.Expect(Key, Data);
  }
  for (auto const& [Key, Change] : Transaction.get_Changes()) {
    Mail.Change(Key, Change->GetRealValue());
  }
  TCPropertyReceipt const Receipt = Send(Mail.Finish());
  return Receipt.m_Last == 0 ? std::nullopt : std::optional<TCPropertyReceipt>(Receipt);
}

// What the server has decided on comes as a published mail, too, before or after this.
void TCPropertyCollectionDriver::ApplyDecided(TCPropertyTransaction const& Transaction,
                                              TCPropertyReceipt const& Receipt) {
  std::vector<std::string> Keys;
  for (auto const& [Key, Change] : Transaction.get_Changes()) {
    Keys.push_back(KeyOfChange(*Change));
  }
  TCCriticalSectionLock const Lock(m_CSection);
  std::vector<std::string> const Taken =
      TakeDecided(PropertyServer(), Norv_PropertyMail, Receipt.m_Last, Keys);
  std::set<std::string> const Here(Taken.begin(), Taken.end());
  std::vector<TCPropertyKey> Changed;
  for (auto const& [Key, Change] : Transaction.get_Changes()) {
    if (Here.count(KeyOfChange(*Change)) != 0 &&
        UpdateProperty(Key, Change->GetRealValue()) != nullptr) {
      Changed.push_back(Key);
    }
  }
  for (TCPropertyKey const& Key : Changed) {
    TellChanged(Key);
  }
}

// ---- what the store asks for and reports ----

bool TCPropertyCollectionDriver::OnFetchProperty(TCCommonPropertyObject& Object) {
  if (Object.get_MAC().Empty() || Object.get_MAC() == TCMACAddress::Own("")) {
    if (TCPropertyID const* const ID = TCPropertyID::Find(Object.get_ID().get_Number())) {
      ID->SetDefaultValue(Object);
    }
    return true;
  }
  ExpectNoGuard("Property " + Object.get_ID().Viewname(false) + " of " +
                Object.get_MAC().get_AsString(':'));
  TCPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, PropertyProtocol::kRequestOne.Type,
                      PropertyProtocol::kRequestOne.Name);
  Mail.CreateRecord()->RequestProperty(Object.get_ID().get_Number(), Object.get_Link(),
                                       Object.get_MAC().get_AsString(':'));
  if (IsDebugLevel(DEBUG_PROPERTY)) {
    SendDebugOutput(DEBUG_PROPERTY, "Fetch property %s from server",
                    Object.get_ID().get_Name().c_str());
  }
  TCAnswerInHand const Answer(*this, Mail);
  if (!SendAndWait(PropertyServer(), Mail, kWithoutLimit)) {
    return false;
  }
  if (Mail.RecordCount() != 1) {
    throw TCException(kSource, 220, "Mail.RecordCount() == 1")
        .Format("Missing property response record");
  }
  TCNorvPropertyObject::TCRecord const& Record = Mail.GetMailRecord(0)->get_Record();
  TCPropertyID const* const PropID = TCPropertyID::Find(Record.m_ID);
  if (PropID == nullptr) {
    throw TCException(kSource, 222, "PropID!=__null")
        .Format("Property ID %d is not defined", Record.m_ID.get_AsInteger());
  }
  std::string const Data = Record.m_Data.get_AsString();
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(*PropID, Record.m_Link.get_AsRecordID(), Record.m_MAC.get_AsString());
  if (Record.m_Loaded.get_AsBool() && !IsOvertaken(Mail, Key)) {
    UpdateProperty(*PropID, Key.get_Link(), Data, true, Record.m_MAC.get_AsString());
  }
  Lock.Leave();
  Object.SetRealValue(Data);
  return true;
}

// From its mark until its published copy comes, nothing that the server publishes replaces the
// value.
void TCPropertyCollectionDriver::OnPropertySet(TCCommonPropertyObject const& Object,
                                               TCCriticalSectionLock& Lock) {
  TCNorvChange Change = MarkChange(PropertyServer(), Norv_PropertyMail, {KeyOfChange(Object)});
  Lock.Leave();
  TCChangeMail Mail;
  Mail.Append(Object);
  Send(Mail.Finish(), std::move(Change));
}

// Of a value that the store has not just set, as the application may hand it over.
void TCPropertyCollectionDriver::OnPropertyChanged(TCCommonPropertyObject const& Object) {
  TCChangeMail Mail;
  Mail.Append(Object);
  Send(Mail.Finish());
}

void TCPropertyCollectionDriver::CommitTransaction(TCPropertyTransaction* Transaction) {
  Commit(Transaction, nullptr);
}

// `Receipt`, unless it is null, is taken before notifiers may set something, too.
void TCPropertyCollectionDriver::Commit(TCPropertyTransaction* Transaction,
                                        TCPropertyReceipt* Receipt) {
  TCChangeMail Mail;
  std::optional<TCNorvChange> OnWay;
  unsigned ChangeCount = 0;
  {
    TCCriticalSectionLock const Lock(m_CSection);
    TCPropertyCollection::CommitTransaction(Transaction);
    if (Transaction->get_Changes().empty()) {
      return;
    }
    std::vector<std::string> Keys;
    for (auto const& [Key, Change] : Transaction->get_Changes()) {
      UpdateProperty(Key, Change->GetRealValue());
      Mail.Append(*Change);
      Keys.push_back(KeyOfChange(*Change));
    }
    OnWay.emplace(MarkChange(PropertyServer(), Norv_PropertyMail, std::move(Keys)));
    ChangeCount = get_ChangeCount();
  }
  TCPropertyReceipt const Sent = Send(Mail.Finish(), std::move(*OnWay));
  if (Receipt != nullptr) {
    *Receipt = Sent;
  }
  for (auto const& [Key, Change] : Transaction->get_Changes()) {
    Notify(eNotifyChanged, *Change);
    TellLaterChange(*Change, ChangeCount);
  }
}

std::list<TCCommonPropertyObject> TCPropertyCollectionDriver::DoLoadPropertyList(
    TCPropertyID const& ID) {
  bool const InTable = !TCPropertyContainer::GetTableIDForObject(ID).IsNull();
  std::list<TCCommonPropertyObject> Result;
  TCCriticalSectionLock const Lock(m_CSection);
  auto Entry =
      m_Properties.lower_bound(TCPropertyKey(ID, Accessories::TCRecordID(), TCMACAddress()));
  for (; Entry != m_Properties.end() && Entry->first.get_ID().get_Number() == ID.get_Number();
       ++Entry) {
    if (InTable || !Entry->first.get_Link().IsNull()) {
      Result.push_back(*Entry->second);
    }
  }
  return Result;
}

}  // namespace Property
