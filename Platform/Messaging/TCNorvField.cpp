// SPDX-License-Identifier: MIT
// Keeps one field's value and converts between the kinds.
#include "Platform/Messaging/TCNorvField.h"

#include "Platform/Utility/TextConversions.h"

TCNorvCommonField::~TCNorvCommonField() = default;

void TCNorvCommonField::set_AsInteger(int Value) {
  m_Kind = TENorvFieldKind::eInteger;
  m_Integer = Value;
}

void TCNorvCommonField::set_AsString(std::string_view Value) {
  m_Text = Value;
  m_Kind = TENorvFieldKind::eString;
}

void TCNorvCommonField::set_AsBool(bool Value) {
  m_Kind = TENorvFieldKind::eBoolean;
  m_Integer = Value ? 1 : 0;
}

void TCNorvCommonField::set_AsRecordID(Accessories::TCRecordID const& Value) {
  m_Kind = TENorvFieldKind::eRecordID;
  m_RecordID = Value;
}

void TCNorvCommonField::Unassign() {
  m_Kind = TENorvFieldKind::eAny;
}

int TCNorvCommonField::get_AsInteger() const {
  switch (m_Kind) {
    case TENorvFieldKind::eInteger:
    case TENorvFieldKind::eBoolean:
      return m_Integer;
    case TENorvFieldKind::eString:
      return ToInt(m_Text);
    case TENorvFieldKind::eRecordID:
      return m_RecordID.get_AsInteger();
    case TENorvFieldKind::eAny:
      break;
  }
  return 0;
}

std::string TCNorvCommonField::get_AsString() const {
  switch (m_Kind) {
    case TENorvFieldKind::eInteger:
    case TENorvFieldKind::eBoolean:
      return ToString(m_Integer);
    case TENorvFieldKind::eString:
      return m_Text;
    case TENorvFieldKind::eRecordID:
      return m_RecordID.get_AsString();
    case TENorvFieldKind::eAny:
      break;
  }
  return std::string();
}

std::string const& TCNorvCommonField::get_AsString(std::string& Buffer) const {
  if (m_Kind == TENorvFieldKind::eString) {
    return m_Text;
  }
  return Buffer = get_AsString();
}

bool TCNorvCommonField::get_AsBool() const {
  return get_AsInteger() != 0;
}

Accessories::TCRecordID TCNorvCommonField::get_AsRecordID() const {
  switch (m_Kind) {
    case TENorvFieldKind::eInteger:
    case TENorvFieldKind::eBoolean:
      return Accessories::TCRecordID(m_Integer);
    case TENorvFieldKind::eString:
      return Accessories::TCRecordID(m_Text);
    case TENorvFieldKind::eRecordID:
      return m_RecordID;
    case TENorvFieldKind::eAny:
      break;
  }
  return Accessories::TCRecordID();
}

TCNorvField& TCNorvField::operator=(int const& Value) {
  set_AsInteger(Value);
  return *this;
}
