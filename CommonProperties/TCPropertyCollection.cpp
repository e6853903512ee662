// SPDX-License-Identifier: MIT
// The process-wide store: how it comes to be, its lock, and which of its rooms does what.
#include "CommonProperties/TCPropertyCollection.h"

#include <exception>
#include <utility>

#include "CommonProperties/KeyOf.h"
#include "CommonProperties/Store/TCChangeTeller.h"
#include "CommonProperties/Store/TCProcessState.h"
#include "CommonProperties/Store/TCPropertyReader.h"
#include "CommonProperties/Store/TCPropertyWriter.h"
#include "CommonProperties/Store/TCStoreForks.h"
#include "CommonProperties/Store/TCStoredValues.h"
#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyCollection";

}  // namespace

/// What the store is made of. Each refers to some of those before it.
class TCPropertyCollection::TCRooms {
 public:
  explicit TCRooms(TCPropertyCollection& Store)
      : m_Process(TCProcessState::Get()),
        m_Values(Store.m_Properties, Store.m_ChangeCount),
        m_Teller(Store, m_Values),
        m_Reader(Store, m_Values, m_Process),
        m_Writer(m_Values, m_Teller, m_Process) {}

  TCMACAddress MACFor(TCPropertyID const& ID, std::string const& MAC) const
      PROPERTY_REQUIRES(m_CSection) {
    return m_Process.m_Device.MACFor(ID, MAC);
  }

  TCProcessState const& m_Process;
  TCStoredValues m_Values;
  TCChangeTeller m_Teller;
  TCPropertyReader m_Reader;
  TCPropertyWriter m_Writer;
};

/// Drops the registration of a thread that ends with a transaction open, so that a later thread
/// with the same id does not take it over.
class TCPropertyCollection::TCThreadEnd {
 public:
  ~TCThreadEnd() { ForgetTransaction(); }
};

// The library itself asks TCProcessState, because these are not set yet in an early static
// initialiser.
std::string& TCPropertyCollection::m_OwnMACAddress = TCProcessState::Get().m_Device.get_OwnText();
std::map<unsigned long, std::string>& TCPropertyCollection::m_SessionList =
    TCProcessState::Get().m_Device.get_Sessions();
std::map<int, TCPropertyTransaction*>& TCPropertyCollection::m_Transactions =
    TCProcessState::Get().m_Transactions.get_All();

TCPropertyCollection::TSessionCallback TCPropertyCollection::m_FPGetCurrentSession = nullptr;
std::set<TCCommonPropertyChangeNotifier*>* TCPropertyCollection::m_Notifiers = nullptr;
TCPropertyCollection* TCPropertyCollection::m_Instance = nullptr;
bool TCPropertyCollection::m_Ready = false;
TCCriticalSection TCPropertyCollection::m_CSection;
TCPropertyCollection* TCPropertyCollection::m_Complete = nullptr;
bool TCPropertyCollection::m_UnderConstruction = false;
std::atomic<bool> TCPropertyCollection::m_LongWait{false};

TCPropertyCollection::TCPropertyCollection()
    : m_ExceptionsAtConstruction(std::uncaught_exceptions()),
      m_Rooms(std::make_unique<TCRooms>(*this)) {
  TCCriticalSectionLock Lock(m_CSection);
  TCProcessState::Get().m_Device.TakeOwn();
  TCBasicPropertyID::Initialize();
  TCStoreForks::Watch();
  if (m_Instance != nullptr) {
    throw TCException(kSource, __LINE__, "m_Instance==__null")
        .Format("Property collection has already been created");
  }
  __atomic_store_n(&m_Complete, static_cast<TCPropertyCollection*>(nullptr), __ATOMIC_RELEASE);
  __atomic_store_n(&m_Instance, this, __ATOMIC_RELEASE);
}

// With more exceptions on their way than at its construction, the store is one whose constructor
// has thrown.
TCPropertyCollection::~TCPropertyCollection() {
  if (std::uncaught_exceptions() <= m_ExceptionsAtConstruction) {
    return;
  }
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Instance == this) {
    __atomic_store_n(&m_Instance, static_cast<TCPropertyCollection*>(nullptr), __ATOMIC_RELEASE);
  }
}

// Every call of a client's function comes here first, so that the pointers are read without the
// lock. The built-in functions, because subclasses see m_Instance as the plain pointer that it is.
TCPropertyCollection* TCPropertyCollection::get() {
  TCPropertyCollection* const Instance = __atomic_load_n(&m_Instance, __ATOMIC_ACQUIRE);
  if (Instance != nullptr && Instance == __atomic_load_n(&m_Complete, __ATOMIC_ACQUIRE)) {
    return Instance;
  }
  return WaitForInstance();
}

// Who has got the lock has waited for the end of the construction, unless it is the thread that
// constructs.
TCPropertyCollection* TCPropertyCollection::WaitForInstance() {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Instance == nullptr) {
    throw TCException(kSource, __LINE__, "m_Instance!=__null")
        .Format("Property collection has not been created");
  }
  if (!m_UnderConstruction) {
    __atomic_store_n(&m_Complete, m_Instance, __ATOMIC_RELEASE);
  }
  return m_Instance;
}

void TCPropertyCollection::Clear() {
  TCCriticalSectionLock Lock(m_CSection);
  m_Rooms->m_Values.Clear();
}

// ---- what a subclass uses ----

TCCommonPropertyObject& TCPropertyCollection::Insert(TCCommonPropertyObject&& Value) {
  return m_Rooms->m_Values.Insert(std::move(Value));
}

TCCommonPropertyObject* TCPropertyCollection::UpdateProperty(TCPropertyKey const& Key,
                                                             std::string const& Data) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Values.Update(Key, Data);
}

bool TCPropertyCollection::Remove(TCPropertyKey const& Key) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Values.Remove(Key);
}

// Who changes a value after the count was read tells it later than `Told` was told, or is seen
// here.
void TCPropertyCollection::TellLaterChange(TCCommonPropertyObject const& Told,
                                           unsigned ChangeCount) {
  if (get_ChangeCount() == ChangeCount) {
    return;
  }
  TCCriticalSectionLock Lock(m_CSection);
  m_Rooms->m_Teller.TellLater(Told);
}

void TCPropertyCollection::TellChanged(TCPropertyKey const& Key) {
  TCCriticalSectionLock Lock(m_CSection);
  m_Rooms->m_Teller.TellChanged(Key);
}

void TCPropertyCollection::TellRemoved(TCPropertyKey const& Key) {
  TCCriticalSectionLock Lock(m_CSection);
  m_Rooms->m_Teller.TellRemoved(Key);
}

// ---- writing ----

TCCommonPropertyObject const& TCPropertyCollection::SetProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link,
                                                                std::string const& Data,
                                                                std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(ID, Link, m_Rooms->MACFor(ID, MAC));
  return m_Rooms->m_Writer.Set(Key, Data, Lock);
}

TCCommonPropertyObject const& TCPropertyCollection::SetProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link, int Data,
                                                                std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(ID, Link, m_Rooms->MACFor(ID, MAC));
  return m_Rooms->m_Writer.Set(Key, ToString(Data), Lock);
}

TCCommonPropertyObject const& TCPropertyCollection::SetProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link,
                                                                TCPropertyChoiceID const& Choice,
                                                                std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Writer.Set(ID, Link, Choice, MAC, Lock);
}

TCCommonPropertyObject const& TCPropertyCollection::setProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link,
                                                                std::string const& Data,
                                                                std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Writer.Set(TCPropertyKey(ID, Link, MAC), Data, Lock);
}

bool TCPropertyCollection::UpdateProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                          std::string const& Data, bool AddIfMissing,
                                          std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(ID, Link, MAC);
  if (!AddIfMissing && m_Rooms->m_Values.Find(Key) == nullptr) {
    throw TCException(kSource, __LINE__)
        .Format("Updating a non existing Property %s", ID.Viewname(true).c_str());
  }
  if (m_Rooms->m_Values.Update(Key, Data) == nullptr) {
    return false;
  }
  m_Rooms->m_Teller.TellChanged(Key);
  return true;
}

TCCommonPropertyObject* TCPropertyCollection::UpdateProperty(TCPropertyID const& ID,
                                                             TCRecordID const& Link,
                                                             std::string const& Data,
                                                             std::string const& MAC) {
  return UpdateProperty(TCPropertyKey(ID, Link, MAC), Data);
}

void TCPropertyCollection::LoadProperty(TCCommonPropertyObject const& Object) {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Rooms->m_Values.Find(KeyOf(Object)) == nullptr) {
    m_Rooms->m_Values.Insert(TCCommonPropertyObject(Object));
  }
}

TCCommonPropertyObject* TCPropertyCollection::LoadProperty(TCPropertyID const& ID,
                                                           std::string const& Data,
                                                           TCRecordID const& Link,
                                                           std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Writer.Load(TCPropertyKey(ID, Link, MAC), Data, Lock);
}

void TCPropertyCollection::DeleteProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                          std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  m_Rooms->m_Writer.Delete(TCPropertyKey(ID, Link, m_Rooms->MACFor(ID, MAC)));
}

void TCPropertyCollection::DeletePropertiesLinkedTo(TCRecordID const& Link,
                                                    TCNullTypes<int> const& ClassID,
                                                    std::string MAC) {
  std::list<TCCommonPropertyObject> Linked;
  {
    TCCriticalSectionLock Lock(m_CSection);
    Linked = m_Rooms->m_Values.FindLinked(Link, ClassID);
  }
  for (TCCommonPropertyObject const& Object : Linked) {
    DeleteProperty(Object.get_ID(), Link, MAC);
  }
}

// ---- reading ----

TCCommonPropertyObject TCPropertyCollection::GetProperty(TCPropertyID const& ID,
                                                         TCRecordID const& Link, std::string MAC) {
  return GetProperty(ID, false, Link, std::move(MAC));
}

TCCommonPropertyObject TCPropertyCollection::GetProperty(TCPropertyID const& ID, bool NoException,
                                                         TCRecordID const& Link, std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Reader.Read(ID, NoException, Link, m_Rooms->MACFor(ID, MAC), Lock);
}

TCCommonPropertyObject& TCPropertyCollection::getProperty(TCCommonPropertyObject& Object,
                                                          bool NoException, std::string const&) {
  TCCriticalSectionLock Lock(m_CSection);
  m_Rooms->m_Reader.Complete(Object, NoException, Lock);
  return Object;
}

std::string const& TCPropertyCollection::getPropertyData(TCPropertyID const& ID,
                                                         TCRecordID const& Link,
                                                         std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCCommonPropertyObject const* const Stored = m_Rooms->m_Values.Find(TCPropertyKey(ID, Link, MAC));
  if (Stored == nullptr) {
    throw TCException(kSource, __LINE__)
        .Format("getting a non existing Property %s", ID.Viewname(true).c_str());
  }
  return Stored->GetRealValue();
}

bool TCPropertyCollection::ExistProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                         std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_Rooms->m_Values.Find(TCPropertyKey(ID, Link, m_Rooms->MACFor(ID, MAC))) != nullptr;
}

std::list<TCCommonPropertyObject> TCPropertyCollection::GetProperties(TCPropertyID const& ID) {
  TCCriticalSectionLock Lock(m_CSection);
  return get()->DoLoadPropertyList(ID);
}

// ---- validators ----

void TCPropertyCollection::AssignValidator(TCPropertyID const& ID, TValidator Function) {
  TCCriticalSectionLock Lock(m_CSection);
  if (!m_Validators.emplace(ID.get_Number(), Function).second) {
    throw TCException(kSource, __LINE__, "Itr == m_Validators.end()")
        .Format("There are already installed a Validation method for property %s",
                ID.Viewname(false).c_str());
  }
}

void TCPropertyCollection::Validation(TCCommonPropertyObject& Object) {
  TCCriticalSectionLock Lock(m_CSection);
  TValidator const* const Function = m_Rooms->m_Reader.ValidatorOf(Object.get_ID());
  Lock.Leave();
  if (Function != nullptr) {
    Object.Validate(*Function);
  }
}

// ---- devices and sessions ----

bool TCPropertyCollection::IsSystemWideProperty(TCNullTypes<int> const& ClassID) {
  return !TCPropertyContainer::IsOrvaneLinked(ClassID.get_Value());
}

bool TCPropertyCollection::IsSystemWideProperty(TCPropertyID const& ID) {
  return IsSystemWideProperty(ID.get_ClassID());
}

std::set<TCRecordID> TCPropertyCollection::GetSystemwideClassIDs() {
  std::set<TCRecordID> Result;
  for (TCNullTypes<int> const& ClassID : TCBasicPropertyID::m_Classlist) {
    if (!ClassID.IsNull() && IsSystemWideProperty(ClassID)) {
      Result.insert(TCRecordID(ClassID.get_Value()));
    }
  }
  return Result;
}

TCNullTypes<int> TCPropertyCollection::GetClassIDForWPFunction(int Function) {
  switch (Function) {
    case 23:
      return 44;
    case 24:
      return 47;
    case 101:
      return 107;
    case 102:
      return 108;
    // These two classes are numbered the other way round than their functions.
    case 103:
      return 110;
    case 104:
      return 109;
    default:
      return TCNullTypes<int>();
  }
}

std::string TCPropertyCollection::GetCurrentMAC(TCPropertyID const& ID) {
  if (IsSystemWideProperty(ID)) {
    return std::string();
  }
  TCCriticalSectionLock Lock(m_CSection);
  return TCProcessState::Get().m_Device.Text();
}

void TCPropertyCollection::SetSessionCallback(TSessionCallback Function) {
  TCCriticalSectionLock Lock(m_CSection);
  m_FPGetCurrentSession = Function;
}

void TCPropertyCollection::SetCurrentSession(unsigned long SessionID, std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCProcessState::Get().m_Device.get_Sessions()[SessionID] = MAC;
  get()->DoSetSession(SessionID, MAC);
}

void TCPropertyCollection::DeleteSession(unsigned long SessionID) {
  TCCriticalSectionLock Lock(m_CSection);
  TCProcessState::Get().m_Device.get_Sessions().erase(SessionID);
  get()->DoDeleteSession(SessionID);
}

// ---- transactions ----

void TCPropertyCollection::AddTransaction(TCPropertyTransaction* Transaction) {
  static thread_local TCThreadEnd AtThreadEnd;
  TCCriticalSectionLock Lock(m_CSection);
  Transaction->m_Active = true;
  TCProcessState::Get().m_Transactions.Add(Transaction);
}

void TCPropertyCollection::RemoveTransaction(TCPropertyTransaction* Transaction) {
  TCCriticalSectionLock Lock(m_CSection);
  Transaction->m_Active = false;
  ForgetTransaction();
}

void TCPropertyCollection::RollbackTransaction(TCPropertyTransaction* Transaction) {
  TCCriticalSectionLock Lock(m_CSection);
  RemoveTransaction(Transaction);
  Transaction->Reset();
}

void TCPropertyCollection::ForgetTransaction() {
  TCCriticalSectionLock Lock(m_CSection);
  TCProcessState::Get().m_Transactions.Remove();
}

TCPropertyTransaction* TCPropertyCollection::InTransaction() {
  TCCriticalSectionLock Lock(m_CSection);
  return TCProcessState::Get().m_Transactions.Find();
}

// ---- notifiers ----

void TCPropertyCollection::AddNotifier(TCCommonPropertyChangeNotifier* Notifier) {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Notifiers == nullptr) {
    m_Notifiers = new std::set<TCCommonPropertyChangeNotifier*>;
  }
  m_Notifiers->insert(Notifier);
}

void TCPropertyCollection::DelNotifier(TCCommonPropertyChangeNotifier* Notifier) {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Notifiers != nullptr) {
    m_Notifiers->erase(Notifier);
  }
}

void TCPropertyCollection::Notify(TENotificationType Type, TCCommonPropertyObject const& Object) {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Notifiers != nullptr) {
    m_Rooms->m_Teller.Push(*m_Notifiers, Type, Object);
  }
}

// ---- what a subclass may add ----

void TCPropertyCollection::DoSetSession(unsigned long, std::string const&) {}

void TCPropertyCollection::DoDeleteSession(unsigned long) {}

void TCPropertyCollection::OnPropertyChanged(TCCommonPropertyObject const&) {}

bool TCPropertyCollection::OnFetchProperty(TCCommonPropertyObject&) {
  return false;
}

void TCPropertyCollection::CommitTransaction(TCPropertyTransaction* Transaction) {
  RemoveTransaction(Transaction);
}

void TCPropertyCollection::OnPropertySet(TCCommonPropertyObject const& Object,
                                         TCCriticalSectionLock& Lock) {
  Lock.Leave();
  OnPropertyChanged(Object);
}

}  // namespace Property

// ---- the client's read ----

// Here and not with the client's other functions, and not by way of the store's own operation,
// which takes a copy of the text: nothing is done as often.
Property::TCCommonPropertyObject GetProperty(Property::TCPropertyID const& ID,
                                             TCRecordID const& Link, std::string const& MAC) {
  Property::TCPropertyCollection& Store = *Property::TCPropertyCollection::get();
  TCCriticalSectionLock Lock(Property::TCPropertyCollection::m_CSection);
  return Store.m_Rooms->m_Reader.Read(ID, false, Link, Store.m_Rooms->MACFor(ID, MAC), Lock);
}
