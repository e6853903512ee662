// SPDX-License-Identifier: MIT
// Takes values from the records of the property protocol and puts them into such records.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// The fields of a record, as they stand there; the texts belong to the record. One that is not
/// assigned is 0, false or empty.
struct TSValueFields {
  std::uint32_t Assigned = 0;
  int Number = 0;
  std::string_view Data;
  std::string_view Link;
  std::string_view MAC;
  bool Loaded = false;

  /// In the order of TCNorvPropertyObject::TCRecord.
  static constexpr std::uint32_t kNumber = 1;
  static constexpr std::uint32_t kData = 2;
  static constexpr std::uint32_t kLink = 4;
  static constexpr std::uint32_t kMAC = 8;
  static constexpr std::uint32_t kLoaded = 16;
  bool Has(std::uint32_t Field) const { return (Assigned & Field) != 0; }
};

/// Reads and writes the records of the property mail class, one at a time. What it reads comes from
/// outside: every reading throws TCException for records of another layout, and for those that name
/// no property or have a link or a device that can not be read.
///
/// Used by one thread at a time.
class TCValueRecords {
 public:
  TCValueRecords();

  /// All records of a mail. `IsUsual` says whether they are, byte for byte, what Append() makes of
  /// them as values that are not loaded.
  std::vector<TSPropertyRecord> ReadAll(TSNorvMailContent const& Content, bool& IsUsual);
  /// What the only record of a request asks for.
  TCPropertyPlace ReadPlace(TSNorvMailContent const& Request);
  /// Whose values a request for all is for.
  static int ReadAction(TSNorvMailContent const& Request);
  /// A record that was written here.
  TSValueFields ReadFields(std::string_view Record) const;

  TCNorvMailBody::TCWriter NewWriter() const { return TCNorvMailBody::TCWriter(m_Signature); }
  void Append(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
              std::string const& Data, bool Loaded);
  /// The same for a value that is not held and for one that the receiver may not read: it is not
  /// told which exist.
  void AppendNone(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place);
  /// A value that there was, and is no longer, for everybody who may read it.
  void AppendRemoved(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place);
  /// The beginning of the whole: what does not follow it is not held, or not for the reader.
  static void AppendWhole(TCNorvMailBody::TCWriter& Writer);

 private:
  TSPropertyRecord Read(std::string_view Record, bool& IsUsual);
  TCMACAddress ReadMAC(std::string_view Text);
  std::string const& TextOf(TCMACAddress const& MAC);
  void Write(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place, TSValueFields Fields);
  static void Write(TCNorvMailBody::TCWriter& Writer, TSValueFields const& Fields);

  std::string const m_Signature;
  TCMACAddress m_Device;     // the last one: values come by device
  std::string m_DeviceText;  // in the form that it is written in
};

}  // namespace Property
