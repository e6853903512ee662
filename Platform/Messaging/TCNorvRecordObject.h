// SPDX-License-Identifier: MIT
// A record of a mail: fields registered under their wire names.
#pragma once

#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvField.h"
#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/PlatformExport.h"

/// Base of every record layout. A subclass has its fields as members and registers them in its
/// constructor; the order of registration is the order on the wire. The fields are not owned.
class PROPERTY_PLATFORM_EXPORT TCNorvRecordObject {
 public:
  TCNorvRecordObject() = default;
  TCNorvRecordObject(TCNorvRecordObject const&) = delete;
  TCNorvRecordObject& operator=(TCNorvRecordObject const&) = delete;
  virtual ~TCNorvRecordObject();

  /// Registers `Field` under `Name` (a literal, kept by address). Without a kind the field travels
  /// with its type beside it; with one it is always sent as that kind, which is shorter.
  void Add(TCNorvCommonField& Field, char const* Name);
  void Add(TCNorvCommonField& Field, char const* Name, TENorvFieldKind Kind);

  std::vector<std::string> get_FieldNames() const;

  /// The wire types of the fields, one letter each.
  std::string const& get_Signature() const { return m_Signature; }
  void Encode(TCNorvMailBody::TCWriter& Writer) const;
  /// Fills the fields from one encoded record of the same signature.
  void Decode(std::string_view Record);
  /// The assigned fields as "name=value" pairs, for traces.
  std::string get_AsText() const;

 private:
  struct TSEntry {
    TCNorvCommonField* Field;
    char const* Name;
    char Code;
  };

  void Register(TSEntry const& Entry);

  std::vector<TSEntry> m_Entries;
  std::string m_Signature;
};
