// SPDX-License-Identifier: MIT
// What every test of the driver starts from: a schema, an own MAC and a property server.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyTestServer.h"
#include "tests/unit/CommonProperties/StoreFixture.h"

/// Bounds the wait of a failing test; a passing one never waits that long.
inline constexpr std::chrono::seconds kPatience{30};
inline constexpr int kPatienceMilliseconds = 30000;

/// "Name[link]@mac=text".
inline std::string AsLine(Property::TCCommonPropertyObject const& Object) {
  return Object.get_ID().get_Name() + "[" + Object.get_Link().get_AsString() + "]@" +
         Object.get_MAC().get_AsString(':') + "=" + Object.GetRealValue();
}

template <class TObjects>
std::vector<std::string> AsLines(TObjects const& Objects) {
  std::vector<std::string> Lines;
  for (Property::TCCommonPropertyObject const& Object : Objects) {
    Lines.push_back(AsLine(Object));
  }
  return Lines;
}

/// Records what it is told, as lines; deletions begin with "deleted ".
class TRecordingNotifier : public Property::TCCommonPropertyChangeNotifier {
 public:
  ~TRecordingNotifier() override { Property::TCPropertyCollection::DelNotifier(this); }

  /// Whether `Count` lines have been told, now or within the test's patience.
  bool WaitFor(std::size_t Count) {
    std::unique_lock<std::mutex> Guard(m_LinesLock);
    return m_Told.wait_for(Guard, kPatience, [&] { return m_Lines.size() >= Count; });
  }

  std::vector<std::string> get_Lines() {
    std::lock_guard<std::mutex> Guard(m_LinesLock);
    return m_Lines;
  }

  /// Runs where the change is told; set before the notifier is enabled.
  std::function<void()> m_OnTold;

 protected:
  bool OnPropQueued() override {
    if (m_OnTold) {
      m_OnTold();
    }
    TCCriticalSectionLock const Lock(m_Lock);
    std::lock_guard<std::mutex> Guard(m_LinesLock);
    for (auto const& [Object, Type] : m_Queue) {
      m_Lines.push_back((Type == Property::eNotifyDeleted ? "deleted " : "") + AsLine(Object));
    }
    m_Queue.clear();
    m_Told.notify_all();
    return true;
  }

 private:
  std::mutex m_LinesLock;
  std::condition_variable m_Told;
  std::vector<std::string> m_Lines;  // guarded by m_LinesLock
};

/// Collects the traces of both channels, "NAME: text", and can act on each.
class TCapturedTraces {
 public:
  explicit TCapturedTraces(std::function<void(std::string const&)> OnTrace = nullptr) {
    m_OnTrace = std::move(OnTrace);
    m_Traces.clear();
    SetDebugSink(&TCapturedTraces::Take);
    DEBUG_COMMON.set_Enabled(true);
    DEBUG_PROPERTY.set_Enabled(true);
  }
  TCapturedTraces(TCapturedTraces const&) = delete;
  TCapturedTraces& operator=(TCapturedTraces const&) = delete;
  ~TCapturedTraces() {
    DEBUG_COMMON.set_Enabled(false);
    DEBUG_PROPERTY.set_Enabled(false);
    SetDebugSink(nullptr);
  }

  static std::vector<std::string> get_Traces() {
    std::lock_guard<std::mutex> Guard(m_Lock);
    return m_Traces;
  }

 private:
  static void Take(TCDebugChannel const& Channel, std::string const& Text) {
    {
      std::lock_guard<std::mutex> Guard(m_Lock);
      m_Traces.push_back(std::string(&Channel == &DEBUG_COMMON ? "COMMON: " : "PROPERTY: ") + Text);
    }
    if (m_OnTrace) {
      m_OnTrace(Text);
    }
  }

  static inline std::mutex m_Lock;
  static inline std::vector<std::string> m_Traces;  // guarded by m_Lock
  static inline std::function<void(std::string const&)> m_OnTrace;
};

/// Compares all texts of an exception of the driver.
inline void ExpectDriverException(TCException const& Exception, int Line,
                                  std::string const& Condition, std::string const& Message) {
  EXPECT_EQ(Exception.get_Source(), "../PropertyInterface/TCPropertyCollectionDriver");
  EXPECT_EQ(Exception.get_Line(), Line);
  EXPECT_EQ(Exception.get_Condition(), Condition);
  EXPECT_EQ(Exception.get_Message(), Message);
}

struct TDriverFixture : TSchemaFixture {
  ~TDriverFixture() override {
    if (Driver() != nullptr) {
      Driver()->WaitForAcknowledgements(kPatienceMilliseconds);
    }
  }

  static Property::TCPropertyCollectionDriver* Driver() {
    return Property::TCPropertyCollectionDriver::get_Instance();
  }

  /// Creates the driver; from then on the notifier is told.
  void Start(bool OwnMACOnly = false) {
    Property::TCPropertyCollectionDriver::Create(OwnMACOnly);
    m_Notifier.Enable();
  }

  /// Hands the driver a received mail on this thread.
  static void Receive(int SignalType, int SignalName, std::vector<TRecord> const& Records) {
    TPropertyMail Mail(Property::TCNorvPropertyObject::m_MailClassID, SignalType, SignalName);
    Fill(Mail, Records);
    Driver()->OnPropertyMail(Mail);
  }

  /// The texts of the mails that this process has sent so far.
  std::vector<std::string> SentMails() {
    EXPECT_TRUE(Driver()->WaitForAcknowledgements(kPatienceMilliseconds));
    return m_Server.get_Mails();
  }

  /// Every stored value, in the store's order.
  static std::vector<std::string> StoredLines() {
    std::vector<std::string> Lines;
    for (auto const& Entry : Driver()->*(&TStorePeek::m_Properties)) {
      Lines.push_back(AsLine(*Entry.second));
    }
    return Lines;
  }

  struct TStorePeek : Property::TCPropertyCollection {
    using TCPropertyCollection::m_Properties;
  };

  TPropertyTestServer m_Server;
  TRecordingNotifier m_Notifier;
};
