// SPDX-License-Identifier: MIT
// A store without a server behind it, for tests: every hook is recorded.
#pragma once

#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyKey.h"
#include "CommonProperties/TCPropertyTransaction.h"

/// Registers itself as the process's store, records the calls of every hook and then does what the
/// base does. Its destructor frees the stored values but cannot unregister it.
/// The records are safe on every thread; set m_OnHook and m_FetchResult before others use the
/// store.
class TTestStore : public Property::TCPropertyCollection {
 public:
  using TNotification = std::pair<Property::TENotificationType, Property::TCCommonPropertyObject>;
  using TSession = std::pair<unsigned long, std::string>;

  TTestStore() = default;
  TTestStore(TTestStore const&) = delete;
  TTestStore& operator=(TTestStore const&) = delete;
  ~TTestStore() override { Clear(); }

  using TCPropertyCollection::m_CSection;
  using TCPropertyCollection::m_FPGetCurrentSession;
  using TCPropertyCollection::m_Instance;
  using TCPropertyCollection::m_Notifiers;
  using TCPropertyCollection::m_OwnMACAddress;
  using TCPropertyCollection::m_Properties;
  using TCPropertyCollection::m_Ready;
  using TCPropertyCollection::m_SessionList;
  using TCPropertyCollection::m_Transactions;
  using TCPropertyCollection::m_Validators;

  void DoSetSession(unsigned long SessionID, std::string const& MAC) override {
    Record("DoSetSession", [&] { m_SetSessions.emplace_back(SessionID, MAC); });
    TCPropertyCollection::DoSetSession(SessionID, MAC);
  }

  void DoDeleteSession(unsigned long SessionID) override {
    Record("DoDeleteSession", [&] { m_DeletedSessions.push_back(SessionID); });
    TCPropertyCollection::DoDeleteSession(SessionID);
  }

  std::list<Property::TCCommonPropertyObject> DoLoadPropertyList(
      Property::TCPropertyID const& ID) override {
    Record("DoLoadPropertyList", [&] { m_LoadedLists.push_back(&ID); });
    std::list<Property::TCCommonPropertyObject> Result;
    for (auto const& Entry : m_Properties) {
      if (Entry.first.get_ID().get_Number() == ID.get_Number()) {
        Result.push_back(*Entry.second);
      }
    }
    return Result;
  }

  void OnPropertyChanged(Property::TCCommonPropertyObject const& Object) override {
    Record("OnPropertyChanged", [&] { m_Changed.push_back(Object); });
    TCPropertyCollection::OnPropertyChanged(Object);
  }

  /// Answers what m_FetchResult does, and without one what the base does.
  bool OnFetchProperty(Property::TCCommonPropertyObject& Object) override {
    Record("OnFetchProperty", [&] { m_Fetched.push_back(Object); });
    if (m_FetchResult) {
      return m_FetchResult(Object);
    }
    return TCPropertyCollection::OnFetchProperty(Object);
  }

  void Notify(Property::TENotificationType Type,
              Property::TCCommonPropertyObject const& Object) override {
    Record("Notify", [&] { m_Notified.emplace_back(Type, Object); });
    TCPropertyCollection::Notify(Type, Object);
  }

  void CommitTransaction(Property::TCPropertyTransaction* Transaction) override {
    Record("CommitTransaction", [&] { m_Committed.push_back(Transaction); });
    TCPropertyCollection::CommitTransaction(Transaction);
  }

  /// Names of the hooks in the order of their calls.
  std::vector<std::string> get_Calls() const { return Copy(m_Calls); }
  std::vector<TSession> get_SetSessions() const { return Copy(m_SetSessions); }
  std::vector<unsigned long> get_DeletedSessions() const { return Copy(m_DeletedSessions); }
  std::vector<Property::TCPropertyID const*> get_LoadedLists() const { return Copy(m_LoadedLists); }
  std::vector<Property::TCCommonPropertyObject> get_Changed() const { return Copy(m_Changed); }
  std::vector<Property::TCCommonPropertyObject> get_Fetched() const { return Copy(m_Fetched); }
  std::vector<TNotification> get_Notified() const { return Copy(m_Notified); }
  std::vector<Property::TCPropertyTransaction*> get_Committed() const { return Copy(m_Committed); }

  /// Forgets what was recorded so far.
  void ForgetCalls() {
    std::lock_guard<std::mutex> Guard(m_RecordLock);
    m_Calls.clear();
    m_SetSessions.clear();
    m_DeletedSessions.clear();
    m_LoadedLists.clear();
    m_Changed.clear();
    m_Fetched.clear();
    m_Notified.clear();
    m_Committed.clear();
  }

  /// Called inside every hook with its name, after it was recorded and before the base acts.
  std::function<void(std::string const& Hook)> m_OnHook;
  /// What a fetch does to the object and answers.
  std::function<bool(Property::TCCommonPropertyObject&)> m_FetchResult;

 private:
  template <class TDetail>
  void Record(char const* Hook, TDetail Detail) {
    {
      std::lock_guard<std::mutex> Guard(m_RecordLock);
      m_Calls.emplace_back(Hook);
      Detail();
    }
    if (m_OnHook) {
      m_OnHook(Hook);
    }
  }

  template <class T>
  T Copy(T const& Records) const {
    std::lock_guard<std::mutex> Guard(m_RecordLock);
    return Records;
  }

  // guarded by m_RecordLock
  mutable std::mutex m_RecordLock;
  std::vector<std::string> m_Calls;
  std::vector<TSession> m_SetSessions;
  std::vector<unsigned long> m_DeletedSessions;
  std::vector<Property::TCPropertyID const*> m_LoadedLists;
  std::vector<Property::TCCommonPropertyObject> m_Changed;
  std::vector<Property::TCCommonPropertyObject> m_Fetched;
  std::vector<TNotification> m_Notified;
  std::vector<Property::TCPropertyTransaction*> m_Committed;
};
