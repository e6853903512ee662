// SPDX-License-Identifier: MIT
// Runs the scripted property server on the router's thread.
#include "PropertyTestServer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

using Accessories::TCRecordID;
using Property::TCNorvPropertyObject;

void Fill(TPropertyMail& Mail, std::vector<TRecord> const& Records) {
  for (TRecord const& Record : Records) {
    Mail.CreateRecord()->SetRecord(Record.m_ID, Record.m_Data, TCRecordID(Record.m_Link),
                                   Record.m_Loaded, Record.m_MAC);
  }
}

std::string MakeRouterFolder() {
  std::string Folder = ::testing::TempDir() + "propertyXXXXXX";
  if (mkdtemp(Folder.data()) == nullptr) {
    throw TCException("PropertyTestServer", __LINE__).Format("cannot make %s", Folder.c_str());
  }
  setenv("MAILROUTER_ADDRESS", ("unix:path=" + Folder + "/socket").c_str(), 1);
  return Folder;
}

class TPropertyTestServer::TService : public TCNorvService {
 public:
  explicit TService(TCNorvMailRouter& Router) : TCNorvService(Router, "@mailrouter.property") {}
  ~TService() override { Close(); }

  template <class TAction>
  auto Locked(TAction Action) const {
    std::lock_guard<std::mutex> Guard(m_Lock);
    return Action();
  }

  // guarded by m_Lock
  std::vector<TRecord> m_All;
  std::vector<TRecord> m_One;
  int m_OneType = 4;
  int m_OneName = 2;
  bool m_Refuses = false;
  std::function<void()> m_RequestHook;
  std::function<void()> m_MailHook;
  std::vector<std::string> m_Requests;
  std::vector<std::string> m_Mails;

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override {
    auto const Hook = Locked([&] {
      m_Mails.push_back(AsText(Mail.Content));
      return m_MailHook;
    });
    if (Hook) {
      Hook();
    }
    Acknowledge(Mail);
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
    bool const All = Request.SignalName == 1;
    TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, All ? 2 : m_OneType,
                       All ? 1 : m_OneName);
    Fill(Mail, All ? m_All : m_One);
    Answer = Mail.get_Content();
    return !m_Refuses;
  }

 private:
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

void TPropertyTestServer::Refuse() {
  m_Service->Locked([&] { m_Service->m_Refuses = true; });
}

void TPropertyTestServer::OnRequest(std::function<void()> Hook) {
  m_Service->Locked([&] { m_Service->m_RequestHook = std::move(Hook); });
}

void TPropertyTestServer::OnMail(std::function<void()> Hook) {
  m_Service->Locked([&] { m_Service->m_MailHook = std::move(Hook); });
}

void TPropertyTestServer::Publish(int SignalType, int SignalName,
                                  std::vector<TRecord> const& Records) {
  m_Router->Execute([&] { PublishHere(SignalType, SignalName, Records); });
}

void TPropertyTestServer::PublishHere(int SignalType, int SignalName,
                                      std::vector<TRecord> const& Records) {
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, SignalType, SignalName);
  Fill(Mail, Records);
  TSNorvMailContent const Content = Mail.get_Content();
  m_Service->Publish(Content, {{}, 0, Content});
}

std::vector<std::string> TPropertyTestServer::get_Requests() const {
  return m_Service->Locked([&] { return m_Service->m_Requests; });
}

std::vector<std::string> TPropertyTestServer::get_Mails() const {
  return m_Service->Locked([&] { return m_Service->m_Mails; });
}
