// SPDX-License-Identifier: MIT
// The mail that tells the server of changes.
#pragma once

#include "CommonProperties/TCCommonPropertyObject.h"
#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/Messaging/TCNorvMessage.h"

namespace Property {

/// Encodes each change as it comes: a transaction can have many. Used by one thread, and only one
/// at a time in each thread.
class TCChangeMail {
 public:
  TCChangeMail();

  void Append(TCCommonPropertyObject const& Object);
  TSNorvMailContent Finish();

 private:
  TCNorvMailBody::TCWriter m_Writer;
};

}  // namespace Property
