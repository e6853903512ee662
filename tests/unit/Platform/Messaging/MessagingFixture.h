// SPDX-License-Identifier: MIT
// A mail class, a service that remembers what it gets, and a router on a thread of the test.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"

/// Bounds the wait of a failing test; a passing one never waits that long.
inline constexpr std::chrono::seconds kPatience{30};
inline constexpr int kPatienceMilliseconds = 30000;

/// Longest text that is surely too large to travel inside a message.
inline constexpr std::size_t kLargeText = std::size_t{200} << 10;

TCNorvMailClassID const& TestClass();

/// One entry: a number, a text and a field of any kind. Bound to (1, 1), (2, 1) and (4, 1).
class TTestObject : public TCNorvMailObject {
 public:
  struct TRecord : TCNorvRecordObject {
    TRecord();
    TCNorvField m_Number, m_Text, m_Any;
  };
  /// Bound to (1, 2); has one field only.
  struct TOther : TCNorvRecordObject {
    TOther();
    TCNorvField m_Flag;
  };

  TTestObject();

  TRecord m_Record;
  TOther m_Other;
};

using TTestMail = TCNorvMailMessage<TTestObject>;

/// Appends a record with both fields to `Mail`.
void Append(TTestMail& Mail, int Number, std::string const& Text = std::string());
/// The content of a mail with one record.
TSNorvMailContent OneRecord(int SignalType, int Number, std::string const& Text = std::string());
/// Number and text of the records.
std::vector<std::pair<int, std::string>> Records(TCNorvMessage const& Mail);
int FirstNumber(TSNorvMailContent const& Content);

/// A value that one thread sets and others wait for.
class TEvent {
 public:
  void Set() {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    m_IsSet = true;
    m_Changed.notify_all();
  }
  bool Wait() {
    std::unique_lock<std::mutex> Lock(m_Mutex);
    return m_Changed.wait_for(Lock, kPatience, [this] { return m_IsSet; });
  }

 private:
  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  bool m_IsSet = false;
};

/// What several threads tell of, in order.
template <class T>
class TLog {
 public:
  void Add(T Entry) {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    m_Entries.push_back(std::move(Entry));
    m_Changed.notify_all();
  }
  /// The entries, once there are at least `Count`.
  std::vector<T> WaitFor(std::size_t Count) {
    std::unique_lock<std::mutex> Lock(m_Mutex);
    m_Changed.wait_for(Lock, kPatience, [&] { return m_Entries.size() >= Count; });
    return m_Entries;
  }

 private:
  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  std::vector<T> m_Entries;
};

inline constexpr char kMailbox[] = "@test.mailbox";

/// Remembers mails; answers a request with its own records as (2, 1).
class TTestService : public TCNorvService {
 public:
  explicit TTestService(TCNorvMailRouter& Router, bool Acknowledging = true)
      : TCNorvService(Router, kMailbox), m_Acknowledging(Acknowledging) {}
  ~TTestService() override { Close(); }

  TLog<int> m_Mails;     // first number of each
  TLog<int> m_Requests;  // the same
  TLog<TSNorvMailSender> m_Senders;
  TLog<std::string> m_Texts;
  std::function<void(TSNorvReceivedMail const&)> m_OnMail;  // set before anything arrives
  std::function<bool(TSNorvMailContent&)> m_OnRequest;      // the same; sees the answer
  // The same; what a subscriber gets of a published mail, all of it without.
  std::function<std::shared_ptr<TCNorvMailBody const>(TSNorvMailSender const&,
                                                      TCNorvMailBody const&)>
      m_OnForward;
  bool m_IsBusy = false;  // the same
  int m_CatchUp = 0;      // the same; sent to a subscriber that has missed too much, 0 for nothing

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override;
  bool IsBusy() const override { return m_IsBusy; }
  bool OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                 TSNorvMailContent& Answer) override;
  bool OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                 TSNorvMailContent& Content) override;
  std::shared_ptr<TCNorvMailBody const> OnForward(TSNorvMailSender const& Subscriber,
                                                  TSNorvMailContent const& Content) override;

 private:
  bool const m_Acknowledging;
};

/// A router on a thread, with a service. Construct again at the same folder to restart it.
class TTestServer {
 public:
  using TPrepare = std::function<void(TTestService&)>;

  explicit TTestServer(TPrepare const& Prepare = nullptr, bool Acknowledging = true);
  ~TTestServer();

  void Publish(int Number, std::string const& Text = std::string());

  TCNorvMailRouter m_Router;
  TTestService m_Service;

 private:
  std::thread m_Thread;
};

/// A proxy that remembers the numbers of the mails that it is handed and the router's states.
class TTestProxy : public TCNorvServiceProxy {
 public:
  ~TTestProxy() override { Close(); }

  bool SendNumber(int Number, std::string const& Text = std::string()) const;
  /// The answer's records, or false.
  bool Ask(TTestMail& Mail, int Timeout = kPatienceMilliseconds);
  bool AskNumber(int Number, int Timeout = kPatienceMilliseconds);

  void OnMailRouterState(bool Reachable) override { m_States.Add(Reachable); }
  void OnServiceMail(TCNorvMessage const& Mail) override;
  void OnProxySignal() override;

  TLog<bool> m_States;
  TLog<int> m_Mails;
  std::function<void(TCNorvMessage const&)> m_OnMail;  // set before anything arrives
  std::function<void()> m_OnSignal;                    // the same; called instead of processing
};

TCNorvServiceName TestMailbox();

/// A private folder, MAILROUTER_ADDRESS pointing into it, and the errors logged meanwhile.
struct TMessagingFixture : ::testing::Test {
  TMessagingFixture();
  ~TMessagingFixture() override;

  std::string SocketPath() const { return m_Folder + "/socket"; }
  std::string Address() const { return "unix:path=" + SocketPath(); }

  static TLog<std::string>& Errors();
  static TLog<std::string>& Warnings();

  std::string m_Folder;
};

std::vector<int> Numbers(int First, int Last);
