// SPDX-License-Identifier: MIT
// Reads and writes the records of values.
#include "PropertyServer/TCValueRecords.h"

#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCValueRecords";

[[noreturn]] void ThrowMalformed(int Line, char const* Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason);
}

// A link or device that can not be read must not be stored as none.
Accessories::TCRecordID ReadLink(TCNorvField const& Field) {
  Accessories::TCRecordID const Link = Field.get_AsRecordID();
  if (Link.IsNull() && !Field.get_AsString().empty()) {
    ThrowMalformed(__LINE__, "a link that is no number");
  }
  return Link;
}

TCMACAddress ReadMAC(TCNorvField const& Field) {
  std::string const Text = Field.get_AsString();
  TCMACAddress const MAC(Text);
  if (MAC.Empty() && !Text.empty()) {
    ThrowMalformed(__LINE__, "a device that is no MAC address");
  }
  return MAC;
}

void RequireLayout(TSNorvMailContent const& Content, TCNorvRecordObject const& Part) {
  if (Content.Body->get_Count() > 0 && Content.Body->get_Signature() != Part.get_Signature()) {
    ThrowMalformed(__LINE__, "records of another layout");
  }
}

}  // namespace

std::vector<TSPropertyRecord> TCValueRecords::ReadAll(TSNorvMailContent const& Content) {
  RequireLayout(Content, m_Scratch.get_Record());
  std::vector<TSPropertyRecord> Records;
  Records.reserve(static_cast<std::size_t>(Content.Body->get_Count()));
  for (int Index = 0; Index < Content.Body->get_Count(); ++Index) {
    Records.push_back(Read(Content.Body->get_Record(Index)));
  }
  return Records;
}

TCPropertyPlace TCValueRecords::ReadPlace(TSNorvMailContent const& Request) {
  RequireLayout(Request, m_Scratch.get_Record());
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for one property has one record");
  }
  return PlaceOf(Read(Request.Body->get_Record(0)));
}

int TCValueRecords::ReadAction(TSNorvMailContent const& Request) {
  TCNorvPropertyObject::TCRequest& Part = m_Scratch.get_Request();
  RequireLayout(Request, Part);
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for all properties has one record");
  }
  Part.Decode(Request.Body->get_Record(0));
  return Part.m_Action;
}

TSPropertyRecord TCValueRecords::Read(std::string_view Record) {
  TCNorvPropertyObject::TCRecord& Part = m_Scratch.get_Record();
  Part.Decode(Record);
  if (!Part.m_ID.IsAssigned()) {
    ThrowMalformed(__LINE__, "a record without a property's number");
  }
  return {Part.m_ID, ReadLink(Part.m_Link), ReadMAC(Part.m_MAC), Part.m_Data.get_AsString()};
}

TCNorvPropertyObject::TCRecord const& TCValueRecords::Decode(std::string_view Record) {
  m_Scratch.get_Record().Decode(Record);
  return m_Scratch.get_Record();
}

TCNorvMailBody::TCWriter TCValueRecords::NewWriter() {
  return TCNorvMailBody::TCWriter(m_Scratch.get_Record().get_Signature());
}

void TCValueRecords::Append(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
                            std::string const& Data, bool Loaded) {
  Fill(Place, Data, Loaded).Encode(Writer);
}

void TCValueRecords::AppendNone(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place) {
  TCNorvPropertyObject::TCRecord& Record = Fill(Place, std::string(), false);
  Record.m_Data.Unassign();
  Record.Encode(Writer);
}

void TCValueRecords::AppendRemoved(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place) {
  TCNorvPropertyObject::TCRecord& Record = Fill(Place, std::string(), false);
  Record.m_Data.Unassign();
  Record.m_Loaded.Unassign();
  Record.Encode(Writer);
}

void TCValueRecords::AppendWhole(TCNorvMailBody::TCWriter& Writer) {
  TCNorvPropertyObject::TCRecord().Encode(Writer);
}

TCNorvPropertyObject::TCRecord& TCValueRecords::Fill(TCPropertyPlace const& Place,
                                                     std::string const& Data, bool Loaded) {
  auto const& [Number, Link, MAC] = Place;
  m_Scratch.get_Record().m_Link.Unassign();  // SetRecord leaves it alone for a null link
  m_Scratch.SetRecord(Number, Data, Link, Loaded, MAC.get_AsString(':'));
  return m_Scratch.get_Record();
}

}  // namespace Property
