// SPDX-License-Identifier: MIT
// Runs the scripted property server on the router's thread.
#include "PropertyTestServer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "PropertyInterface/PropertyProtocol.h"
#include "tests/support/PrivateFolder.h"

using Accessories::TCRecordID;
namespace PropertyProtocol = Property::PropertyProtocol;
using Property::TCNorvPropertyObject;

void Fill(TPropertyMail& Mail, std::vector<TRecord> const& Records) {
  for (TRecord const& Record : Records) {
    TCNorvPropertyObject* const Object = Mail.CreateRecord();
    if (Record.m_ID == TRecord::kNothing) {
      continue;
    }
    Object->SetRecord(Record.m_ID, Record.m_Data, TCRecordID(Record.m_Link), Record.m_Loaded,
                      Record.m_MAC);
    if (!Record.m_HasData) {
      Object->get_Record().m_Data.Unassign();
    }
  }
}

std::string MakeRouterFolder() {
  std::string Folder = MakePrivateFolder();
  setenv("MAILROUTER_ADDRESS", ("unix:path=" + Folder + "/socket").c_str(), 1);
  return Folder;
}

class TPropertyTestServer::TService : public TCNorvService {
 public:
  explicit TService(TCNorvMailRouter& Router) : TCNorvService(Router, PropertyProtocol::kMailbox) {}
  ~TService() override { Close(); }

  template <class TAction>
  auto Locked(TAction Action) const {
    std::lock_guard<std::mutex> Guard(m_Lock);
    return Action();
  }

  // guarded by m_Lock
  std::vector<TRecord> m_All;
  std::vector<TRecord> m_One;
  int m_OneType = PropertyProtocol::kOneValue.Type;
  int m_OneName = PropertyProtocol::kOneValue.Name;
  bool m_Refuses = false;
  std::function<void()> m_RequestHook;
  std::vector<std::string> m_Requests;
  std::vector<std::string> m_Mails;

  // of the router's thread
  bool m_Publishes = false;
  bool m_Holds = false;

  void ReleaseMails() {
    m_Holds = false;
    for (TSNorvReceivedMail const& Mail : std::exchange(m_Held, {})) {
      Finish(Mail);
    }
  }

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override {
    Locked([&] { m_Mails.push_back(AsText(Mail.Content)); });
    if (m_Holds) {
      m_Held.push_back(Mail);
    } else {
      Finish(Mail);
    }
  }

  bool OnRequest(TSNorvMailSender const& /*Sender*/, TSNorvMailContent const& Request,
                 TSNorvMailContent& Answer) override {
    auto const Hook = Locked([&] {
      m_Requests.push_back(AsText(Request));
      return m_RequestHook;
    });
    if (Hook) {
      Hook();
    }
    std::lock_guard<std::mutex> Guard(m_Lock);
    bool const All = Request.SignalName == PropertyProtocol::kRequestAll.Name;
    TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID,
                       All ? PropertyProtocol::kAllValues.Type : m_OneType,
                       All ? PropertyProtocol::kAllValues.Name : m_OneName);
    Fill(Mail, All ? m_All : m_One);
    Answer = Mail.get_Content();
    return !m_Refuses;
  }

 private:
  void Finish(TSNorvReceivedMail const& Mail) {
    if (m_Publishes) {
      TSNorvMailContent Content = Mail.Content;
      Content.SignalType = 4;
      Content.SignalName = 1;
      Publish(Content, Mail);
    }
    Acknowledge(Mail);
  }

  std::vector<TSNorvReceivedMail> m_Held;  // of the router's thread

  static std::string AsText(TSNorvMailContent const& Content) {
    TPropertyMail Mail(Content.MailClass, Content.SignalType, Content.SignalName);
    Mail.SetContent(Content);
    return Mail.get_AsText();
  }

  mutable std::mutex m_Lock;
};

TPropertyTestServer::TPropertyTestServer(std::string const& Folder)
    : m_Folder(Folder),
      m_Router(std::make_unique<TCNorvMailRouter>()),
      m_Service(std::make_unique<TService>(*m_Router)),
      m_Thread([this] { m_Router->Run(); }) {
  m_Service->Open();
}

TPropertyTestServer::~TPropertyTestServer() {
  m_Service.reset();
  m_Router->Stop();
  m_Thread.join();
  m_Router.reset();
  std::filesystem::remove_all(m_Folder);
}

void TPropertyTestServer::AnswerAll(std::vector<TRecord> Records) {
  m_Service->Locked([&] { m_Service->m_All = std::move(Records); });
}

void TPropertyTestServer::AnswerOne(std::vector<TRecord> Records, int SignalType, int SignalName) {
  m_Service->Locked([&] {
    m_Service->m_One = std::move(Records);
    m_Service->m_OneType = SignalType;
    m_Service->m_OneName = SignalName;
  });
}

void TPropertyTestServer::Refuse(bool Refuses) {
  m_Service->Locked([&] { m_Service->m_Refuses = Refuses; });
}

void TPropertyTestServer::OnRequest(std::function<void()> Hook) {
  m_Service->Locked([&] { m_Service->m_RequestHook = std::move(Hook); });
}

void TPropertyTestServer::PublishMails() {
  m_Router->Execute([&] { m_Service->m_Publishes = true; });
}

void TPropertyTestServer::HoldMails() {
  m_Router->Execute([&] { m_Service->m_Holds = true; });
}

void TPropertyTestServer::ReleaseMails() {
  m_Router->Execute([&] { m_Service->ReleaseMails(); });
}

void TPropertyTestServer::Publish(int SignalType, int SignalName,
                                  std::vector<TRecord> const& Records) {
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, SignalType, SignalName);
  Fill(Mail, Records);
  TSNorvMailContent const Content = Mail.get_Content();
  m_Router->Execute([&] { m_Service->Publish(Content, {{}, 0, Content}); });
}

std::vector<std::string> TPropertyTestServer::get_Requests() const {
  return m_Service->Locked([&] { return m_Service->m_Requests; });
}

std::vector<std::string> TPropertyTestServer::get_Mails() const {
  return m_Service->Locked([&] { return m_Service->m_Mails; });
}
