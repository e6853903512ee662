// SPDX-License-Identifier: MIT
// Holds the values and encodes what each process is told of them.
#include "PropertyServer/TCPropertyValues.h"

#include <algorithm>
#include <utility>

namespace Property {

TCPropertyValues::TCPropertyValues(TCNorvEventLoop& Loop, TCConfiguration const& Configuration)
    : m_Configuration(Configuration), m_All(Loop), m_Whole(Loop) {}

void TCPropertyValues::Load(TSPropertyRecord Record) {
  m_Bytes += static_cast<std::int64_t>(Record.Data.size());
  m_Values.emplace(PlaceOf(Record), std::move(Record.Data));
}

void TCPropertyValues::Set(std::vector<TSPropertyRecord> const& Changes) {
  m_All.Drop();
  m_Whole.Drop();
  for (TSPropertyRecord const& Change : Changes) {
    if (Change.Removed) {
      Remove(PlaceOf(Change));
      continue;
    }
    if (m_Schema != nullptr && m_Schema->IsOrphan(Change.Number)) {
      m_Orphans.insert(Change.Number);
    }
    std::string& Value = m_Values[PlaceOf(Change)];
    auto const Former = static_cast<std::int64_t>(Value.size());
    Value = Change.Data;
    m_Bytes += static_cast<std::int64_t>(Value.size()) - Former;
  }
}

bool TCPropertyValues::SortOut(TCServerSchema const& Schema) {
  m_Schema = &Schema;
  std::set<int> Orphans;
  auto Value = m_Values.begin();
  while (Value != m_Values.end()) {
    int const Number = std::get<int>(Value->first);
    if (Schema.IsOrphan(Number)) {
      Orphans.insert(Number);
    }
    while (Value != m_Values.end() && std::get<int>(Value->first) == Number) {
      ++Value;
    }
  }
  if (Orphans == m_Orphans) {
    return false;
  }
  m_Orphans.swap(Orphans);
  m_All.Drop();
  m_Whole.Drop();
  return true;
}

void TCPropertyValues::VisitOrphans(
    TCPropertyPlace const& Last,
    std::function<bool(TCPropertyPlace const& Place, std::string const& Data)> const& Take) const {
  for (auto Number = m_Orphans.lower_bound(std::get<int>(Last)); Number != m_Orphans.end();
       ++Number) {
    TCPropertyPlace const First(*Number, Accessories::TCRecordID(), TCMACAddress());
    auto Value =
        *Number == std::get<int>(Last) ? m_Values.upper_bound(Last) : m_Values.lower_bound(First);
    for (; Value != m_Values.end() && std::get<int>(Value->first) == *Number; ++Value) {
      if (!Take(Value->first, Value->second)) {
        return;
      }
    }
  }
}

std::string const* TCPropertyValues::FindFor(TSNorvMailSender const& Reader,
                                             TCPropertyPlace const& Place) const {
  int const Number = std::get<int>(Place);
  return m_Configuration->MayRead(Reader, Number) && !IsOrphan(Number) ? Find(Place) : nullptr;
}

void TCPropertyValues::Remove(TCPropertyPlace const& Place) {
  auto const Value = m_Values.find(Place);
  if (Value != m_Values.end()) {
    m_Bytes -= static_cast<std::int64_t>(Value->second.size());
    m_Values.erase(Value);
  }
}

std::string const* TCPropertyValues::Find(TCPropertyPlace const& Place) const {
  auto const Value = m_Values.find(Place);
  return Value != m_Values.end() ? &Value->second : nullptr;
}

void TCPropertyValues::AppendReadable(TCNorvMailBody::TCWriter& Writer,
                                      TSNorvMailSender const& Reader,
                                      std::function<bool(TCMACAddress const&)> const& IsWanted) {
  bool const ReadsEverything = m_Configuration->ReadsEverything(Reader);
  for (auto const& [Place, Data] : m_Values) {
    if (IsWanted(std::get<TCMACAddress>(Place)) &&
        (m_Orphans.empty() || !IsOrphan(std::get<int>(Place))) &&
        (ReadsEverything || m_Configuration->MayRead(Reader, std::get<int>(Place)))) {
      m_Records.Append(Writer, Place, Data, false);
    }
  }
}

TCPropertyValues::TCBody TCPropertyValues::EncodeAll(TSNorvMailSender const& Reader) {
  auto const Encode = [&] {
    TCNorvMailBody::TCWriter Writer = m_Records.NewWriter();
    AppendReadable(Writer, Reader, [](auto const&) { return true; });
    return Writer.Finish();
  };
  return m_Configuration->ReadsEverything(Reader) ? m_All.Get(Encode) : Encode();
}

TCPropertyValues::TCBody TCPropertyValues::EncodeOwn(TSNorvMailSender const& Reader) {
  TCNorvMailBody::TCWriter Writer = m_Records.NewWriter();
  AppendReadable(Writer, Reader,
                 [&Reader](auto const& MAC) { return MAC.Empty() || MAC == Reader.Device; });
  return Writer.Finish();
}

// To name what the reader may not read would tell it what exists.
TCPropertyValues::TCBody TCPropertyValues::EncodeWhole(TSNorvMailSender const& Reader) {
  auto const Encode = [&] {
    TCNorvMailBody::TCWriter Writer = m_Records.NewWriter();
    TCValueRecords::AppendWhole(Writer);
    AppendReadable(Writer, Reader, [](auto const&) { return true; });
    return Writer.Finish();
  };
  return m_Configuration->ReadsEverything(Reader) ? m_Whole.Get(Encode) : Encode();
}

TCPropertyValues::TCBody TCPropertyValues::EncodeOne(TSNorvMailSender const& Reader,
                                                     TCPropertyPlace const& Place) {
  std::string const* const Value = FindFor(Reader, Place);
  TCNorvMailBody::TCWriter Writer = m_Records.NewWriter();
  m_Records.Append(Writer, Place, Value != nullptr ? *Value : std::string(), Value != nullptr);
  return Writer.Finish();
}

TCPropertyValues::TCBody TCPropertyValues::EncodeStanding(
    TSNorvMailSender const& Reader, std::vector<TSPropertyRecord> const& Changes) {
  TCNorvMailBody::TCWriter Writer = m_Records.NewWriter();
  for (TSPropertyRecord const& Change : Changes) {
    std::string const* const Value = FindFor(Reader, PlaceOf(Change));
    if (Value != nullptr) {
      m_Records.Append(Writer, PlaceOf(Change), *Value, true);
    } else {
      m_Records.AppendNone(Writer, PlaceOf(Change));
    }
  }
  return Writer.Finish();
}

TCPropertyValues::TCBody TCPropertyValues::EncodeChanges(
    std::vector<TSPropertyRecord> const& Changes, TCBody const& Sent) {
  if (Sent && m_Orphans.empty()) {
    return Sent;
  }
  TCNorvMailBody::TCWriter Writer = m_Records.NewWriter();
  for (TSPropertyRecord const& Change : Changes) {
    if (IsOrphan(Change.Number)) {
      continue;
    }
    if (Change.Removed) {
      m_Records.AppendRemoved(Writer, PlaceOf(Change));
    } else {
      m_Records.Append(Writer, PlaceOf(Change), Change.Data, false);
    }
  }
  return Writer.Finish();
}

TCPropertyValues::TCBody TCPropertyValues::SelectReadable(TSNorvMailSender const& Reader,
                                                          TCBody const& Body) {
  if (m_Configuration->ReadsEverything(Reader)) {
    return Body;
  }
  std::vector<bool> Readable;
  for (int Index = 0; Index < Body->get_Count(); ++Index) {
    TSValueFields const Fields = m_Records.ReadFields(Body->get_Record(Index));
    bool const Own =  // a refused change
        !Fields.Has(TSValueFields::kData) && Fields.Has(TSValueFields::kLoaded);
    Readable.push_back(Own || m_Configuration->MayRead(Reader, Fields.Number));
  }
  auto const Count = std::count(Readable.begin(), Readable.end(), true);
  if (Count == 0) {
    return nullptr;
  }
  return Count == Body->get_Count() ? Body : TCNorvMailBody::Selected(*Body, Readable);
}

}  // namespace Property
