// SPDX-License-Identifier: MIT
// What a test says to its server, and how it waits for it.
#include "PropertyTesting/TCTestServer.h"

#include <cstdint>
#include <exception>
#include <utility>

#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyTesting/TCTestControl.h"

namespace Property::Testing {

namespace {

constexpr char kSource[] = "../PropertyTesting/TCTestServer";
constexpr char kConfigurationName[] = "test configuration";
constexpr int kLinger = 2000;  // milliseconds, in the end

using TCPropertyMail = TCNorvMailMessage<TCNorvPropertyObject>;

TCMACAddress RequireMAC(std::string const& Text) {
  TCMACAddress const MAC(Text);
  if (MAC.Empty()) {
    throw TCException(kSource, __LINE__, "!MAC.Empty()")
        .Format("\"%s\" is no MAC address, expected six bytes such as %s", Text.c_str(),
                TCTestServer::kDevice);
  }
  return MAC;
}

TCPropertyPlace PlaceOf(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                        std::string const& MAC) {
  TCBasicPropertyID::Initialize();  // only then is known what is of one device
  TCMACAddress Device;
  if (!MAC.empty()) {
    Device = RequireMAC(MAC);
  } else if (!TCPropertyCollection::IsSystemWideProperty(ID)) {
    Device = TCMACAddress::Own("");
  }
  return TCPropertyPlace(ID.get_Number(), Link, Device);
}

TSPropertyRecord RecordOf(TSTestValue const& Value, bool Removed) {
  if (Value.ID == nullptr) {
    throw TCException(kSource, __LINE__, "Value.ID!=nullptr").Format("a value without a property");
  }
  TCPropertyPlace const Place = PlaceOf(*Value.ID, Value.Link, Value.MAC);
  return {std::get<0>(Place), std::get<1>(Place), std::get<2>(Place), Value.Data, Removed};
}

TCTestControl::TCConfiguration Configured(std::string const& Text) {
  return std::make_shared<TCServerConfiguration const>(
      TCServerConfiguration::ParseForMembers(Text, kConfigurationName));
}

void ChangeValues(TCTestControl& Control, std::vector<TSTestValue> const& Values, bool Removed) {
  std::vector<TSPropertyRecord> Changes;
  Changes.reserve(Values.size());
  for (TSTestValue const& Value : Values) {
    Changes.push_back(RecordOf(Value, Removed));
  }
  Control.Execute("change values",
                  [&](TCTestService& Service) { Service.ChangeNow(std::move(Changes)); });
}

// The answer comes behind all that was published before it. False when none comes in time.
bool AskServer(TCPropertyCollectionDriver& Driver, int Timeout) {
  TCPropertyMail Request(TCNorvPropertyObject::m_MailClassID, PropertyProtocol::kRequestOne.Type,
                         PropertyProtocol::kRequestOne.Name);
  Request.CreateRecord()->RequestProperty(0, Accessories::TCRecordID(), std::string());
  return Driver.SendAndWait(TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, ""),
                            Request, Timeout);
}

TCPropertyCollectionDriver& RequireStore() {
  TCPropertyCollectionDriver* const Driver = TCPropertyCollectionDriver::get_Instance();
  if (Driver == nullptr || !Driver->get_Connected()) {
    throw TCException(kSource, __LINE__, "Driver!=nullptr")
        .Format(
            "cannot wait until all has arrived: this process has no store, call "
            "TCPropertyCollectionDriver::Create() first");
  }
  return *Driver;
}

}  // namespace

TCTestServer::TCTestServer(std::string const& Device)
    : m_Control(std::make_unique<TCTestControl>(RequireMAC(Device), Configured(std::string()))) {}

TCTestServer::~TCTestServer() {
  if (m_Control->IsInherited()) {
    return;
  }
  try {
    m_Control->EndFaults();
    // The process's end would wait for it in vain.
    TCPropertyCollectionDriver* const Driver = TCPropertyCollectionDriver::get_Instance();
    if (Driver != nullptr && m_Control->IsRunning()) {
      Driver->WaitForAcknowledgements(kLinger);
    }
  } catch (std::exception const& Failure) {
    SyslogWarning("The test server ends before all is stored: %s", Failure.what());
  }
}

std::string const& TCTestServer::get_Address() const {
  return m_Control->get_Address();
}

// ---- values ----

void TCTestServer::SetValue(TCPropertyID const& ID, std::string const& Data,
                            Accessories::TCRecordID const& Link, std::string const& MAC) {
  SetValues({{&ID, Data, Link, MAC}});
}

void TCTestServer::SetValue(TCPropertyID const& ID, int Data, Accessories::TCRecordID const& Link,
                            std::string const& MAC) {
  SetValue(ID, std::to_string(Data), Link, MAC);
}

void TCTestServer::SetValue(TCPropertyID const& ID, TCPropertyChoiceID const& Choice,
                            Accessories::TCRecordID const& Link, std::string const& MAC) {
  SetValue(ID, Choice.get_AsInteger(), Link, MAC);
}

void TCTestServer::SetValues(std::vector<TSTestValue> const& Values) {
  ChangeValues(*m_Control, Values, false);
}

void TCTestServer::RemoveValue(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                               std::string const& MAC) {
  if (FindValue(ID, Link, MAC)) {
    ChangeValues(*m_Control, {{&ID, std::string(), Link, MAC}}, true);
  }
}

std::optional<std::string> TCTestServer::FindValue(TCPropertyID const& ID,
                                                   Accessories::TCRecordID const& Link,
                                                   std::string const& MAC) {
  TCPropertyPlace const Place = PlaceOf(ID, Link, MAC);
  std::optional<std::string> Data;
  m_Control->Execute("read values",
                     [&](TCTestService const& Service) { Data = Service.FindValue(Place); });
  return Data;
}

long long TCTestServer::get_ValueCount() {
  long long Count = 0;
  m_Control->Execute("count values",
                     [&](TCTestService const& Service) { Count = Service.get_ValueCount(); });
  return Count;
}

// ---- what is allowed ----

void TCTestServer::SetConfiguration(std::string const& Text) {
  m_Control->SetConfiguration(Configured(Text));
}

void TCTestServer::ForbidWriting(TCPropertyID const& ID) {
  m_Control->ChangeFaults([&](TSTestFaults& Faults) { Faults.Forbidden.insert(ID.get_Number()); });
}

// ---- faults ----

void TCTestServer::RefuseNextChange(std::string const& Reason) {
  m_Control->ChangeFaults([&](TSTestFaults& Faults) { Faults.Refusals.push_back(Reason); });
}

void TCTestServer::Stop() {
  m_Control->Stop();
}

void TCTestServer::Start() {
  m_Control->Start();
}

void TCTestServer::LoseValues() {
  m_Control->LoseValues();
}

void TCTestServer::Pause() {
  m_Control->Pause();
}

void TCTestServer::Resume() {
  m_Control->Resume();
}

void TCTestServer::HoldAcknowledgements() {
  m_Control->HoldAcknowledgements(true);
}

void TCTestServer::ReleaseAcknowledgements() {
  m_Control->HoldAcknowledgements(false);
}

// ---- waiting ----

void TCTestServer::WaitUntilArrived(int Timeout) {
  TCPropertyCollectionDriver& Driver = RequireStore();
  TCTestArrivals& Arrivals = m_Control->get_Arrivals();
  TCTestDeadline const Deadline(Timeout);
  auto const Require = [&](bool Done, char const* Missing) {
    if (!Done) {
      throw TCException(kSource, __LINE__, "Done")
          .Format("not all has arrived within %d ms: %s%s", Timeout, Missing,
                  m_Control->DescribeState().c_str());
    }
  };
  for (bool Finished = false; !Finished;) {
    std::uint64_t const Before = Arrivals.get_Count();
    Require(Driver.WaitForAcknowledgements(Deadline.get_Remaining()),
            "the server has not acknowledged every change of this process");
    Require(AskServer(Driver, Deadline.get_Remaining()), "the server does not answer");
    bool const Behind = m_Control->IsBehind();
    if (!Driver.WaitForDelivery(Deadline.get_Remaining())) {
      Require(!Deadline.IsOver(),
              "a notifier has not returned, or what was published has not been taken in");
      throw TCException(kSource, __LINE__, "WaitForDelivery()")
          .Format(
              "cannot wait until all has arrived: this is a notifier, which would be waited "
              "for");
    }
    Finished = !Behind && Arrivals.get_Count() == Before && Driver.WaitForAcknowledgements(0);
    Require(Finished || !Deadline.IsOver(), "there are always more changes");
  }
}

void TCTestServer::WaitForValue(TCPropertyID const& ID, std::string const& Data,
                                Accessories::TCRecordID const& Link, std::string const& MAC,
                                int Timeout) {
  TCTestArrivals& Arrivals = m_Control->get_Arrivals();
  TCTestDeadline const Deadline(Timeout);
  for (;;) {
    std::uint64_t const Before = Arrivals.get_Count();
    std::optional<std::string> const Held = FindValue(ID, Link, MAC);
    if (Held == Data) {
      return;
    }
    if (!Arrivals.WaitForMore(Before, Deadline)) {
      throw TCException(kSource, __LINE__, "Held==Data")
          .Format("%s has not become \"%s\" within %d ms, it is %s%s", ID.get_Name().c_str(),
                  Data.c_str(), Timeout, Held ? ("\"" + *Held + "\"").c_str() : "missing",
                  m_Control->DescribeState().c_str());
    }
  }
}

}  // namespace Property::Testing
