// SPDX-License-Identifier: MIT
// Runs the property server and takes mails to and from texts.
#include "tests/unit/PropertyServer/ServiceFixture.h"

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace PropertyProtocol = Property::PropertyProtocol;
using Property::TCPropertyDatabase;

namespace {

using TPropertyMail = TCNorvMailMessage<Property::TCNorvPropertyObject>;

TCNorvServiceName PropertyMailbox() {
  return TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, "");
}

}  // namespace

TSNorvMailContent Values(int SignalType, int SignalName,
                         std::vector<TPropertyRecord> const& Records) {
  TPropertyMail Mail(Norv_PropertyMail, SignalType, SignalName);
  for (TPropertyRecord const& Record : Records) {
    TCNorvPropertyObject::TCRecord& Part = Mail.CreateRecord()->get_Record();
    Part.m_ID = Record.m_ID;
    Part.m_Data.set_AsString(Record.m_Data);
    if (!Record.m_Link.empty()) {
      Part.m_Link.set_AsString(Record.m_Link);
    }
    Part.m_MAC.set_AsString(Record.m_MAC);
    Part.m_Loaded.set_AsBool(false);
  }
  return Mail.get_Content();
}

TSNorvMailContent Change(std::vector<TPropertyRecord> const& Records) {
  return Values(PropertyProtocol::kChange.Type, PropertyProtocol::kChange.Name, Records);
}

TSNorvMailContent RequestAll(int Action) {
  TPropertyMail Mail(Norv_PropertyMail, PropertyProtocol::kRequestAll.Type,
                     PropertyProtocol::kRequestAll.Name);
  Mail.CreateRecord()->get_Request().m_Action = Action;
  return Mail.get_Content();
}

TSNorvMailContent RequestOne(TPropertyRecord const& Record) {
  return Values(PropertyProtocol::kRequestOne.Type, PropertyProtocol::kRequestOne.Name, {Record});
}

TSNorvMailContent Foreign(int SignalType, int SignalName) {
  return {Norv_PropertyMail, SignalType, SignalName, OneRecord(eNorvRequest, 1).Body};
}

Property::TCPropertyServer::TCConfiguration Configured(std::string const& Text) {
  return std::make_shared<Property::TCServerConfiguration const>(
      Property::TCServerConfiguration::Parse(Text, "test.toml"));
}

void TPropertyProxy::Send(TSNorvMailContent const& Mail) const {
  EXPECT_TRUE(Post(PropertyMailbox(), Mail));
}

std::string TPropertyProxy::Ask(TSNorvMailContent const& Request) {
  TPropertyMail Mail(Request);
  return SendAndWait(PropertyMailbox(), Mail, kPatienceMilliseconds) ? Mail.get_AsText()
                                                                     : "refused";
}

std::optional<TSNorvMailContent> TPropertyProxy::AskFor(TSNorvMailContent const& Request) {
  TCNorvMessage Mail(Request);
  if (!SendAndWait(PropertyMailbox(), Mail, kPatienceMilliseconds)) {
    return std::nullopt;
  }
  return Mail.get_Content();
}

void TPropertyProxy::Subscribe() {
  Ask(RequestAll(1));
  ConnectService(Norv_PropertyMail, 3, false);
  Ask(RequestAll(1));  // answered behind the subscription
}

void TPropertyProxy::OnServiceMail(TCNorvMessage const& Mail) {
  m_Published.Add(TPropertyMail(Mail.get_Content()).get_AsText());
}

TPropertyService::TPropertyService(std::string const& Database, Property::TEDurability Durability,
                                   std::string const& Configuration,
                                   Property::TCServerSchema* Schema)
    : m_Database(Database),
      m_Server(m_Router, m_Database, Durability, false, Configured(Configuration), Schema),
      m_Thread([this] { m_Router.Run(); }) {}

TPropertyService::~TPropertyService() {
  m_Router.Stop();
  m_Thread.join();
}

TPropertyServiceFixture::TPropertyServiceFixture() {
  TCMACAddress::SetOwn(TCMACAddress("00:11:22:33:44:55"));
  DiskFaults::Install();
}

TPropertyServiceFixture::~TPropertyServiceFixture() {
  Stop();
  TCMACAddress::SetOwn(TCMACAddress());
}

void TPropertyServiceFixture::Store(std::vector<Property::TSPropertyRecord> const& Records) const {
  TCPropertyDatabase Database(Path());
  TCPropertyDatabase::TCTransaction Transaction(Database);
  for (Property::TSPropertyRecord const& Record : Records) {
    Transaction.Put(Record, Property::TSProvenance());
  }
  Transaction.Commit();
}

std::string TPropertyServiceFixture::AllValues() {
  return TPropertyProxy().Ask(RequestAll(1));
}
