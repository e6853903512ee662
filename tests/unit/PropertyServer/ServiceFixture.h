// SPDX-License-Identifier: MIT
// A property server on a thread of the test, and proxies that speak its protocol.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyServer.h"
#include "tests/unit/Platform/Messaging/MessagingFixture.h"

/// A record as texts, so that it can hold what no value can; an empty link is left unassigned.
struct TPropertyRecord {
  int m_ID = 0;
  std::string m_Data;
  std::string m_Link;
  std::string m_MAC;
};

/// A mail whose signal carries value records.
TSNorvMailContent Values(int SignalType, int SignalName,
                         std::vector<TPropertyRecord> const& Records);
TSNorvMailContent Change(std::vector<TPropertyRecord> const& Records);
/// The request for all properties, and the one for a single property.
TSNorvMailContent RequestAll(int Action);
TSNorvMailContent RequestOne(TPropertyRecord const& Record);
/// A mail of the property class with a record of another layout.
TSNorvMailContent Foreign(int SignalType, int SignalName);

/// The configuration that a file with this text has.
Property::TCPropertyServer::TCConfiguration Configured(std::string const& Text);

/// Remembers the texts of the published mails. Its device is the one at the time of its greeting.
class TPropertyProxy : public TCNorvServiceProxy {
 public:
  ~TPropertyProxy() override { Close(); }

  void Send(TSNorvMailContent const& Mail) const;
  /// The text of the answer, or "refused".
  std::string Ask(TSNorvMailContent const& Request);
  /// The answer to a request; nothing when it is refused.
  std::optional<TSNorvMailContent> AskFor(TSNorvMailContent const& Request);
  /// Subscribes after a first answer, as a store does.
  void Subscribe();
  /// Whether everything sent was acknowledged, now or within the test's patience.
  bool IsAcknowledged() { return WaitForAcknowledgements(kPatienceMilliseconds); }

  void OnServiceMail(TCNorvMessage const& Mail) override;

  TLog<std::string> m_Published;
};

/// Database, router and service; the router runs until this is destroyed.
class TPropertyService {
 public:
  TPropertyService(std::string const& Database, Property::TEDurability Durability,
                   std::string const& Configuration, Property::TCServerSchema* Schema = nullptr);
  TPropertyService(TPropertyService const&) = delete;
  TPropertyService& operator=(TPropertyService const&) = delete;
  ~TPropertyService();

  /// The service, with the router's side of it open to tests. Used by Execute() only.
  class TOpenServer : public Property::TCPropertyServer {
   public:
    using TCPropertyServer::OnCatchUp;
    using TCPropertyServer::OnForward;
    using TCPropertyServer::OnMail;
    using TCPropertyServer::OnRefused;
    using TCPropertyServer::OnRequest;
    using TCPropertyServer::TCPropertyServer;
  };

  Property::TCPropertyDatabase m_Database;
  TCNorvMailRouter m_Router;
  TOpenServer m_Server;

 private:
  std::thread m_Thread;
};

/// The server is started by the test; its disk is under control.
struct TPropertyServiceFixture : TMessagingFixture {
  TPropertyServiceFixture();
  ~TPropertyServiceFixture() override;

  std::string Path() const { return m_Folder + "/values.db"; }
  /// Stores values while no server runs.
  void Store(std::vector<Property::TSPropertyRecord> const& Records) const;
  void Start(Property::TEDurability Durability = Property::TEDurability::eFull,
             std::string const& Configuration = std::string(),
             Property::TCServerSchema* Schema = nullptr) {
    m_Service.emplace(Path(), Durability, Configuration, Schema);
  }
  void Stop() { m_Service.reset(); }
  /// Runs on the router's thread, where disk faults may change.
  void Execute(std::function<void()> const& Function) { m_Service->m_Router.Execute(Function); }

  /// The answer to a new proxy's request for all values.
  static std::string AllValues();

  std::optional<TPropertyService> m_Service;
};
