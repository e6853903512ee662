// SPDX-License-Identifier: MIT
// The records of the property protocol.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Messaging/TCNorvMailObject.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// The mail class of the property protocol: "property", version 2.
PROPERTY_EXPORT extern TCNorvMailClassID const Norv_PropertyMail;

/// One entry of a property mail. Owns its request part and its record part and binds them to the
/// signals of the mail class. Belongs to the message that created it.
class PROPERTY_EXPORT TCNorvPropertyObject : public TCNorvMailObject {
 public:
  /// Asks for all properties.
  class PROPERTY_EXPORT TCRequest : public TCNorvRecordObject {
   public:
    TCRequest();
    ~TCRequest() override;

    TCNorvField m_Action;  ///< 0: the asking device's and those of no device, 1: all
  };

  /// One property value.
  class PROPERTY_EXPORT TCRecord : public TCNorvRecordObject {
   public:
    TCRecord();
    ~TCRecord() override;

    TCNorvField m_ID;      ///< property number
    TCNorvField m_Data;    ///< the value's stored text
    TCNorvField m_Link;    ///< record link; unset or null for none
    TCNorvField m_Loaded;  ///< in the answer to a request for one property: the server holds it
    TCNorvField m_MAC;     ///< device, ":" between the bytes; empty for none
  };

  TCNorvPropertyObject();
  ~TCNorvPropertyObject() override;

  TCRequest& get_Request() { return m_Request; }
  TCRecord& get_Record() { return m_Record; }

  /// Fills the record part; a null `Link` leaves the field untouched.
  void SetRecord(int ID, std::string const& Data, Accessories::TCRecordID const& Link, bool Loaded,
                 std::string const& MAC);
  /// Fills the record part as a request for one property; the link is written also when null.
  void RequestProperty(int ID, Accessories::TCRecordID const& Link, std::string const& MAC);

  static TCNorvMailClassID m_MailClassID;

 private:
  TCRequest m_Request;
  TCRecord m_Record;
};

}  // namespace Property

using Property::Norv_PropertyMail;
using Property::TCNorvPropertyObject;
