// SPDX-License-Identifier: MIT
// Records of the mails that ask the property server about itself.
#pragma once

#include "CommonProperties/PropertyExport.h"
#include "Platform/Messaging/TCNorvField.h"
#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Messaging/TCNorvMailObject.h"
#include "Platform/Messaging/TCNorvRecordObject.h"

namespace Property {

PROPERTY_EXPORT extern TCNorvMailClassID const Norv_ServerMail;

// Signal names of the class, for a request (type 1) and its answer (type 2) alike.
constexpr int kServerStatus = 1;  ///< the answer has a record for each figure
constexpr int kServerBackup = 2;  ///< the answer has one record: the image of the database

/// A figure of the server's, or a copy of its database, by name.
class PROPERTY_EXPORT TCNorvServerObject : public TCNorvMailObject {
 public:
  class PROPERTY_EXPORT TCRecord : public TCNorvRecordObject {
   public:
    TCRecord();

    TCNorvField m_Name;
    TCNorvField m_Value;
  };

  TCNorvServerObject();

  TCRecord& get_Record() { return m_Record; }

 private:
  TCRecord m_Record;
};

}  // namespace Property
