// SPDX-License-Identifier: MIT
// The process-wide store of property values, and the functions through which clients use it.
//
// Concurrency. One recursive lock, TCPropertyCollection::m_CSection, guards the stored values, the
// validators, the session table and callback, the open transactions and the set of notifiers. It is
// entered with an unlimited wait and left on every path, thrown or not.
//
// It is held while these run:
//  - the session callback, DoSetSession, DoDeleteSession and DoLoadPropertyList;
//  - Notify's walk over the notifiers, and with it their OnPropQueued;
//  - all of Notify for values that are updated or deleted;
//  - OnPropertySet, which leaves it,
// and while all of one transaction, or of one received mail, is put into the store.
// It is left before these run:
//  - OnFetchProperty and validators;
//  - OnPropertyChanged, and Notify for values that are set or loaded; both get a copy.
// Recursion means that "left" is relative: a set made inside a hook that runs with the lock held,
// or by a thread that has a TCReadGuard, holds it throughout.
//
// The last that a notifier hears of a value is what is stored, whatever happens meanwhile: where a
// value was told after the lock was left, or a hook has changed it while it was told, the value
// that stands by then is told too, with the lock held; a removal as eNotifyDeleted.
//
// Order of taking: the store's lock before a notifier's (Enable alone takes them the other way
// round) and before the schema's. None of them is taken with the schema's lock held.
//
// Reads answer copies. A set, and getPropertyData, answer a reference to the stored value: another
// thread's change of the same value must not come in between while it is used. The reference
// survives DeleteProperty, but not Clear.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCNullTypes.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

class TCPropertyChoiceID;
class TCPropertyID;
class TCPropertyTransaction;

}  // namespace Property

// With its default arguments below.
PROPERTY_EXPORT Property::TCCommonPropertyObject GetProperty(Property::TCPropertyID const& ID,
                                                             Accessories::TCRecordID const& Link,
                                                             std::string const& MAC);

namespace Property {

/// The one store of the process. A subclass connects it to where the values come from.
///
/// Owns the stored values. Refers to validators, notifiers and open transactions and owns none.
/// Every operation is safe on every thread; see the head of this file.
///
/// A value is addressed by its definition, its record link and its device's MAC address. Where an
/// operation takes its MAC by value, an empty one stands for GetCurrentMAC of the definition;
/// elsewhere the MAC is used as it is. Choosing the MAC can throw TCException, always before
/// anything changes.
class PROPERTY_EXPORT TCPropertyCollection {
 public:
  typedef unsigned long (*TSessionCallback)();
  typedef void (*TValidator)(TCCommonPropertyObject&);

  TCPropertyCollection(TCPropertyCollection const&) = delete;
  TCPropertyCollection& operator=(TCPropertyCollection const&) = delete;
  /// Deletes no stored values: call Clear first. Leaves the store registered, unless the destructor
  /// runs because an exception is on its way: a constructor that throws leaves nothing registered.
  virtual ~TCPropertyCollection();

  /// The store. Throws TCException when none has been created. While another thread constructs a
  /// store with m_CSection held, it waits for the end of that.
  static TCPropertyCollection* get();

  /// Deletes every value; notifies nobody.
  void Clear();

  // ---- writing ----
  //
  // Set: the application changes a value. A value that is equal already is answered as it is, with
  // nothing recorded, called or told. Otherwise the calling thread's open transaction takes the
  // change, and without one the value is stored, OnPropertyChanged called and Notify told; what
  // these throw arrives with the value stored.

  /// The text is taken in by the field's type, as TCCommonPropertyObject::set_Data does.
  TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID,
                                            Accessories::TCRecordID const& Link,
                                            std::string const& Data, std::string MAC);
  TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID,
                                            Accessories::TCRecordID const& Link, int Data,
                                            std::string MAC);
  /// Stores the choice's number. A new value is always made under the current MAC, whatever `MAC`
  /// names; when there is a value under the current MAC, that one is set.
  TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID,
                                            Accessories::TCRecordID const& Link,
                                            TCPropertyChoiceID const& Choice, std::string MAC);
  TCCommonPropertyObject const& setProperty(TCPropertyID const& ID,
                                            Accessories::TCRecordID const& Link,
                                            std::string const& Data, std::string const& MAC);

  // Update: a value arrives from where the values come from. The raw text is stored and the value
  // marked as loaded. OnPropertyChanged is never called and transactions are not asked.

  /// Returns whether the text was new; a new one is told to Notify, with the store's lock held.
  /// Throws TCException on a missing value when `AddIfMissing` is false; the store is unchanged.
  bool UpdateProperty(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                      std::string const& Data, bool AddIfMissing, std::string const& MAC);
  /// Tells nobody. Returns the stored value when its text was new or it was missing, else null.
  TCCommonPropertyObject* UpdateProperty(TCPropertyID const& ID,
                                         Accessories::TCRecordID const& Link,
                                         std::string const& Data, std::string const& MAC);

  // Load: a value is entered, whatever transaction is open.

  /// Stores a copy and tells nobody. A value that is there already stays.
  void LoadProperty(TCCommonPropertyObject const& Object);
  /// Stores the raw text; when it was new, calls OnPropertyChanged and Notify. Returns the stored
  /// value.
  TCCommonPropertyObject* LoadProperty(TCPropertyID const& ID, std::string const& Data,
                                       Accessories::TCRecordID const& Link, std::string const& MAC);

  /// Tells Notify, with the store's lock held, and then removes the value; a missing one is no
  /// error. What Notify throws arrives with the value still stored.
  void DeleteProperty(TCPropertyID const& ID, Accessories::TCRecordID const& Link, std::string MAC);
  /// Calls DeleteProperty with `Link` and `MAC` for each stored value of the link, of every device,
  /// and, unless `ClassID` is null, of that class only.
  void DeletePropertiesLinkedTo(Accessories::TCRecordID const& Link,
                                Accessories::TCNullTypes<int> const& ClassID, std::string MAC);

  // ---- reading ----

  /// The pending value of the calling thread's transaction, else the stored one, else what
  /// OnFetchProperty makes of an empty one; its validator has run on it.
  /// Throws TCException when the value can not be fetched. With `NoException` the answer is then
  /// undefined (get_Defined) and empty. Passes on what the validator throws.
  TCCommonPropertyObject GetProperty(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                     std::string MAC);
  TCCommonPropertyObject GetProperty(TCPropertyID const& ID, bool NoException,
                                     Accessories::TCRecordID const& Link, std::string MAC);

  /// Completes `Object` from the stored value of its key, else by OnFetchProperty. Asks neither
  /// transaction nor validator. An empty MAC of the object becomes the current one; `Ignored` is
  /// not used. Returns `Object`.
  /// When fetching fails, makes it undefined and, unless `NoException`, throws TCException.
  TCCommonPropertyObject& getProperty(TCCommonPropertyObject& Object, bool NoException,
                                      std::string const& Ignored);

  /// The stored text. Fetches nothing: throws TCException when the value is missing.
  std::string const& getPropertyData(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                     std::string const& MAC);

  /// Whether the value is stored. Neither fetches nor asks a transaction.
  bool ExistProperty(TCPropertyID const& ID, Accessories::TCRecordID const& Link, std::string MAC);

  /// What the registered store's DoLoadPropertyList answers.
  std::list<TCCommonPropertyObject> GetProperties(TCPropertyID const& ID);

  // ---- validators ----

  /// Makes GetProperty run `Function` on each value of the property, for the life of the store.
  /// Throws TCException when the property's number has one already; that one stays.
  void AssignValidator(TCPropertyID const& ID, TValidator Function);
  /// Runs the property's validator, if any, on `Object`; see TCCommonPropertyObject::Validate.
  void Validation(TCCommonPropertyObject& Object);

  // ---- devices and sessions ----

  /// Whether objects of a class are not linked to the device. Null counts as 0. Throws TCException
  /// for an unknown class.
  static bool IsSystemWideProperty(Accessories::TCNullTypes<int> const& ClassID);
  static bool IsSystemWideProperty(TCPropertyID const& ID);
  /// The system-wide ones among the schema's class ids.
  static std::set<Accessories::TCRecordID> GetSystemwideClassIDs();
  /// The class of a function number; null for a number that has none.
  static Accessories::TCNullTypes<int> GetClassIDForWPFunction(int Function);

  /// The MAC of a value for which none was given: empty for a system-wide property, else that of
  /// the caller's session, else, without a session callback, this device's own. Throws TCException
  /// when the caller's session has none.
  static std::string GetCurrentMAC(TCPropertyID const& ID);
  /// `Function` answers the caller's session; null ends the use of sessions. It runs with the
  /// store's lock held and must not wait for a thread that uses the store.
  static void SetSessionCallback(TSessionCallback Function);
  /// Gives the session the device `MAC` and calls DoSetSession. The text is not checked.
  /// Throws TCException when there is no store; the session has the device nevertheless.
  static void SetCurrentSession(unsigned long SessionID, std::string const& MAC);
  /// Forgets the session, if it is known, and in any case calls DoDeleteSession. Values stay.
  /// Throws TCException when there is no store; the session is forgotten nevertheless.
  static void DeleteSession(unsigned long SessionID);

  // ---- transactions: TCPropertyTransaction's side of the store ----

  /// Opens `Transaction` for the calling thread, unless the thread has one open; it counts as
  /// active in any case.
  static void AddTransaction(TCPropertyTransaction* Transaction);
  /// Ends `Transaction` and closes the calling thread's, whichever that is.
  static void RemoveTransaction(TCPropertyTransaction* Transaction);
  /// The same, and drops the changes of `Transaction`.
  static void RollbackTransaction(TCPropertyTransaction* Transaction);
  /// The calling thread's open transaction, or null.
  static TCPropertyTransaction* InTransaction();

  // ---- notifiers ----

  static void AddNotifier(TCCommonPropertyChangeNotifier* Notifier);
  /// Does nothing for a notifier that was not added. Waits for a notification under way on another
  /// thread.
  static void DelNotifier(TCCommonPropertyChangeNotifier* Notifier);

  // ---- hooks ----

  virtual void DoSetSession(unsigned long SessionID, std::string const& MAC);
  virtual void DoDeleteSession(unsigned long SessionID);
  /// Copies of the stored values of one definition.
  virtual std::list<TCCommonPropertyObject> DoLoadPropertyList(TCPropertyID const& ID) = 0;
  /// A value was set or loaded by this process.
  virtual void OnPropertyChanged(TCCommonPropertyObject const& Object);
  /// Gives a missing value its data, and stores it when it is to be found the next time. The base
  /// answers false: no value.
  virtual bool OnFetchProperty(TCCommonPropertyObject& Object);
  /// Pushes to every enabled notifier, with the store's lock held. An exception of one ends it.
  virtual void Notify(TENotificationType Type, TCCommonPropertyObject const& Object);
  /// Hands a transaction's changes over. The base only closes the transaction.
  virtual void CommitTransaction(TCPropertyTransaction* Transaction);
  /// The same, with the lock held, by `Lock`: what comes before and after it in the store is
  /// certain here. Leaves the lock before it does what may take long. The base leaves it and calls
  /// OnPropertyChanged.
  virtual void OnPropertySet(TCCommonPropertyObject const& Object, TCCriticalSectionLock& Lock)
      PROPERTY_REQUIRES(m_CSection) PROPERTY_UNCHECKED_LOCKING;

 protected:
  /// Takes this device's own MAC, completes the schema if nobody has, and registers the store.
  /// Throws TCException when there is a store already, which stays, or what the schema throws.
  TCPropertyCollection();

  /// Stores `Value` under its own definition, link and MAC, and answers the stored value. The key
  /// must be missing; call it with m_CSection held.
  TCCommonPropertyObject& Insert(TCCommonPropertyObject&& Value) PROPERTY_REQUIRES(m_CSection);

  /// The second UpdateProperty, for who has a key already.
  TCCommonPropertyObject* UpdateProperty(TCPropertyKey const& Key, std::string const& Data);

  /// Removes a value and tells nobody. Returns whether it was there.
  bool Remove(TCPropertyKey const& Key);

  /// Says, of two moments, whether any value may have changed in between.
  unsigned get_ChangeCount() const { return m_ChangeCount.load(std::memory_order_acquire); }
  /// To be called when `Told` was told as changed with the lock left since it was stored, and
  /// get_ChangeCount() was `ChangeCount` then: tells what stands by now, if that is another value.
  void TellLaterChange(TCCommonPropertyObject const& Told, unsigned ChangeCount);
  /// Tells that a value has changed, with its present text, unless it has been removed.
  void TellChanged(TCPropertyKey const& Key);
  /// Tells that a value was removed, unless it is back.
  void TellRemoved(TCPropertyKey const& Key);

  /// While it lives, a store is under construction on the calling thread, which holds m_CSection:
  /// others wait for the lock to get it.
  class TCUnderConstruction;
  /// While it lives, the calling thread waits without limit with m_CSection held, and the store is
  /// not in use yet: no fork waits for that, and its child has no store.
  class TCLongWait;

  // Owns the values. To be changed by Insert, Remove and Clear: reads find their value beside it.
  std::map<TCPropertyKey, TCCommonPropertyObject*> m_Properties PROPERTY_GUARDED_BY(m_CSection);
  // By property number.
  std::map<int, TValidator> m_Validators PROPERTY_GUARDED_BY(m_CSection);

  // The references name objects that are made at their first use and never destroyed, so that
  // static objects and threads use the store from the first initialiser to the end of the process.
  static std::string& m_OwnMACAddress PROPERTY_GUARDED_BY(m_CSection);
  static TSessionCallback m_FPGetCurrentSession PROPERTY_GUARDED_BY(m_CSection);
  static std::map<unsigned long, std::string>& m_SessionList PROPERTY_GUARDED_BY(m_CSection);
  // By thread id.
  static std::map<int, TCPropertyTransaction*>& m_Transactions PROPERTY_GUARDED_BY(m_CSection);
  // Null until one is added.
  static std::set<TCCommonPropertyChangeNotifier*>* m_Notifiers PROPERTY_GUARDED_BY(m_CSection);
  static TCPropertyCollection* m_Instance PROPERTY_GUARDED_BY(m_CSection);
  static bool m_Ready;  // for subclasses; the library does not use it

  static TCCriticalSection m_CSection;

 private:
  // Who uses the lock and what it guards: the store's rooms, and the guard.
  friend class TCReadGuard;
  friend class TCChangeTeller;
  friend class TCCurrentDevice;
  friend class TCProcessState;
  friend class TCPropertyReader;
  friend class TCPropertyWriter;
  friend class TCStoreForks;
  friend TCCommonPropertyObject(::GetProperty)(Property::TCPropertyID const& ID,
                                               Accessories::TCRecordID const& Link,
                                               std::string const& MAC);

  class TCRooms;
  class TCThreadEnd;

  static TCPropertyCollection* WaitForInstance();
  static void ForgetTransaction();

  // m_Instance, once nobody constructs it any more.
  static TCPropertyCollection* m_Complete PROPERTY_GUARDED_BY(m_CSection);
  static bool m_UnderConstruction PROPERTY_GUARDED_BY(m_CSection);
  static std::atomic<bool> m_LongWait;

  int const m_ExceptionsAtConstruction;
  std::atomic<unsigned> m_ChangeCount{0};  // written under m_CSection
  std::unique_ptr<TCRooms> const m_Rooms PROPERTY_POINTEE_GUARDED_BY(m_CSection);
};

class TCPropertyCollection::TCUnderConstruction {
 public:
  TCUnderConstruction() PROPERTY_REQUIRES(m_CSection) { m_UnderConstruction = true; }
  ~TCUnderConstruction() PROPERTY_REQUIRES(m_CSection) { m_UnderConstruction = false; }
  TCUnderConstruction(TCUnderConstruction const&) = delete;
  TCUnderConstruction& operator=(TCUnderConstruction const&) = delete;
};

class TCPropertyCollection::TCLongWait {
 public:
  TCLongWait() { m_LongWait = true; }
  ~TCLongWait() { m_LongWait = false; }
  TCLongWait(TCLongWait const&) = delete;
  TCLongWait& operator=(TCLongWait const&) = delete;
};

}  // namespace Property

// The client's functions. Each uses the registered store and throws TCException when there is none;
// see the store's operations of the same names. The value comes before the link.

/// Throws TCException when the value can not be fetched.
PROPERTY_EXPORT Property::TCCommonPropertyObject GetProperty(
    Property::TCPropertyID const& ID,
    Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
    std::string const& MAC = std::string());
/// An undefined, empty value when it can not be fetched.
PROPERTY_EXPORT Property::TCCommonPropertyObject GetPropertyNoException(
    Property::TCPropertyID const& ID,
    Accessories::TCRecordID const& Link = Accessories::TCRecordID());

PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetProperty(
    Property::TCPropertyID const& ID, std::string const& Data,
    Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
    std::string const& MAC = std::string());
PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetProperty(
    Property::TCPropertyID const& ID, int Data,
    Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
    std::string const& MAC = std::string());
PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetProperty(
    Property::TCPropertyID const& ID, Property::TCPropertyChoiceID const& Choice,
    Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
    std::string const& MAC = std::string());

// These take definition and link from `Object`, but not its MAC.
PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetProperty(
    Property::TCCommonPropertyObject const& Object, std::string const& Data,
    std::string const& MAC = std::string());
PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetProperty(
    Property::TCCommonPropertyObject const& Object, int Data,
    std::string const& MAC = std::string());
PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetProperty(
    Property::TCCommonPropertyObject const& Object, Property::TCPropertyChoiceID const& Choice,
    std::string const& MAC = std::string());

/// Sets the choice with that number. For a number of which no reference is registered it warns,
/// stores nothing and answers an undefined value, also when there is no store.
PROPERTY_EXPORT Property::TCCommonPropertyObject const& SetPropertyChoiceID(
    Property::TCPropertyID const& ID, int ChoiceNumber,
    Accessories::TCRecordID const& Link = Accessories::TCRecordID());

PROPERTY_EXPORT void SetPropertyValidation(Property::TCPropertyID const& ID,
                                           void (*Function)(Property::TCCommonPropertyObject&));
