// SPDX-License-Identifier: MIT
// The mail that asks for changes on conditions.
#pragma once

#include <optional>
#include <string>

#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "PropertyInterface/TCNorvControlObject.h"

namespace Property {

/// Gathers the records, one after the other. Used by one thread.
class TCConditionalMail {
 public:
  TCConditionalMail();

  /// The value is to have that text, or to be missing.
  void Expect(TCPropertyKey const& Key, std::optional<std::string> const& Data);
  /// It gets that text if everything is as expected.
  void Change(TCPropertyKey const& Key, std::string const& Data);
  TSNorvMailContent Finish();

 private:
  void Begin(TCPropertyKey const& Key);

  std::optional<TCNorvControlObject::TCRecord> m_Record;
  TCNorvMailBody::TCWriter m_Writer;
};

}  // namespace Property
