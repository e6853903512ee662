// SPDX-License-Identifier: MIT
// The test mail class, its service and its proxy.
#include "MessagingFixture.h"

#include <syslog.h>

#include <cstdlib>
#include <filesystem>
#include <numeric>

#include "Platform/Utility/SystemLog.h"
#include "tests/support/PrivateFolder.h"

namespace {

void TakeLog(int Priority, std::string const& Text) {
  (Priority == LOG_ERR ? TMessagingFixture::Errors() : TMessagingFixture::Warnings()).Add(Text);
}

}  // namespace

TCNorvMailClassID const& TestClass() {
  static TCNorvMailClassID const Class("test", 1);
  return Class;
}

TTestObject::TRecord::TRecord() {
  Add(m_Number, "number", TENorvFieldKind::eInteger);
  Add(m_Text, "text", TENorvFieldKind::eString);
  Add(m_Any, "any");
}

TTestObject::TOther::TOther() {
  Add(m_Flag, "flag", TENorvFieldKind::eBoolean);
}

TTestObject::TTestObject() {
  AssignRecordType(TestClass(), eNorvRequest, 1, m_Record, -1);
  AssignRecordType(TestClass(), eNorvChange, 1, m_Record, -1);
  AssignRecordType(TestClass(), eNorvEvent, 1, m_Record, -1);
  AssignRecordType(TestClass(), eNorvRequest, 2, m_Other, -1);
}

void Append(TTestMail& Mail, int Number, std::string const& Text) {
  TTestObject* const Object = Mail.CreateRecord();
  Object->m_Record.m_Number = Number;
  Object->m_Record.m_Text.set_AsString(Text);
}

TSNorvMailContent OneRecord(int SignalType, int Number, std::string const& Text) {
  TTestMail Mail(TestClass(), SignalType, 1);
  Append(Mail, Number, Text);
  return Mail.get_Content();
}

std::vector<std::pair<int, std::string>> Records(TCNorvMessage const& Mail) {
  TTestMail Typed(TestClass(), eNorvEvent, 1);
  Typed.Copy(Mail);
  std::vector<std::pair<int, std::string>> Result;
  for (int Index = 0; Index < Typed.RecordCount(); ++Index) {
    TTestObject::TRecord const& Record = Typed.GetMailRecord(Index)->m_Record;
    Result.emplace_back(Record.m_Number, Record.m_Text.get_AsString());
  }
  return Result;
}

int FirstNumber(TSNorvMailContent const& Content) {
  return Records(TCNorvMessage(Content)).at(0).first;
}

void TTestService::OnMail(TSNorvReceivedMail const& Mail) {
  if (m_OnMail) {
    m_OnMail(Mail);
  }
  if (m_Acknowledging) {
    Acknowledge(Mail);
  }
  m_Senders.Add(Mail.Sender);
  m_Texts.Add(Records(TCNorvMessage(Mail.Content)).at(0).second);
  m_Mails.Add(FirstNumber(Mail.Content));
}

bool TTestService::OnRequest(TSNorvMailSender const& /*Sender*/, TSNorvMailContent const& Request,
                             TSNorvMailContent& Answer) {
  Answer = Request;
  Answer.SignalType = eNorvChange;
  bool const Answered = !m_OnRequest || m_OnRequest(Answer);
  m_Requests.Add(FirstNumber(Request));
  return Answered;
}

bool TTestService::OnCatchUp(TSNorvMailSender const& /*Sender*/,
                             TCNorvMailClassID const& /*MailClass*/, TSNorvMailContent& Content) {
  Content = OneRecord(eNorvEvent, m_CatchUp);
  return m_CatchUp != 0;
}

std::shared_ptr<TCNorvMailBody const> TTestService::OnForward(TSNorvMailSender const& Subscriber,
                                                              TSNorvMailContent const& Content) {
  return m_OnForward ? m_OnForward(Subscriber, *Content.Body) : Content.Body;
}

TTestServer::TTestServer(TPrepare const& Prepare, bool Acknowledging)
    : m_Service(m_Router, Acknowledging) {
  if (Prepare) {
    Prepare(m_Service);
  }
  m_Service
      .Open();  // before anybody is served, or a subscriber would miss being brought up to date
  m_Thread = std::thread([this] { m_Router.Run(); });
}

TTestServer::~TTestServer() {
  m_Service.Close();
  m_Router.Stop();
  m_Thread.join();
}

void TTestServer::Publish(int Number, std::string const& Text) {
  m_Router.Execute([&] {
    TSNorvMailContent const Content = OneRecord(eNorvEvent, Number, Text);
    m_Service.Publish(Content, {{}, 0, Content});
  });
}

bool TTestProxy::SendNumber(int Number, std::string const& Text) const {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, Number, Text);
  return Mail.Send(TestMailbox(), this, 0);
}

bool TTestProxy::Ask(TTestMail& Mail, int Timeout) {
  return SendAndWait(TestMailbox(), Mail, Timeout);
}

bool TTestProxy::AskNumber(int Number, int Timeout) {
  TTestMail Mail(TestClass(), eNorvRequest, 1);
  Append(Mail, Number);
  return Ask(Mail, Timeout) && Records(Mail).at(0).first == Number;
}

void TTestProxy::OnServiceMail(TCNorvMessage const& Mail) {
  if (m_OnMail) {
    m_OnMail(Mail);
  }
  m_Mails.Add(FirstNumber(Mail.get_Content()));
}

void TTestProxy::OnProxySignal() {
  if (m_OnSignal) {
    m_OnSignal();
  } else {
    ProcessProxy(-1, false);
  }
}

TCNorvServiceName TestMailbox() {
  return TCNorvServiceName::MakeLocalProcess(kMailbox, "");
}

TMessagingFixture::TMessagingFixture() : m_Folder(MakePrivateFolder()) {
  setenv("MAILROUTER_ADDRESS", Address().c_str(), 1);
  SetSyslogSink(TakeLog);
}

TMessagingFixture::~TMessagingFixture() {
  SetSyslogSink(nullptr);
  std::filesystem::remove_all(m_Folder);
}

TLog<std::string>& TMessagingFixture::Errors() {
  static TLog<std::string> Log;
  return Log;
}

TLog<std::string>& TMessagingFixture::Warnings() {
  static TLog<std::string> Log;
  return Log;
}

std::vector<int> Numbers(int First, int Last) {
  std::vector<int> Result(static_cast<std::size_t>(Last - First + 1));
  std::iota(Result.begin(), Result.end(), First);
  return Result;
}
