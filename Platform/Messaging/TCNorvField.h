// SPDX-License-Identifier: MIT
// One typed field of a mail record.
#pragma once

#include <string>
#include <string_view>

#include "Platform/PlatformExport.h"
#include "Platform/Utility/TCRecordID.h"

/// What a field holds. The letters are those of the wire; a record identifier travels as text.
enum class TENorvFieldKind : char {
  eAny = 'v',  ///< in a registration: whatever was assigned; of a field: nothing was assigned
  eInteger = 'i',
  eString = 's',
  eBoolean = 'b',
  eRecordID = 'r',
};

/// Storage of a field: at most one value, of the kind last assigned. Reading another kind converts
/// (text to number by its decimal digits, a number to its text); an unassigned field reads as 0,
/// false, the empty text and the null record. Not synchronised.
class PROPERTY_PLATFORM_EXPORT TCNorvCommonField {
 public:
  TCNorvCommonField() = default;
  TCNorvCommonField(TCNorvCommonField const&) = default;
  TCNorvCommonField& operator=(TCNorvCommonField const&) = default;
  virtual ~TCNorvCommonField();

  void set_AsInteger(int Value);
  void set_AsString(std::string_view Value);
  void set_AsBool(bool Value);
  void set_AsRecordID(Accessories::TCRecordID const& Value);
  void Unassign();

  bool IsAssigned() const { return m_Kind != TENorvFieldKind::eAny; }
  TENorvFieldKind get_Kind() const { return m_Kind; }
  int get_AsInteger() const;
  std::string get_AsString() const;
  /// The same without a copy of a text that is there: `Buffer` holds what is not. Good until the
  /// field or `Buffer` changes.
  std::string const& get_AsString(std::string& Buffer) const;
  bool get_AsBool() const;
  Accessories::TCRecordID get_AsRecordID() const;

 private:
  TENorvFieldKind m_Kind = TENorvFieldKind::eAny;
  int m_Integer = 0;  // integers and booleans
  std::string m_Text;
  Accessories::TCRecordID m_RecordID;
};

/// A field with the conversions that make filling and reading a record short.
class PROPERTY_PLATFORM_EXPORT TCNorvField : public TCNorvCommonField {
 public:
  TCNorvField& operator=(int const& Value);
  operator int() const { return get_AsInteger(); }
  operator std::string() const { return get_AsString(); }
};
