// SPDX-License-Identifier: MIT
// Speaks the property protocol for the process's store.
#include "PropertyInterface/TCPropertyCollectionDriver.h"

#include <functional>
#include <utility>
#include <vector>

#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCPerThread.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {
namespace {

using TCPropertyMail = TCNorvMailMessage<TCNorvPropertyObject>;

constexpr char kSource[] = "../PropertyInterface/TCPropertyCollectionDriver";
constexpr int kWithoutLimit = -1;
constexpr std::size_t kLargeMail = std::size_t{64} << 10;  // what it was read into is not kept

// Signal names of the property mail class, by signal type.
constexpr int kRequestAll = 1;
constexpr int kRequestOne = 2;
constexpr int kChange = 3;
constexpr int kAllValues = 1;
constexpr int kPublishedChange = 1;

constexpr int kActionOwn = 0;
constexpr int kActionAll = 1;

TCNorvServiceName const& PropertyServer() {
  static auto const& Name = *new TCNorvServiceName(  // in use until the process ends
      TCNorvServiceName::MakeLocalProcess("@mailrouter.property", ""));
  return Name;
}

bool IsBulkLoad(TCNorvMessage const& Mail) {
  return Mail.get_SignalType() == eNorvChange && Mail.get_SignalName() == kAllValues;
}

bool IsAccepted(TCNorvMessage const& Mail) {
  return (Mail.get_SignalType() == eNorvEvent && Mail.get_SignalName() == kPublishedChange) ||
         (Mail.get_SignalType() == eNorvChange && Mail.get_SignalName() == kChange) ||
         IsBulkLoad(Mail);
}

void TraceCommon(char const* Text) {
  if (IsDebugLevel(DEBUG_COMMON)) {
    SendDebugOutput(DEBUG_COMMON, "%s", Text);
  }
}

// A mail that tells the server of changes. Encodes each as it comes: a transaction can have many.
class TCChangeMail {
 public:
  void Append(TCCommonPropertyObject const& Object) {
    Scratch().get_Record().m_Link.Unassign();  // SetRecord leaves it alone for a null link
    Scratch().SetRecord(Object.get_ID().get_Number(), Object.GetRealValue(), Object.get_Link(),
                        false, Object.get_MAC().get_AsString(':'));
    Scratch().get_Record().Encode(m_Writer);
  }

  void Send(TCNorvServiceProxy const& Proxy) {
    std::shared_ptr<TCNorvMailBody const> const Body = m_Writer.Finish();
    if (Body->get_Size() > kLargeMail) {
      TCPerThread<TCNorvPropertyObject>::Drop();
    }
    Proxy.Post(PropertyServer(), {TCNorvPropertyObject::m_MailClassID, eNorvChange, kChange, Body});
  }

 private:
  // To make one takes as long as to encode what it holds.
  static TCNorvPropertyObject& Scratch() { return TCPerThread<TCNorvPropertyObject>::Get(); }

  TCNorvMailBody::TCWriter m_Writer{Scratch().get_Record().get_Signature()};
};

std::string MailKey(TCCommonPropertyObject const& Object) {
  return TCNorvPropertyObject::Key(Object.get_ID().get_Number(), Object.get_Link(),
                                   Object.get_MAC().get_AsString(':'));
}

// What the records of mails are read into. Each thread keeps one: to make it takes longer than to
// read a record, and a bulk load has hundreds of thousands.
struct TSReading {
  TCNorvPropertyObject::TCRecord Record;
  std::string MACBuffer;
  std::string DataBuffer;
  std::string LastMAC;  // nearly all are of the same device
  TCMACAddress Device;  // of LastMAC
};

// A change that could not be sent is not on its way.
struct TCMarkEnd {
  std::function<void()> m_Forget;
  ~TCMarkEnd() { m_Forget(); }
};

}  // namespace

std::atomic<TCPropertyCollectionDriver*> TCPropertyCollectionDriver::m_Instance{nullptr};
std::atomic<bool> TCPropertyCollectionDriver::m_Created{false};

TCPropertyCollectionDriver::TCPropertyCollectionDriver() : m_MailFunctions(this) {
  m_Instance = this;
  SetMailParse(m_MailFunctions);
  m_MailFunctions.Add(Norv_PropertyMail.get_ID(), &TCPropertyCollectionDriver::OnPropertyMail);
  TCBasicPropertyID::Initialize();
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
    new TCPropertyCollectionDriver;  // registers itself and lives as long as the process
    get_Instance()->Init();
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
  if (!get_Instance()->WaitForMailRouter(kWithoutLimit)) {
    throw TCException(kSource, 100, "m_Instance->WaitForMailRouter() == true")
        .Format("Mail router is not available");
  }
  m_Connected = true;
}

void TCPropertyCollectionDriver::Fetch() {
  TCPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvRequest, kRequestAll);
  Mail.CreateRecord()->get_Request().m_Action = m_OwnMACOnly ? kActionOwn : kActionAll;
  TraceCommon("Property Request All");
  Clear();
  TCAnswerInHand const Answer(*this);
  if (!SendAndWait(PropertyServer(), Mail, kWithoutLimit)) {
    TraceCommon("Property Request All Done");
    throw TCException(kSource, 163).Format("Unable to fetch properties");
  }
  TCCriticalSectionLock const Lock(m_CSection);
  m_Connected = true;
  ConnectService(Norv_PropertyMail, 3, false);
  OnPropertyMail(Mail);
  TraceCommon("Property Request All Done");
}

// ---- what the server sends ----

void TCPropertyCollectionDriver::OnProxySignal() {
  if (m_Connected) {
    ProcessProxy(-1, false);
  }
}

void TCPropertyCollectionDriver::OnMailRouterState(bool /*Reachable*/) {}

bool TCPropertyCollectionDriver::IsWanted(TCPropertyID const& ID,
                                          Accessories::TCRecordID const& Link,
                                          std::string const& MAC, std::string const& OwnMAC) {
  return !m_OwnMACOnly || MAC == OwnMAC || IsSystemWideProperty(ID) || ExistProperty(ID, Link, MAC);
}

void TCPropertyCollectionDriver::OnPropertyMail(TCNorvMessage const& Mail) {
  if (!IsAccepted(Mail)) {
    return;
  }
  std::string const OwnMAC = m_OwnMACOnly ? TCMACAddress::Own("").get_AsString(':') : std::string();
  auto& [Record, MACBuffer, DataBuffer, LastMAC, Device] = TCPerThread<TSReading>::Get();
  std::shared_ptr<TCNorvMailBody const> const Body = Mail.get_Body(Record);
  bool const Notified = !IsBulkLoad(Mail);
  std::vector<TCCommonPropertyObject const*> Changed;
  for (int Index = 0; Index < Body->get_Count(); ++Index) {
    Record.Decode(Body->get_Record(Index));
    std::string const& MAC = Record.m_MAC.get_AsString(MACBuffer);
    Accessories::TCRecordID const Link = Record.m_Link.get_AsRecordID();
    TCPropertyID const* const ID = TCPropertyID::Find(Record.m_ID);
    if (ID == nullptr || !IsWanted(*ID, Link, MAC, OwnMAC)) {
      continue;
    }
    if (MAC != LastMAC) {
      LastMAC = MAC;
      Device = MAC;
    }
    TCCriticalSectionLock const Lock(m_CSection);
    if (IsAnyOvertaken() && IsOvertaken(Record.get_Key())) {
      continue;  // by a change of this process, which comes later in the server's order
    }
    TCCommonPropertyObject const* const Object =
        UpdateProperty(TCPropertyKey(*ID, Link, Device), Record.m_Data.get_AsString(DataBuffer));
    if (Object != nullptr && Notified) {
      Changed.push_back(Object);
    }
  }
  if (Body->get_Size() > kLargeMail) {
    TCPerThread<TSReading>::Drop();
  }
  for (TCCommonPropertyObject const* Object : Changed) {
    Notify(eNotifyChanged, *Object);
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
  TCPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvRequest, kRequestOne);
  Mail.CreateRecord()->RequestProperty(Object.get_ID().get_Number(), Object.get_Link(),
                                       Object.get_MAC().get_AsString(':'));
  if (IsDebugLevel(DEBUG_PROPERTY)) {
    SendDebugOutput(DEBUG_PROPERTY, "Fetch property %s from server",
                    Object.get_ID().get_Name().c_str());
  }
  TCAnswerInHand const Answer(*this);
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
  if (Record.m_Loaded.get_AsBool()) {
    UpdateProperty(*PropID, Record.m_Link.get_AsRecordID(), Data, true,
                   Record.m_MAC.get_AsString());
  }
  Object.SetRealValue(Data);
  return true;
}

// From here until its published copy comes, nothing that the server publishes replaces the value.
void TCPropertyCollectionDriver::OnPropertySet(TCCommonPropertyObject const& Object) {
  MarkChange(PropertyServer(), Norv_PropertyMail, {MailKey(Object)});
}

void TCPropertyCollectionDriver::OnPropertyChanged(TCCommonPropertyObject const& Object) {
  TCMarkEnd const End{[this] { ForgetMark(); }};
  TCChangeMail Mail;
  Mail.Append(Object);
  Mail.Send(*this);
}

void TCPropertyCollectionDriver::ApplyChange(TCPropertyKey const& Key,
                                             TCCommonPropertyObject const& Change) {
  auto const Stored = m_Properties.find(Key);
  if (Stored != m_Properties.end()) {
    Stored->second->SetRealValue(Change.GetRealValue());
    return;
  }
  TCCommonPropertyObject Value(Key.get_ID(), Key.get_Link(), Key.get_MAC());
  Value.SetRealValue(Change.GetRealValue());
  Insert(std::move(Value));
}

void TCPropertyCollectionDriver::CommitTransaction(TCPropertyTransaction* Transaction) {
  TCMarkEnd const End{[this] { ForgetMark(); }};
  TCChangeMail Mail;
  {
    TCCriticalSectionLock const Lock(m_CSection);
    TCPropertyCollection::CommitTransaction(Transaction);
    if (Transaction->get_Changes().empty()) {
      return;
    }
    std::vector<std::string> Keys;
    for (auto const& [Key, Change] : Transaction->get_Changes()) {
      ApplyChange(Key, *Change);
      Mail.Append(*Change);
      Keys.push_back(MailKey(*Change));
    }
    MarkChange(PropertyServer(), Norv_PropertyMail, std::move(Keys));
  }
  Mail.Send(*this);
  for (auto const& [Key, Change] : Transaction->get_Changes()) {
    Notify(eNotifyChanged, *Change);
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
