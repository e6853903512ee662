// SPDX-License-Identifier: MIT
// Reads and writes the records of control mails.
#include "PropertyServer/TCControlRecords.h"

#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCControlRecords";

[[noreturn]] void ThrowMalformed(int Line, std::string const& Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason.c_str());
}

}  // namespace

TCControlReader::TCControlReader(TSNorvMailContent const& Content) : m_Content(Content) {
  if (get_Count() > 0 && Content.Body->get_Signature() != m_Record.get_Signature()) {
    ThrowMalformed(__LINE__, "records of another layout");
  }
}

TCNorvControlObject::TCRecord const& TCControlReader::Read(int Index) {
  m_Record.Decode(m_Content.Body->get_Record(Index));
  return m_Record;
}

TCNorvControlObject::TCRecord const& TCControlReader::ReadOnly() {
  if (get_Count() != 1) {
    ThrowMalformed(__LINE__, "it has one record");
  }
  return Read(0);
}

std::optional<std::uint64_t> TCControlReader::NumberIn(TCNorvField const& Field, char const* Name) {
  if (!Field.IsAssigned()) {
    return std::nullopt;
  }
  bool IsNumber = true;
  long long const Number = StringToBigInt(Field.get_AsString(), IsNumber);
  if (!IsNumber || Number < 0) {
    ThrowMalformed(__LINE__, std::string("its ") + Name + " is no number");
  }
  return static_cast<std::uint64_t>(Number);
}

// A link or device that can not be read must not be taken for none.
std::optional<Accessories::TCRecordID> TCControlReader::LinkIn(TCNorvField const& Field) {
  if (!Field.IsAssigned()) {
    return std::nullopt;
  }
  Accessories::TCRecordID const Link = Field.get_AsRecordID();
  if (Link.IsNull() && !Field.get_AsString().empty()) {
    ThrowMalformed(__LINE__, "a link that is no number");
  }
  return Link;
}

std::optional<TCMACAddress> TCControlReader::MACIn(TCNorvField const& Field) {
  if (!Field.IsAssigned()) {
    return std::nullopt;
  }
  std::string const Text = Field.get_AsString();
  TCMACAddress const MAC(Text);
  if (MAC.Empty() && !Text.empty()) {
    ThrowMalformed(__LINE__, "a device that is no MAC address");
  }
  return MAC;
}

TCPropertyPlace TCControlReader::PlaceIn(TCNorvControlObject::TCRecord const& Record) {
  if (!Record.m_ID.IsAssigned()) {
    ThrowMalformed(__LINE__, "a record without a property's number");
  }
  return TCPropertyPlace(Record.m_ID, LinkIn(Record.m_Link).value_or(Accessories::TCRecordID()),
                         MACIn(Record.m_MAC).value_or(TCMACAddress()));
}

TCControlWriter::TCControlWriter() : m_Writer(Begin().get_Signature()) {}

TCNorvControlObject::TCRecord& TCControlWriter::Begin() {
  return m_Record.emplace();
}

TSNorvMailContent TCControlWriter::Finish(int SignalName) {
  return {Norv_ControlMail, eNorvChange, SignalName, m_Writer.Finish()};
}

void TCControlWriter::PutPlace(TCPropertyPlace const& Place) {
  auto const& [Number, Link, MAC] = Place;
  m_Record->m_ID = Number;
  m_Record->m_Link.set_AsRecordID(Link);
  m_Record->m_MAC.set_AsString(MAC.get_AsString(':'));
}

void TCControlWriter::PutOrigin(TSProvenance const& Origin) {
  m_Record->m_Time.set_AsString(std::to_string(Origin.Time));
  m_Record->m_User.set_AsString(std::to_string(Origin.User));
  m_Record->m_Process = static_cast<int>(Origin.Process);
  m_Record->m_Program.set_AsString(Origin.ProcessName);
}

}  // namespace Property
