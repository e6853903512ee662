// SPDX-License-Identifier: MIT
// Takes what is asked for from the records of control mails, and puts answers into them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Messaging/TCNorvMessage.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "PropertyServer/TSHistoryEntry.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// Reads the records of a control mail, which comes from outside: every reading throws TCException
/// for what can not be read. Used by one thread.
class TCControlReader {
 public:
  /// Refers to the mail. Throws TCException when its records have another layout.
  explicit TCControlReader(TSNorvMailContent const& Content);

  int get_Count() const { return m_Content.Body->get_Count(); }
  /// The fields of one record, until the next one is asked for.
  TCNorvControlObject::TCRecord const& Read(int Index);
  /// Those of the only one.
  TCNorvControlObject::TCRecord const& ReadOnly();

  // Of a record; nothing when the field is not assigned.
  static std::optional<std::uint64_t> NumberIn(TCNorvField const& Field, char const* Name);
  static std::optional<Accessories::TCRecordID> LinkIn(TCNorvField const& Field);
  static std::optional<TCMACAddress> MACIn(TCNorvField const& Field);
  /// What value the record is about.
  static TCPropertyPlace PlaceIn(TCNorvControlObject::TCRecord const& Record);

 private:
  TSNorvMailContent const& m_Content;
  TCNorvControlObject::TCRecord m_Record;
};

/// Writes the records of an answer, one after the other.
class TCControlWriter {
 public:
  TCControlWriter();

  /// An empty record, to be filled and then appended.
  TCNorvControlObject::TCRecord& Begin();
  void Append() { m_Record->Encode(m_Writer); }
  /// The answer to a request of that name.
  TSNorvMailContent Finish(int SignalName);

  // Into the record that was begun.
  void PutPlace(TCPropertyPlace const& Place);
  void PutOrigin(TSProvenance const& Origin);

 private:
  std::optional<TCNorvControlObject::TCRecord> m_Record;
  TCNorvMailBody::TCWriter m_Writer;
};

}  // namespace Property
