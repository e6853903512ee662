// SPDX-License-Identifier: MIT
// The process-wide store: its values, and what surrounds them in every process.
#include "CommonProperties/TCPropertyCollection.h"

#include <exception>
#include <new>
#include <utility>

#include "CommonProperties/KeyOf.h"
#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyIndex.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/ForkHandlers.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCUtilities.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyCollection";

TCCommonPropertyObject EmptyValue(TCPropertyKey const& Key) {
  return TCCommonPropertyObject(Key.get_ID(), Key.get_Link(), Key.get_MAC());
}

TCCommonPropertyObject LoadedValue(TCPropertyKey const& Key, std::string const& Data) {
  TCCommonPropertyObject Value = EmptyValue(Key);
  Value.SetRealValue(Data);
  return Value;
}

inline void TraceRead(TCCommonPropertyObject const& Object) {
  if (IsDebugLevel(DEBUG_PROPERTY)) {
    Object.Trace("Get");
  }
}

// Once a store exists the schema is complete, and its mark is only read from then on.
void CompleteSchema() {
  if (!TCBasicPropertyID::m_Initialized) {
    TCBasicPropertyID::Initialize();
  }
}

}  // namespace

/// What belongs to the process and not to the instance; the class's static references name it.
class TCPropertyCollection::TCProcessState {
 public:
  std::string m_OwnMACText;
  std::map<unsigned long, std::string> m_Sessions;
  std::map<int, TCPropertyTransaction*> m_Transactions;
};

/// Drops the registration of a thread that ends with a transaction open, so that a later thread
/// with the same id does not take it over.
class TCPropertyCollection::TCThreadEnd {
 public:
  ~TCThreadEnd() { ForgetTransaction(); }
};

/// A walk over the notifiers. What Clear removes meanwhile lives until its end.
class TCPropertyCollection::TCTelling {
 public:
  explicit TCTelling(TCPropertyCollection& Store) : m_Store(Store) { ++m_Store.m_Tellings; }
  ~TCTelling() {
    if (--m_Store.m_Tellings == 0) {
      m_Store.m_Cleared.clear();
    }
  }
  TCTelling(TCTelling const&) = delete;
  TCTelling& operator=(TCTelling const&) = delete;

 private:
  TCPropertyCollection& m_Store;
};

/// A deletion that is being told. Hears whether the value is told as changed meanwhile, by a hook.
class TCPropertyCollection::TCDeletion {
 public:
  TCDeletion(TCPropertyCollection& Store, TCPropertyKey const& Key)
      : m_Store(Store), m_Outer(Store.m_Deletion), m_Key(Key) {
    m_Store.m_Deletion = this;
  }
  ~TCDeletion() { m_Store.m_Deletion = m_Outer; }
  TCDeletion(TCDeletion const&) = delete;
  TCDeletion& operator=(TCDeletion const&) = delete;

  /// Passes it on to the deletions in whose hooks this one was made.
  void HearChange(TCPropertyKey const& Key) {
    m_Overtaken = m_Overtaken || m_Key == Key;
    if (m_Outer != nullptr) {
      m_Outer->HearChange(Key);
    }
  }
  bool IsOvertaken() const { return m_Overtaken; }

 private:
  TCPropertyCollection& m_Store;
  TCDeletion* const m_Outer;
  TCPropertyKey const& m_Key;
  bool m_Overtaken = false;
};

std::atomic<TCPropertyCollection::TCProcessState*> TCPropertyCollection::m_State{nullptr};

inline TCPropertyCollection::TCProcessState& TCPropertyCollection::State() {
  TCProcessState* const Made = m_State.load(std::memory_order_acquire);
  return Made != nullptr ? *Made : MakeState();
}

TCPropertyCollection::TCProcessState& TCPropertyCollection::MakeState() {
  static TCProcessState& Result = *new TCProcessState;
  m_State.store(&Result, std::memory_order_release);
  return Result;
}

// The library itself asks State(), because these are not set yet in an early static initialiser.
std::string& TCPropertyCollection::m_OwnMACAddress = State().m_OwnMACText;
std::map<unsigned long, std::string>& TCPropertyCollection::m_SessionList = State().m_Sessions;
std::map<int, TCPropertyTransaction*>& TCPropertyCollection::m_Transactions =
    State().m_Transactions;

TCPropertyCollection::TSessionCallback TCPropertyCollection::m_FPGetCurrentSession = nullptr;
std::set<TCCommonPropertyChangeNotifier*>* TCPropertyCollection::m_Notifiers = nullptr;
TCPropertyCollection* TCPropertyCollection::m_Instance = nullptr;
bool TCPropertyCollection::m_Ready = false;
TCCriticalSection TCPropertyCollection::m_CSection;
TCMACAddress TCPropertyCollection::m_OwnMAC;
TCPropertyCollection* TCPropertyCollection::m_Complete = nullptr;
bool TCPropertyCollection::m_UnderConstruction = false;
std::atomic<bool> TCPropertyCollection::m_LongWait{false};

TCPropertyCollection::TCPropertyCollection()
    : m_ExceptionsAtConstruction(std::uncaught_exceptions()),
      m_Index(std::make_unique<TCPropertyIndex>(m_Properties)) {
  TCCriticalSectionLock Lock(m_CSection);
  m_OwnMAC = TCMACAddress::Own("");
  State().m_OwnMACText = m_OwnMAC.get_AsString(':');
  TCBasicPropertyID::Initialize();
  WatchForks();
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
  if (m_Tellings != 0) {
    m_Cleared.reserve(m_Cleared.size() + m_Properties.size() + m_Removed.size());
  }
  CountChange();
  for (auto const& Entry : m_Properties) {
    if (m_Tellings != 0) {
      m_Cleared.emplace_back(Entry.second);
    } else {
      delete Entry.second;
    }
  }
  m_Index->Clear();
  if (m_Tellings != 0) {
    for (auto& Entry : m_Removed) {
      m_Cleared.push_back(std::move(Entry.second));
    }
  }
  m_Removed.clear();
}

// ---- the map ----

TCCommonPropertyObject* TCPropertyCollection::Find(TCPropertyKey const& Key) const {
  return m_Index->Find(Key);
}

TCCommonPropertyObject& TCPropertyCollection::Insert(TCCommonPropertyObject&& Value) {
  CountChange();
  TCPropertyKey const Key = KeyOf(Value);
  auto const Removed = m_Removed.find(Key);
  if (Removed != m_Removed.end()) {
    TCCommonPropertyObject& Stored = *Removed->second;
    m_Index->Insert(Key, &Stored);
    Stored = std::move(Value);
    static_cast<void>(Removed->second.release());  // m_Properties owns it now
    m_Removed.erase(Removed);
    return Stored;
  }
  auto Stored = std::make_unique<TCCommonPropertyObject>(std::move(Value));
  m_Index->Insert(Key, Stored.get());
  return *Stored.release();
}

bool TCPropertyCollection::Remove(TCPropertyKey const& Key) {
  TCCriticalSectionLock Lock(m_CSection);
  TCCommonPropertyObject* const Stored = Find(Key);
  if (Stored == nullptr) {
    return false;
  }
  CountChange();
  m_Removed.emplace(Key, nullptr)->second.reset(Stored);
  m_Index->Remove(Key);
  return true;
}

// ---- telling ----

// Only who holds the lock writes it, so that it takes no more than an addition.
void TCPropertyCollection::CountChange() {
  m_ChangeCount.store(m_ChangeCount.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void TCPropertyCollection::ChangedThenNotify(TCCommonPropertyObject const& Object,
                                             TCCriticalSectionLock& Lock) {
  TCCommonPropertyObject const Copy(Object);
  CountChange();
  unsigned const ChangeCount = get_ChangeCount();
  OnPropertySet(Copy, Lock);
  Lock.Leave();
  Notify(eNotifyChanged, Copy);
  TellLaterChange(Copy, ChangeCount);
}

// Who changes a value after the count was read tells it later than `Told` was told, or is seen
// here.
void TCPropertyCollection::TellLaterChange(TCCommonPropertyObject const& Told,
                                           unsigned ChangeCount) {
  if (get_ChangeCount() == ChangeCount) {
    return;
  }
  TCCriticalSectionLock Lock(m_CSection);
  TellUntilItStands(KeyOf(Told), eNotifyChanged, Told.GetRealValue());
}

void TCPropertyCollection::TellChanged(TCPropertyKey const& Key) {
  TCCriticalSectionLock Lock(m_CSection);
  TCCommonPropertyObject const* const Stored = Find(Key);
  if (Stored == nullptr) {
    return;
  }
  unsigned const ChangeCount = get_ChangeCount();
  std::string const Text = Stored->GetRealValue();
  Notify(eNotifyChanged, *Stored);
  if (get_ChangeCount() != ChangeCount) {
    TellUntilItStands(Key, eNotifyChanged, Text);
  }
}

void TCPropertyCollection::TellRemoved(TCPropertyKey const& Key) {
  TCCriticalSectionLock Lock(m_CSection);
  if (Find(Key) == nullptr) {
    TellUntilItStands(Key, eNotifyChanged, std::string());
  }
}

// What was told last was `Told`, with `Text`. A value that is neither stored nor kept as removed
// has been cleared away, which is told to nobody.
void TCPropertyCollection::TellUntilItStands(TCPropertyKey const& Key, TENotificationType Told,
                                             std::string Text) {
  for (;;) {
    TCCommonPropertyObject const* const Stored = Find(Key);
    auto const Removed = m_Removed.find(Key);
    if (Stored != nullptr) {
      if (Told == eNotifyChanged && Stored->GetRealValue() == Text) {
        return;
      }
      Told = eNotifyChanged;
      Text = Stored->GetRealValue();
      Notify(Told, *Stored);
    } else if (Told == eNotifyChanged && Removed != m_Removed.end()) {
      Told = eNotifyDeleted;
      Notify(Told, *Removed->second);
    } else {
      return;
    }
  }
}

// ---- writing ----

TCCommonPropertyObject const& TCPropertyCollection::SetProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link,
                                                                std::string const& Data,
                                                                std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return Set(TCPropertyKey(ID, Link, MACFor(ID, MAC)), Data, Lock);
}

TCCommonPropertyObject const& TCPropertyCollection::SetProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link, int Data,
                                                                std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return Set(TCPropertyKey(ID, Link, MACFor(ID, MAC)), ToString(Data), Lock);
}

TCCommonPropertyObject const& TCPropertyCollection::setProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link,
                                                                std::string const& Data,
                                                                std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return Set(TCPropertyKey(ID, Link, MAC), Data, Lock);
}

TCCommonPropertyObject const& TCPropertyCollection::Set(TCPropertyKey const& Key,
                                                        std::string const& Data,
                                                        TCCriticalSectionLock& Lock) {
  CompleteSchema();
  TCCommonPropertyObject* Stored = Find(Key);
  if (Stored != nullptr && *Stored == Data) {
    return *Stored;
  }
  if (TCPropertyTransaction* Transaction = OpenTransaction()) {
    return *Transaction->Changed(Key, Data);
  }
  if (Stored != nullptr) {
    Stored->set_Data(Data);
  } else {
    TCCommonPropertyObject Value = EmptyValue(Key);
    Value.set_Data(Data);
    Stored = &Insert(std::move(Value));
  }
  ChangedThenNotify(*Stored, Lock);
  return *Stored;
}

TCCommonPropertyObject const& TCPropertyCollection::SetProperty(TCPropertyID const& ID,
                                                                TCRecordID const& Link,
                                                                TCPropertyChoiceID const& Choice,
                                                                std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  CompleteSchema();
  std::string const Number = ToString(Choice.get_AsInteger());
  TCPropertyKey const Key(ID, Link, MACFor(ID, MAC));
  TCCommonPropertyObject* Stored = Find(Key);
  TCPropertyTransaction* const Transaction = OpenTransaction();
  if (Stored == nullptr && Transaction == nullptr) {
    // A choice never makes a value for another device than the current one.
    TCPropertyKey const Current(ID, Link, CurrentMAC(ID));
    Stored = Find(Current);
    if (Stored == nullptr) {
      Stored = &Insert(EmptyValue(Current));
    }
  }
  if (Stored != nullptr && Stored->GetRealValue() == Number) {
    return *Stored;
  }
  if (Transaction != nullptr) {
    return *Transaction->Changed(Key, Number);
  }
  Stored->SetRealValue(Number);
  ChangedThenNotify(*Stored, Lock);
  return *Stored;
}

bool TCPropertyCollection::UpdateProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                          std::string const& Data, bool AddIfMissing,
                                          std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(ID, Link, MAC);
  TCCommonPropertyObject* Stored = Find(Key);
  if (Stored != nullptr) {
    if (!Stored->SetRealValue(Data)) {
      return false;
    }
    CountChange();
  } else if (AddIfMissing) {
    Insert(LoadedValue(Key, Data));
  } else {
    throw TCException(kSource, __LINE__)
        .Format("Updating a non existing Property %s", ID.Viewname(true).c_str());
  }
  TellChanged(Key);
  return true;
}

TCCommonPropertyObject* TCPropertyCollection::UpdateProperty(TCPropertyID const& ID,
                                                             TCRecordID const& Link,
                                                             std::string const& Data,
                                                             std::string const& MAC) {
  return UpdateProperty(TCPropertyKey(ID, Link, MAC), Data);
}

TCCommonPropertyObject* TCPropertyCollection::UpdateProperty(TCPropertyKey const& Key,
                                                             std::string const& Data) {
  TCCriticalSectionLock Lock(m_CSection);
  TCCommonPropertyObject* const Stored = Find(Key);
  if (Stored == nullptr) {
    return &Insert(LoadedValue(Key, Data));
  }
  if (!Stored->SetRealValue(Data)) {
    return nullptr;
  }
  CountChange();
  return Stored;
}

void TCPropertyCollection::LoadProperty(TCCommonPropertyObject const& Object) {
  TCCriticalSectionLock Lock(m_CSection);
  if (Find(KeyOf(Object)) == nullptr) {
    Insert(TCCommonPropertyObject(Object));
  }
}

TCCommonPropertyObject* TCPropertyCollection::LoadProperty(TCPropertyID const& ID,
                                                           std::string const& Data,
                                                           TCRecordID const& Link,
                                                           std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(ID, Link, MAC);
  TCCommonPropertyObject* Stored = Find(Key);
  bool Changed = false;
  if (Stored != nullptr) {
    Changed = Stored->SetRealValue(Data);
  } else {
    std::string const Text = Data;  // Data may be the text of the removed value that Insert reuses
    Stored = &Insert(EmptyValue(Key));
    Stored->SetRealValue(Text);
    Changed = true;
  }
  if (Changed) {
    ChangedThenNotify(*Stored, Lock);
  }
  return Stored;
}

void TCPropertyCollection::DeleteProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                          std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCPropertyKey const Key(ID, Link, MACFor(ID, MAC));
  TCCommonPropertyObject const* const Stored = Find(Key);
  if (Stored == nullptr) {
    return;
  }
  TCDeletion const Deletion(*this, Key);
  Notify(eNotifyDeleted, *Stored);
  // A hook may have removed the value itself, or set it and told of that.
  if (Remove(Key) && Deletion.IsOvertaken()) {
    TellRemoved(Key);
  }
}

void TCPropertyCollection::DeletePropertiesLinkedTo(TCRecordID const& Link,
                                                    TCNullTypes<int> const& ClassID,
                                                    std::string MAC) {
  std::list<TCCommonPropertyObject> Linked;
  {
    TCCriticalSectionLock Lock(m_CSection);
    for (auto const& Entry : m_Properties) {
      TCCommonPropertyObject const& Object = *Entry.second;
      bool const OfClass = ClassID.IsNull() || Object.get_ID().get_ClassID() == ClassID;
      if (Object.get_Link() == Link && OfClass) {
        Linked.push_back(Object);
      }
    }
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
  return Read(ID, NoException, Link, MACFor(ID, MAC), Lock);
}

// Each answer is made where the caller wants it, so that a read copies its value once.
inline TCCommonPropertyObject TCPropertyCollection::Read(TCPropertyID const& ID, bool NoException,
                                                         TCRecordID const& Link, TCMACAddress MAC,
                                                         TCCriticalSectionLock& Lock) {
  if (TCPropertyTransaction const* Transaction = OpenTransaction()) {
    if (TCCommonPropertyObject* Pending = Transaction->Find(TCPropertyKey(ID, Link, MAC))) {
      Lock.Leave();
      Validation(*Pending);
      return TCCommonPropertyObject(*Pending);
    }
  }
  if (MAC.Empty()) {
    MAC = CurrentMAC(ID);  // a MAC that is no address counts as none, like an empty one
  }
  TCCommonPropertyObject const* const Stored = m_Index->Find(ID, Link, MAC);
  return Stored != nullptr ? ReadStored(ID, Link, MAC, *Stored, Lock)
                           : ReadMissing(ID, NoException, Link, MAC, Lock);
}

inline TCCommonPropertyObject TCPropertyCollection::ReadStored(TCPropertyID const& ID,
                                                               TCRecordID const& Link,
                                                               TCMACAddress const& MAC,
                                                               TCCommonPropertyObject const& Stored,
                                                               TCCriticalSectionLock& Lock) {
  TCCommonPropertyObject Object(ID, Link, MAC, Stored);
  TraceRead(Object);
  TValidator const* const Function = ValidatorOf(ID);
  Lock.Leave();
  if (Function != nullptr) {
    Object.Validate(*Function);
  }
  return Object;
}

TCCommonPropertyObject TCPropertyCollection::ReadMissing(TCPropertyID const& ID, bool NoException,
                                                         TCRecordID const& Link,
                                                         TCMACAddress const& MAC,
                                                         TCCriticalSectionLock& Lock) {
  Lock.Leave();
  TCCommonPropertyObject Object(ID, Link, MAC);
  FetchMissing(Object, NoException);
  Validation(Object);
  return Object;
}

TCCommonPropertyObject& TCPropertyCollection::getProperty(TCCommonPropertyObject& Object,
                                                          bool NoException, std::string const&) {
  TCCriticalSectionLock Lock(m_CSection);
  if (Object.m_MAC.Empty()) {
    Object.m_MAC = CurrentMAC(Object.get_ID());
  }
  TCCommonPropertyObject const* const Stored = Find(KeyOf(Object));
  if (Stored == nullptr) {
    Lock.Leave();
    FetchMissing(Object, NoException);
    return Object;
  }
  Object.m_Data = Stored->m_Data;
  Object.m_Defined = true;
  Object.m_Loaded = Stored->m_Loaded;
  TraceRead(Object);
  return Object;
}

void TCPropertyCollection::FetchMissing(TCCommonPropertyObject& Object, bool NoException) {
  if (OnFetchProperty(Object)) {
    Object.Trace("Created");
    return;
  }
  Object.m_Defined = false;
  Object.Trace("Get Failed");
  std::string const Name = Object.get_ID().Viewname(false);
  SyslogWarning("Timeout. Cannot fetch property %s", Name.c_str());
  if (!NoException) {
    throw TCException(kSource, __LINE__).Format("Unable to load Property %s", Name.c_str());
  }
}

std::string const& TCPropertyCollection::getPropertyData(TCPropertyID const& ID,
                                                         TCRecordID const& Link,
                                                         std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  TCCommonPropertyObject const* const Stored = Find(TCPropertyKey(ID, Link, MAC));
  if (Stored == nullptr) {
    throw TCException(kSource, __LINE__)
        .Format("getting a non existing Property %s", ID.Viewname(true).c_str());
  }
  return Stored->GetRealValue();
}

bool TCPropertyCollection::ExistProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                         std::string MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  return Find(TCPropertyKey(ID, Link, MACFor(ID, MAC))) != nullptr;
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
  TValidator const* const Function = ValidatorOf(Object.get_ID());
  Lock.Leave();
  if (Function != nullptr) {
    Object.Validate(*Function);
  }
}

// Null when there is none. An assigned one stays, so the pointer is good without the lock, too.
TCPropertyCollection::TValidator const* TCPropertyCollection::ValidatorOf(
    TCPropertyID const& ID) const {
  if (m_Validators.empty()) {
    return nullptr;
  }
  auto const Entry = m_Validators.find(ID.get_Number());
  return Entry != m_Validators.end() ? &Entry->second : nullptr;
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
  return m_FPGetCurrentSession == nullptr ? State().m_OwnMACText : SessionMAC();
}

// GetCurrentMAC as an address, without a way over the text of this device's own.
TCMACAddress TCPropertyCollection::CurrentMAC(TCPropertyID const& ID) {
  if (IsSystemWideProperty(ID)) {
    return TCMACAddress();
  }
  return m_FPGetCurrentSession == nullptr ? m_OwnMAC : TCMACAddress(SessionMAC());
}

std::string const& TCPropertyCollection::SessionMAC() {
  auto const& Sessions = State().m_Sessions;
  auto const Entry = Sessions.find(m_FPGetCurrentSession());
  if (Entry == Sessions.end()) {
    throw TCException(kSource, __LINE__, "Itr!=m_SessionList.end()")
        .Format("No Mac address saved for current session");
  }
  return Entry->second;
}

TCMACAddress TCPropertyCollection::MACFor(TCPropertyID const& ID, std::string const& MAC) {
  return MAC.empty() ? CurrentMAC(ID) : TCMACAddress(MAC);
}

void TCPropertyCollection::SetSessionCallback(TSessionCallback Function) {
  TCCriticalSectionLock Lock(m_CSection);
  m_FPGetCurrentSession = Function;
}

void TCPropertyCollection::SetCurrentSession(unsigned long SessionID, std::string const& MAC) {
  TCCriticalSectionLock Lock(m_CSection);
  State().m_Sessions[SessionID] = MAC;
  get()->DoSetSession(SessionID, MAC);
}

void TCPropertyCollection::DeleteSession(unsigned long SessionID) {
  TCCriticalSectionLock Lock(m_CSection);
  State().m_Sessions.erase(SessionID);
  get()->DoDeleteSession(SessionID);
}

// ---- transactions ----

void TCPropertyCollection::AddTransaction(TCPropertyTransaction* Transaction) {
  static thread_local TCThreadEnd AtThreadEnd;
  TCCriticalSectionLock Lock(m_CSection);
  Transaction->m_Active = true;
  State().m_Transactions.emplace(TCUtilities::GetCurrentThreadID(), Transaction);
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
  State().m_Transactions.erase(TCUtilities::GetCurrentThreadID());
}

TCPropertyTransaction* TCPropertyCollection::InTransaction() {
  TCCriticalSectionLock Lock(m_CSection);
  return OpenTransaction();
}

TCPropertyTransaction* TCPropertyCollection::OpenTransaction() {
  auto const& Transactions = State().m_Transactions;
  if (Transactions.empty()) {
    return nullptr;
  }
  auto const Entry = Transactions.find(TCUtilities::GetCurrentThreadID());
  return Entry != Transactions.end() ? Entry->second : nullptr;
}

// ---- forks ----

namespace {

constexpr int kForkTryMilliseconds = 10;

int g_ForkingThread = 0;              // guarded by the store's lock
thread_local bool t_HasStore = true;  // whether the fork under way on this thread has that lock

}  // namespace

void TCPropertyCollection::WatchForks() noexcept {
  SetForkHandlers(TEForkPlace::eStore, {LockForFork, UnlockInParent, UnlockInChild});
}

// Who waits without limit may wait for what this fork is to start. Such a wait may also begin after
// the other thread has entered, hence the attempts.
bool TCPropertyCollection::EnterForFork() {
  while (!m_CSection.Enter(kForkTryMilliseconds)) {
    if (m_LongWait) {
      return false;
    }
  }
  return true;
}

void TCPropertyCollection::LockForFork() {
  t_HasStore = EnterForFork();
  TCBasicPropertyID::m_CSection.Enter();
  if (!t_HasStore) {
    return;
  }
  g_ForkingThread = TCUtilities::GetCurrentThreadID();
  if (m_Notifiers != nullptr) {
    for (TCCommonPropertyChangeNotifier* const Notifier : *m_Notifiers) {
      Notifier->m_Lock.Enter();
    }
  }
}

void TCPropertyCollection::UnlockInParent() {
  if (t_HasStore && m_Notifiers != nullptr) {
    for (TCCommonPropertyChangeNotifier* const Notifier : *m_Notifiers) {
      Notifier->m_Lock.Leave();
    }
  }
  TCBasicPropertyID::m_CSection.Leave();
  if (t_HasStore) {
    m_CSection.Leave();
  }
}

// The forking thread keeps its transaction; those of the others ended with them.
void TCPropertyCollection::UnlockInChild() {
  if (!t_HasStore) {
    DropInChild();
    return;
  }
  auto& Transactions = State().m_Transactions;
  auto Own = Transactions.extract(g_ForkingThread);
  Transactions.clear();
  if (!Own.empty()) {
    Own.key() = TCUtilities::GetCurrentThreadID();
    Transactions.insert(std::move(Own));
  }
  if (m_Notifiers != nullptr) {
    for (TCCommonPropertyChangeNotifier* const Notifier : *m_Notifiers) {
      Notifier->m_Lock.LeaveInChild();
    }
  }
  TCBasicPropertyID::m_CSection.LeaveInChild();
  m_CSection.LeaveInChild();
}

// The lock is held by a thread that does not exist here, and what it guards was the parent's to
// finish.
void TCPropertyCollection::DropInChild() {
  TCBasicPropertyID::m_CSection.LeaveInChild();
  new (&m_CSection) TCCriticalSection;
  m_Instance = nullptr;
  m_Notifiers = nullptr;
  m_LongWait = false;
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
  if (m_Notifiers == nullptr) {
    return;
  }
  TCTelling const Telling(*this);
  if (Type == eNotifyChanged && m_Deletion != nullptr) {
    m_Deletion->HearChange(KeyOf(Object));
  }
  for (auto Next = m_Notifiers->begin(); Next != m_Notifiers->end();) {
    TCCommonPropertyChangeNotifier* const Notifier = *Next;
    if (Notifier->get_Enabled()) {
      Notifier->Push(Type, Object);
    }
    // Searched for, because the hook may have added and destroyed notifiers.
    Next = m_Notifiers->upper_bound(Notifier);
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

// ---- the client's functions ----

using Property::TCCommonPropertyObject;
using Property::TCPropertyChoiceID;
using Property::TCPropertyCollection;
using Property::TCPropertyID;

// Not by way of the store's own operation, which takes a copy of the text.
TCCommonPropertyObject GetProperty(TCPropertyID const& ID, TCRecordID const& Link,
                                   std::string const& MAC) {
  TCPropertyCollection& Store = *TCPropertyCollection::get();
  TCCriticalSectionLock Lock(TCPropertyCollection::m_CSection);
  return Store.Read(ID, false, Link, TCPropertyCollection::MACFor(ID, MAC), Lock);
}

TCCommonPropertyObject GetPropertyNoException(TCPropertyID const& ID, TCRecordID const& Link) {
  return TCPropertyCollection::get()->GetProperty(ID, true, Link, std::string());
}

TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID, std::string const& Data,
                                          TCRecordID const& Link, std::string const& MAC) {
  return TCPropertyCollection::get()->SetProperty(ID, Link, Data, MAC);
}

TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID, int Data, TCRecordID const& Link,
                                          std::string const& MAC) {
  return TCPropertyCollection::get()->SetProperty(ID, Link, Data, MAC);
}

TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID, TCPropertyChoiceID const& Choice,
                                          TCRecordID const& Link, std::string const& MAC) {
  return TCPropertyCollection::get()->SetProperty(ID, Link, Choice, MAC);
}

TCCommonPropertyObject const& SetProperty(TCCommonPropertyObject const& Object,
                                          std::string const& Data, std::string const& MAC) {
  return SetProperty(Object.get_ID(), Data, Object.get_Link(), MAC);
}

TCCommonPropertyObject const& SetProperty(TCCommonPropertyObject const& Object, int Data,
                                          std::string const& MAC) {
  return SetProperty(Object.get_ID(), Data, Object.get_Link(), MAC);
}

TCCommonPropertyObject const& SetProperty(TCCommonPropertyObject const& Object,
                                          TCPropertyChoiceID const& Choice,
                                          std::string const& MAC) {
  return SetProperty(Object.get_ID(), Choice, Object.get_Link(), MAC);
}

TCCommonPropertyObject const& SetPropertyChoiceID(TCPropertyID const& ID, int ChoiceNumber,
                                                  TCRecordID const& Link) {
  static TCCommonPropertyObject const Tmp;
  TCPropertyChoiceID const* const Choice = TCPropertyChoiceID::Find(ChoiceNumber);
  if (Choice == nullptr) {
    SyslogWarning("Invalid Property choice [%d] assigned to %s", ChoiceNumber,
                  ID.Viewname(false).c_str());
    return Tmp;
  }
  return SetProperty(ID, *Choice, Link, std::string());
}

void SetPropertyValidation(TCPropertyID const& ID, void (*Function)(TCCommonPropertyObject&)) {
  TCPropertyCollection::get()->AssignValidator(ID, Function);
}
