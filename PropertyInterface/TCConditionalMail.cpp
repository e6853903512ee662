// SPDX-License-Identifier: MIT
// Puts expectations and changes into records.
#include "PropertyInterface/TCConditionalMail.h"

#include "CommonProperties/TCPropertyID.h"

namespace Property {

TCConditionalMail::TCConditionalMail() : m_Writer(m_Record.emplace().get_Signature()) {}

void TCConditionalMail::Begin(TCPropertyKey const& Key) {
  TCNorvControlObject::TCRecord& Record = m_Record.emplace();
  Record.m_ID = Key.get_ID().get_Number();
  Record.m_Link.set_AsRecordID(Key.get_Link());
  Record.m_MAC.set_AsString(Key.get_MAC().get_AsString(':'));
}

void TCConditionalMail::Expect(TCPropertyKey const& Key, std::optional<std::string> const& Data) {
  Begin(Key);
  m_Record->m_Held.set_AsBool(Data.has_value());
  if (Data) {
    m_Record->m_Data.set_AsString(*Data);
  }
  m_Record->Encode(m_Writer);
}

void TCConditionalMail::Change(TCPropertyKey const& Key, std::string const& Data) {
  Begin(Key);
  m_Record->m_Data.set_AsString(Data);
  m_Record->Encode(m_Writer);
}

TSNorvMailContent TCConditionalMail::Finish() {
  return {Norv_ControlMail, PropertyControl::kChangeIf.Type, PropertyControl::kChangeIf.Name,
          m_Writer.Finish()};
}

}  // namespace Property
