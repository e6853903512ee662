// SPDX-License-Identifier: MIT
// Tells senders which of their mails were refused, and why.
#pragma once

#include <memory>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCControlRecords.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TSRefusal.h"

namespace Property {

/// Makes the mails that are published to the sender of a refused mail alone. A value is told only
/// to who may read it.
///
/// Lives on the router's thread. Refers to all that it is made of.
class TCRefusalMails {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  TCRefusalMails(TCConfiguration const& Configuration, TCPropertyValues const& Values,
                 TCPropertyDatabase const& Database);

  TSNorvMailContent Tell(TSNorvMailSender const& Sender, TSRefusal const& Refusal) const;
  /// All that is remembered, for a sender that may not have heard of it. Throws TCException when
  /// the database can not be read.
  TSNorvMailContent TellAll(TSNorvMailSender const& Sender) const;

 private:
  void Append(TCControlWriter& Writer, TSNorvMailSender const& Sender,
              TSRefusal const& Refusal) const;
  void PutStanding(TCNorvControlObject::TCRecord& Record, TSNorvMailSender const& Sender,
                   TCPropertyPlace const& Place) const;

  TCConfiguration const& m_Configuration;
  TCPropertyValues const& m_Values;
  TCPropertyDatabase const& m_Database;
};

}  // namespace Property
