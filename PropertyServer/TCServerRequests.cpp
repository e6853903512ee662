// SPDX-License-Identifier: MIT
// Figures and copies, for administrators.
#include "PropertyServer/TCServerRequests.h"

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCNorvServerObject.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCServerRequests";

}  // namespace

TCServerRequests::TCServerRequests(TCConfiguration const& Configuration,
                                   std::function<TCStatus()> Status,
                                   std::function<std::string()> Copy)
    : m_Configuration(Configuration), m_Status(std::move(Status)), m_Copy(std::move(Copy)) {}

bool TCServerRequests::IsKnown(TSNorvMailContent const& Request) {
  return Request.MailClass == Norv_ServerMail && Request.SignalType == eNorvRequest;
}

TSNorvMailContent TCServerRequests::Answer(TSNorvMailSender const& Sender,
                                           TSNorvMailContent const& Request) const {
  int const Question = Request.SignalName;
  RequireAllowed(Sender, Question);
  TCNorvMailMessage<TCNorvServerObject> Answer(Norv_ServerMail, eNorvChange, Question);
  auto const Append = [&Answer](std::string const& Name, std::string const& Value) {
    TCNorvServerObject::TCRecord& Record = Answer.CreateRecord()->get_Record();
    Record.m_Name.set_AsString(Name);
    Record.m_Value.set_AsString(Value);
  };
  if (Question == kServerStatus) {
    for (auto const& [Name, Value] : m_Status()) {
      Append(Name, Value);
    }
  } else if (Question == kServerBackup) {
    Append("database", m_Copy());
  } else {
    throw TCException(kSource, __LINE__).Format("the server knows no question %d", Question);
  }
  return Answer.get_Content();
}

void TCServerRequests::RequireAllowed(TSNorvMailSender const& Sender, int Question) const {
  if (Question == kServerBackup && !m_Configuration->MayCopy(Sender)) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not copy the database, only root and the server's own user may",
                Sender.User);
  }
  if (!m_Configuration->MayAdminister(Sender)) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not ask about the server, only %s may", Sender.User,
                m_Configuration->get_Administrators().c_str());
  }
}

}  // namespace Property
