// SPDX-License-Identifier: MIT
// One entry of a mail, with the record layouts that its signals bind.
#pragma once

#include <vector>

#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Messaging/TCNorvRecordObject.h"
#include "Platform/PlatformExport.h"

/// The signal types of mails.
enum TENorvSignalType : int { eNorvRequest = 1, eNorvChange = 2, eNorvEvent = 4 };

/// Base of the entries of a mail class. A subclass owns its record parts and binds each to the
/// signals that carry it. Owned by the message that it was attached to.
class PROPERTY_PLATFORM_EXPORT TCNorvMailObject {
 public:
  TCNorvMailObject() = default;
  TCNorvMailObject(TCNorvMailObject const&) = delete;
  TCNorvMailObject& operator=(TCNorvMailObject const&) = delete;
  virtual ~TCNorvMailObject();

  /// Binds `Record` (a part of this object) to a signal of a mail class; a later binding of the
  /// same signal is ignored. The last argument is reserved; pass -1.
  void AssignRecordType(TCNorvMailClassID const& MailClass, TENorvSignalType Type, int Name,
                        TCNorvRecordObject& Record, int Reserved);

  /// The part bound to the signal, or null.
  TCNorvRecordObject* Find(TCNorvMailClassID const& MailClass, int Type, int Name);

 private:
  struct TSBinding {
    int MailClass;
    int Type;
    int Name;
    TCNorvRecordObject* Record;
  };
  std::vector<TSBinding> m_Bindings;
};
