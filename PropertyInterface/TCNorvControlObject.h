// SPDX-License-Identifier: MIT
// Records of the mails that look after properties.
#pragma once

#include "CommonProperties/PropertyExport.h"
#include "Platform/Messaging/TCNorvField.h"
#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Messaging/TCNorvMailObject.h"
#include "Platform/Messaging/TCNorvRecordObject.h"
#include "PropertyInterface/PropertyControl.h"

namespace Property {

/// The mail class "propertycontrol", version 1.
PROPERTY_EXPORT extern TCNorvMailClassID const Norv_ControlMail;

/// One entry of such a mail, of one layout for all of them: the signal says which fields count.
/// Belongs to the message that created it.
class PROPERTY_EXPORT TCNorvControlObject : public TCNorvMailObject {
 public:
  class PROPERTY_EXPORT TCRecord : public TCNorvRecordObject {
   public:
    TCRecord();

    TCNorvField m_Transaction;  ///< its number, in digits
    TCNorvField m_Time;         ///< microseconds since 1970, UTC, in digits
    TCNorvField m_User;         ///< the number of a user, in digits
    TCNorvField m_Process;
    TCNorvField m_Program;
    TCNorvField m_ID;       ///< property number
    TCNorvField m_Link;     ///< record link; empty for none
    TCNorvField m_MAC;      ///< device, ":" between the bytes; empty for none
    TCNorvField m_Data;     ///< the value's stored text
    TCNorvField m_Former;   ///< the stored text that it had before
    TCNorvField m_Secret;   ///< the property is secret, or the texts are not kept
    TCNorvField m_Text;     ///< for people
    TCNorvField m_Seconds;  ///< a time to wait
    TCNorvField m_Force;    ///< although something else has changed since
    TCNorvField m_Limit;    ///< the most records of an answer
    TCNorvField m_Place;    ///< in the history, in digits
    TCNorvField m_Last;     ///< the end of a range of property numbers
    TCNorvField m_Held;     ///< the server holds a value that the asker may read
    TCNorvField m_Removed;  ///< the value was taken away
    TCNorvField m_Undoes;   ///< the transaction that this one takes back, in digits
    TCNorvField m_Mail;     ///< the number of a mail, in digits
    TCNorvField m_Refused;  ///< it has changed nothing
    TCNorvField m_Path;     ///< of a property in the schema, or of a file
    TCNorvField m_Device;   ///< of a file, in digits
    TCNorvField m_Inode;    ///< of a file, in digits
    TCNorvField m_Size;     ///< of a file, in digits
    TCNorvField m_Orphan;   ///< kept aside, because the schema has no such field
  };

  TCNorvControlObject();

  TCRecord& get_Record() { return m_Record; }

 private:
  TCRecord m_Record;
};

}  // namespace Property
