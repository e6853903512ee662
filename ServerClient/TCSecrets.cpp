// SPDX-License-Identifier: MIT
// Asks for the ranges of secrets once.
#include "ServerClient/TCSecrets.h"

#include <algorithm>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/TCNorvControlObject.h"

namespace Property {

void TCSecrets::Ask() {
  TCNorvMailMessage<TCNorvControlObject> Mail(Norv_ControlMail, PropertyControl::kSecrets.Type,
                                              PropertyControl::kSecrets.Name);
  Mail.CreateRecord();
  m_Server.Ask(Mail);
  m_Ranges.emplace();
  for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
    TCNorvControlObject::TCRecord const& Record = Mail.GetMailRecord(Index)->get_Record();
    m_Ranges->emplace_back(Record.m_ID, Record.m_Last);
  }
}

bool TCSecrets::IsSecret(int Number) {
  if (m_Shown) {
    return false;
  }
  if (!m_Ranges) {
    Ask();
  }
  return std::any_of(m_Ranges->begin(), m_Ranges->end(), [Number](auto const& Range) {
    return Range.first <= Number && Number <= Range.second;
  });
}

}  // namespace Property
