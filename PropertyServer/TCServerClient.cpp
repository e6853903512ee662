// SPDX-License-Identifier: MIT
// One request and its answer at a time.
#include "PropertyServer/TCServerClient.h"

#include <cstdlib>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvServerObject.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCServerClient";
// Milliseconds; the proxy itself says after 2 seconds that there is no server.
constexpr int kReachTime = 1500;
constexpr int kAnswerTime = 60000;  // a large database takes its time

// A proxy takes its router from the environment when it is made.
std::string const& UseAddress(std::string const& Address) {
  setenv(kRouterAddressVariable, Address.c_str(), 1);
  return Address;
}

}  // namespace

TCServerClient::TCServerClient(std::string const& Address) : m_Address(UseAddress(Address)) {}

bool TCServerClient::IsReached() {
  return WaitForServer() || !m_Proxy.get_Refusal().empty();
}

bool TCServerClient::WaitForServer() {
  m_IsMissing = !m_Proxy.WaitForMailRouter(m_IsMissing ? 0 : kReachTime);
  return !m_IsMissing;
}

void TCServerClient::ThrowRefusal() const {
  std::string const Reason = m_Proxy.get_Refusal();
  if (!Reason.empty()) {
    throw TCException(kSource, __LINE__)
        .Format("the property server at %s refuses: %s", m_Address.c_str(), Reason.c_str());
  }
}

std::vector<std::pair<std::string, std::string>> TCServerClient::Ask(int Signal) {
  if (!WaitForServer()) {
    ThrowRefusal();
    throw TCException(kSource, __LINE__)
        .Format("no property server at %s (%s); start it or give its address with --address",
                m_Address.c_str(), m_Proxy.get_Failure().c_str());
  }
  TCNorvMailMessage<TCNorvServerObject> Mail(Norv_ServerMail, eNorvRequest, Signal);
  Mail.CreateRecord();
  if (!m_Proxy.SendAndWait(TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, ""),
                           Mail, kAnswerTime)) {
    ThrowRefusal();
    throw TCException(kSource, __LINE__)
        .Format("the property server at %s does not answer", m_Address.c_str());
  }
  std::vector<std::pair<std::string, std::string>> Answer;
  for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
    TCNorvServerObject::TCRecord& Record = Mail.GetMailRecord(Index)->get_Record();
    Answer.emplace_back(Record.m_Name.get_AsString(), Record.m_Value.get_AsString());
  }
  return Answer;
}

std::vector<std::pair<std::string, std::string>> TCServerClient::Status() {
  return Ask(kServerStatus);
}

std::string TCServerClient::Backup() {
  auto Answer = Ask(kServerBackup);
  if (Answer.size() != 1) {
    throw TCException(kSource, __LINE__)
        .Format("the property server at %s sent no copy", m_Address.c_str());
  }
  return std::move(Answer.front().second);
}

}  // namespace Property
