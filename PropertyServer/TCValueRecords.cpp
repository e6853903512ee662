// SPDX-License-Identifier: MIT
// Reads and writes the records of values.
#include "PropertyServer/TCValueRecords.h"

#include "Platform/Utility/LittleEndian.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCValueRecords";

[[noreturn]] void ThrowMalformed(int Line, char const* Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason);
}

// A link or device that can not be read must not be stored as none.
Accessories::TCRecordID ReadLink(std::string_view Text) {
  if (Text.empty()) {
    return Accessories::TCRecordID();
  }
  Accessories::TCRecordID const Link{std::string(Text)};
  if (Link.IsNull()) {
    ThrowMalformed(__LINE__, "a link that is no number");
  }
  return Link;
}

// What is assigned of a value that says where it belongs.
constexpr std::uint32_t kPlaceFields =
    TSValueFields::kNumber | TSValueFields::kLink | TSValueFields::kMAC;

std::uint32_t AssignedFor(Accessories::TCRecordID const& Link) {
  constexpr std::uint32_t kAll = kPlaceFields | TSValueFields::kData | TSValueFields::kLoaded;
  return Link.IsNull() ? kAll & ~TSValueFields::kLink : kAll;
}

// Of a record that has nothing in the fields that are not assigned.
std::size_t SizeOf(TSValueFields const& Fields) {
  constexpr std::size_t kMaskAndNumber = 2 * kWordSize;
  return kMaskAndNumber + kWordSize + Fields.Data.size() + kWordSize + Fields.Link.size() +
         kWordSize + Fields.MAC.size() + 1;
}

void RequireLayout(TSNorvMailContent const& Content, std::string const& Signature) {
  if (Content.Body->get_Count() > 0 && Content.Body->get_Signature() != Signature) {
    ThrowMalformed(__LINE__, "records of another layout");
  }
}

}  // namespace

TCValueRecords::TCValueRecords() : m_Signature(TCNorvPropertyObject::TCRecord().get_Signature()) {}

// ---- reading ----

std::vector<TSPropertyRecord> TCValueRecords::ReadAll(TSNorvMailContent const& Content,
                                                      bool& IsUsual) {
  RequireLayout(Content, m_Signature);
  IsUsual = true;
  std::vector<TSPropertyRecord> Records;
  Records.reserve(static_cast<std::size_t>(Content.Body->get_Count()));
  for (int Index = 0; Index < Content.Body->get_Count(); ++Index) {
    Records.push_back(Read(Content.Body->get_Record(Index), IsUsual));
  }
  return Records;
}

TCPropertyPlace TCValueRecords::ReadPlace(TSNorvMailContent const& Request) {
  RequireLayout(Request, m_Signature);
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for one property has one record");
  }
  bool IsUsual = true;
  return PlaceOf(Read(Request.Body->get_Record(0), IsUsual));
}

int TCValueRecords::ReadAction(TSNorvMailContent const& Request) {
  TCNorvPropertyObject::TCRequest Part;
  RequireLayout(Request, Part.get_Signature());
  if (Request.Body->get_Count() != 1) {
    ThrowMalformed(__LINE__, "a request for all properties has one record");
  }
  Part.Decode(Request.Body->get_Record(0));
  return Part.m_Action;
}

TSValueFields TCValueRecords::ReadFields(std::string_view Record) const {
  TCNorvRecordCursor Cursor(m_Signature, Record);
  TSValueFields Fields;
  Fields.Assigned = Cursor.get_AssignedMask();
  TSNorvFieldValue Value;
  Cursor.Next(Value);
  Fields.Number = Value.Integer;
  for (std::string_view* const Text : {&Fields.Data, &Fields.Link, &Fields.MAC}) {
    Cursor.Next(Value);
    *Text = Value.Assigned ? Value.Text : std::string_view();
  }
  Cursor.Next(Value);
  Fields.Loaded = Value.Integer != 0;
  return Fields;
}

TSPropertyRecord TCValueRecords::Read(std::string_view Record, bool& IsUsual) {
  TSValueFields const Fields = ReadFields(Record);
  if (!Fields.Has(TSValueFields::kNumber)) {
    ThrowMalformed(__LINE__, "a record without a property's number");
  }
  Accessories::TCRecordID const Link = ReadLink(Fields.Link);
  TCMACAddress const MAC = ReadMAC(Fields.MAC);
  IsUsual = IsUsual && Fields.Assigned == AssignedFor(Link) && !Fields.Loaded &&
            (Link.IsNull() || Fields.Link == Link.get_AsString()) && Fields.MAC == TextOf(MAC) &&
            Record.size() == SizeOf(Fields);
  return {Fields.Number, Link, MAC, std::string(Fields.Data)};
}

TCMACAddress TCValueRecords::ReadMAC(std::string_view Text) {
  if (Text == m_DeviceText) {
    return m_Device;
  }
  TCMACAddress const MAC{std::string(Text)};
  if (MAC.Empty() && !Text.empty()) {
    ThrowMalformed(__LINE__, "a device that is no MAC address");
  }
  return MAC;
}

// ---- writing ----

std::string const& TCValueRecords::TextOf(TCMACAddress const& MAC) {
  if (m_Device != MAC) {
    m_DeviceText = MAC.get_AsString(':');
    m_Device = MAC;
  }
  return m_DeviceText;
}

void TCValueRecords::Append(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
                            std::string const& Data, bool Loaded) {
  TSValueFields Fields;
  Fields.Assigned = TSValueFields::kData | TSValueFields::kLoaded;
  Fields.Data = Data;
  Fields.Loaded = Loaded;
  Write(Writer, Place, Fields);
}

void TCValueRecords::AppendNone(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place) {
  TSValueFields Fields;
  Fields.Assigned = TSValueFields::kLoaded;
  Write(Writer, Place, Fields);
}

void TCValueRecords::AppendRemoved(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place) {
  Write(Writer, Place, TSValueFields());
}

void TCValueRecords::AppendWhole(TCNorvMailBody::TCWriter& Writer) {
  Write(Writer, TSValueFields());
}

void TCValueRecords::Write(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
                           TSValueFields Fields) {
  auto const& [Number, Link, MAC] = Place;
  std::string const LinkText = Link.get_AsString();
  Fields.Assigned |= AssignedFor(Link) & kPlaceFields;
  Fields.Number = Number;
  Fields.Link = LinkText;
  Fields.MAC = TextOf(MAC);
  Write(Writer, Fields);
}

void TCValueRecords::Write(TCNorvMailBody::TCWriter& Writer, TSValueFields const& Fields) {
  Writer.BeginRecord(Fields.Assigned);
  TSNorvFieldValue Value;
  Value.Code = 'i';
  Value.Integer = Fields.Number;
  Writer.AppendField(Value);
  Value.Code = 's';
  for (std::string_view const Text : {Fields.Data, Fields.Link, Fields.MAC}) {
    Value.Text = Text;
    Writer.AppendField(Value);
  }
  Value.Code = 'b';
  Value.Integer = Fields.Loaded ? 1 : 0;
  Writer.AppendField(Value);
}

}  // namespace Property
