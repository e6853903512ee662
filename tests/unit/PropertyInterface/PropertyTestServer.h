// SPDX-License-Identifier: MIT
// A property server for one test: answers as the test says and remembers what it was sent.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvService.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

using TPropertyMail = TCNorvMailMessage<Property::TCNorvPropertyObject>;

/// One value record. An empty link leaves the field unset.
struct TRecord {
  int m_ID;
  std::string m_Data;
  std::string m_Link;
  std::string m_MAC;
  bool m_Loaded = false;
  bool m_HasData = true;  ///< otherwise the field is unset

  static constexpr int kNothing = -1;  ///< as the number: no field is set
};

/// Appends the records to a mail whose signal carries value records.
void Fill(TPropertyMail& Mail, std::vector<TRecord> const& Records);

/// Makes a private folder and points MAILROUTER_ADDRESS into it; nobody listens there yet.
std::string MakeRouterFolder();

/// Owns "@mailrouter.property" on a router of its own, which it runs on a thread at a socket in
/// `Folder`, removed in the end. Every operation is safe on every thread.
class TPropertyTestServer {
 public:
  explicit TPropertyTestServer(std::string const& Folder = MakeRouterFolder());
  TPropertyTestServer(TPropertyTestServer const&) = delete;
  TPropertyTestServer& operator=(TPropertyTestServer const&) = delete;
  ~TPropertyTestServer();

  /// What a request for all properties is answered with, as (2, 1).
  void AnswerAll(std::vector<TRecord> Records);
  /// What a request for one property is answered with.
  void AnswerOne(std::vector<TRecord> Records, int SignalType = 4, int SignalName = 2);
  /// Refuses every request from now on, or answers again.
  void Refuse(bool Refuses = true);
  /// Runs on the router's thread before each request is answered.
  void OnRequest(std::function<void()> Hook);

  /// Publishes each mail from now on, before it is acknowledged.
  void PublishMails();
  /// Takes mails from now on without publishing or acknowledging them.
  void HoldMails();
  /// Does what is due for the mails that were held, and holds no more.
  void ReleaseMails();

  /// Sends a mail to every subscribed process.
  void Publish(int SignalType, int SignalName, std::vector<TRecord> const& Records);

  /// The texts of what arrived so far, in order.
  std::vector<std::string> get_Requests() const;
  std::vector<std::string> get_Mails() const;

 private:
  class TService;

  std::string const m_Folder;
  std::unique_ptr<TCNorvMailRouter> m_Router;
  std::unique_ptr<TService> m_Service;
  std::thread m_Thread;
};
