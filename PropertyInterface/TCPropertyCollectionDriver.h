// SPDX-License-Identifier: MIT
// The process's property store, kept in step with the property server.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Messaging/TCNorvMailFunctions.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "PropertyInterface/TSPropertyRefusal.h"

namespace Property {

class TCRefusalLedger;

/// The one concrete store: loads all values from the server at start, fetches single values of
/// other devices, sends every change and every committed transaction, and applies the changes that
/// the server publishes. Created once by the application's start-up code and never replaced; lives
/// until the process ends.
///
/// Published changes are applied on the proxy's thread. The store's lock is held during Create()
/// (but for the waiting at its end), Init(), the parts of Fetch() and CommitTransaction() that
/// change the store, and while one received mail is put into it; never while waiting for an answer.
///
/// A thread that holds a TCReadGuard is refused what the server has to be asked for: Create(),
/// Fetch() and the fetching of a value throw TCException.
///
/// A forked child of the process has a copy of the values that it can read. A set or a commit there
/// throws TCException, with the values changed in the copy alone, and so does what the server would
/// have to be asked for. A child that is forked while Create() waits for the router has no store.
/// The child can not make a store of its own: it executes another program where it needs one.
class PROPERTY_EXPORT TCPropertyCollectionDriver : public TCPropertyCollection,
                                                   public TCNorvServiceProxy {
 public:
  /// Makes the store and loads it; waits for router and server without limit. With `ownMACOnly`
  /// the store takes in only this device's values, system-wide ones and those it holds already.
  /// Throws TCException when there is a driver or another store, the driver can not be made, the
  /// schema is wrong, the router is not available, or the values can not be fetched. In the last
  /// two cases there is a driver from then on, an empty store: do not call Create() again, but
  /// Init() where the router was missing, and then Fetch(). In the others there is none, and a
  /// later call may succeed.
  static void Create(bool ownMACOnly);

  ~TCPropertyCollectionDriver() override;

  /// Marks the driver created and waits for the router. Throws TCException when it is not
  /// available.
  void Init();

  /// Empties the store and loads all values, without notifications; values that this process has
  /// set and the server has not published yet stay as they are. Throws TCException, the store
  /// empty, when no answer comes.
  void Fetch();

  bool get_Connected() const { return m_Connected; }
  bool get_OwnMACOnly() const { return m_OwnMACOnly; }
  static bool get_Created() { return m_Created; }
  /// Null until Create() has made the driver.
  static TCPropertyCollectionDriver* get_Instance() { return m_Instance; }

  // ---- what the server refuses ----
  //
  // When and whether a change is stored, a TCPropertyReceipt says.

  using TCRefusalHandler = std::function<void(TSPropertyRefusal const&)>;
  /// Has `Handler` called for each refused change of this process, once, in their order, on the
  /// proxy's thread and with no lock held; from the next one on. What it throws is logged. Without
  /// one, as in the beginning and with null, each is written to the system's log, some 20 at a time
  /// and then one a second; not so a conditional commit that was refused because values were not as
  /// expected. May be called before Create().
  static void SetRefusalHandler(TCRefusalHandler Handler);

  /// Applies a received mail: published changes with notifications, a bulk load without. A record
  /// without data says that the server holds no value, and removes it here. A first record without
  /// a number says so of all values that the mail does not have. Records of unknown properties are
  /// skipped; mails with other signals are dropped.
  void OnPropertyMail(TCNorvMessage const& Mail);

  std::list<TCCommonPropertyObject> DoLoadPropertyList(TCPropertyID const& ID) override;
  void OnPropertySet(TCCommonPropertyObject const& Object,
                     TCCriticalSectionLock& Lock) PROPERTY_UNCHECKED_LOCKING override;
  void OnPropertyChanged(TCCommonPropertyObject const& Object) override;
  /// Gives a value of this device, or of none, its default; asks the server for any other. False
  /// when no answer comes. Throws TCException for an answer that is not one known property.
  bool OnFetchProperty(TCCommonPropertyObject& Object) override;
  void CommitTransaction(TCPropertyTransaction* Transaction) override;
  void OnProxySignal() override;
  /// The connection's state changes nothing here: the proxy keeps what is to be sent.
  void OnMailRouterState(bool Reachable) override;

 private:
  using TCOwnValues = std::map<std::string, TCCommonPropertyObject>;  // by their ChangeKey()
  using TCChangedKeys = std::vector<std::pair<TCPropertyKey, bool>>;  // and whether it is gone

  friend class TCPropertyReceipt;
  friend class TCScopedTransaction;

  TCPropertyCollectionDriver();

  static TCPropertyCollectionDriver& Require();
  void Commit(TCPropertyTransaction* Transaction, TCPropertyReceipt* Receipt);
  TCPropertyReceipt ReceiptOfAll() const;
  TCPropertyReceipt ReceiptOfLast() const;
  TCPropertyReceipt Send(TSNorvMailContent const& Content,
                         TCNorvChange Change = TCNorvChange()) const;
  TSPropertyReceipt WaitFor(TCPropertyReceipt const& Receipt, int Timeout) const;
  using TCExpectations = std::map<TCPropertyKey, std::optional<std::string>>;
  std::optional<TCPropertyReceipt> SendConditional(TCPropertyTransaction const& Transaction,
                                                   TCExpectations const& Expected) const;
  void ApplyDecided(TCPropertyTransaction const& Transaction, TCPropertyReceipt const& Receipt);
  void OnControlMail(TCNorvMessage const& Mail);
  TCOwnValues ClearForAnswer();
  void LayOver(TCOwnValues const& Own) PROPERTY_REQUIRES(m_CSection);
  TCChangedKeys TakeIn(TCNorvMessage const& Mail);
  std::vector<TCPropertyKey> RemoveAllBut(std::vector<TCPropertyKey> Held,
                                          TCNorvMessage const& Mail);
  bool IsWanted(TCPropertyKey const& Key, std::string const& MAC, std::string const& OwnMAC);

  std::atomic<bool> m_Connected{false};
  TCNorvMailFunctions<TCPropertyCollectionDriver> m_MailFunctions;
  std::atomic<bool> m_OwnMACOnly{true};
  std::shared_ptr<TCRefusalLedger> const m_Refusals;  // shared with the connection
  std::uint64_t m_LastRefusal = 0;  // told; of who is being handed a mail, one at a time

  // Beside the base's, which may be a store of another class.
  // cppcheck-suppress duplInheritedMember
  static std::atomic<TCPropertyCollectionDriver*> m_Instance;
  static std::atomic<bool> m_Created;
};

}  // namespace Property
