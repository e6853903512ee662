// SPDX-License-Identifier: MIT
// Takes records to and from their encoded form.
#include "Platform/Messaging/TCNorvRecordObject.h"

namespace {

constexpr std::size_t kUsualFields = 6;

// A record identifier travels as its text.
char WireCode(TENorvFieldKind Kind) {
  return Kind == TENorvFieldKind::eRecordID ? 's' : static_cast<char>(Kind);
}

}  // namespace

TCNorvRecordObject::~TCNorvRecordObject() = default;

void TCNorvRecordObject::Add(TCNorvCommonField& Field, char const* Name) {
  Add(Field, Name, TENorvFieldKind::eAny);
}

void TCNorvRecordObject::Add(TCNorvCommonField& Field, char const* Name, TENorvFieldKind Kind) {
  Register({&Field, Name, WireCode(Kind)});
}

void TCNorvRecordObject::Register(TSEntry const& Entry) {
  if (m_Entries.empty()) {
    m_Entries.reserve(kUsualFields);  // an object is made for every record that is written
  }
  m_Entries.push_back(Entry);
  m_Signature.push_back(Entry.Code);
}

std::vector<std::string> TCNorvRecordObject::get_FieldNames() const {
  std::vector<std::string> Names;
  Names.reserve(m_Entries.size());
  for (TSEntry const& Entry : m_Entries) {
    Names.emplace_back(Entry.Name);
  }
  return Names;
}

void TCNorvRecordObject::Encode(TCNorvMailBody::TCWriter& Writer) const {
  std::uint32_t Assigned = 0;
  for (std::size_t Place = 0; Place < m_Entries.size(); ++Place) {
    Assigned |= (m_Entries[Place].Field->IsAssigned() ? 1U : 0U) << Place;
  }
  Writer.BeginRecord(Assigned);
  std::string Buffer;
  for (TSEntry const& Entry : m_Entries) {
    TSNorvFieldValue Value;
    Value.Code = Entry.Code == 'v' && Entry.Field->IsAssigned() ? WireCode(Entry.Field->get_Kind())
                                                                : Entry.Code;
    if (Value.Code == 'v') {
      Value.Code = 's';  // nothing assigned, nothing declared: an empty text stands for it
    }
    if (Value.Code == 's') {
      Value.Text = Entry.Field->get_AsString(Buffer);
    } else {
      Value.Integer = Entry.Field->get_AsInteger();
    }
    Writer.AppendField(Value);
  }
}

void TCNorvRecordObject::Decode(std::string_view Record) {
  TCNorvRecordCursor Cursor(m_Signature, Record);
  TSNorvFieldValue Value;
  for (TSEntry const& Entry : m_Entries) {
    Cursor.Next(Value);
    if (!Value.Assigned) {
      Entry.Field->Unassign();
    } else if (Value.Code == 'i') {
      Entry.Field->set_AsInteger(Value.Integer);
    } else if (Value.Code == 'b') {
      Entry.Field->set_AsBool(Value.Integer != 0);
    } else {
      Entry.Field->set_AsString(Value.Text);
    }
  }
}

std::string TCNorvRecordObject::get_AsText() const {
  std::string Text;
  for (TSEntry const& Entry : m_Entries) {
    if (!Entry.Field->IsAssigned()) {
      continue;
    }
    Text += Text.empty() ? "" : " ";
    Text += Entry.Name;
    Text += '=';
    bool const Quoted = Entry.Field->get_Kind() == TENorvFieldKind::eString;
    Text += Quoted ? '"' + Entry.Field->get_AsString() + '"' : Entry.Field->get_AsString();
  }
  return Text;
}
