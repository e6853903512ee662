// SPDX-License-Identifier: MIT
// Answers who asks what has changed, and where values come from.
#pragma once

#include <memory>
#include <string>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCControlRecords.h"
#include "PropertyServer/TCFindRequests.h"
#include "PropertyServer/TCPendingChanges.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCServerConfiguration.h"

namespace Property {

/// Answers requests of the class "propertycontrol" from values and database. Of what the asker may
/// not read it tells nothing, not even that it exists; of secret values it tells no text that the
/// history does not have.
///
/// Lives on the router's thread. Refers to all that it is made of.
class TCControlRequests {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  TCControlRequests(TCConfiguration const& Configuration, TCPropertyValues const& Values,
                    TCPropertyDatabase const& Database, TCPendingChanges const& Pending,
                    TCServerSchema const* Schema);

  static bool IsKnown(TSNorvMailContent const& Request);
  /// Throws TCException for a question that there is none of, or that can not be read.
  TSNorvMailContent Answer(TSNorvMailSender const& Sender, TSNorvMailContent const& Request) const;

 private:
  TSNorvMailContent AnswerHistory(TSNorvMailSender const& Sender,
                                  TSNorvMailContent const& Request) const;
  TSNorvMailContent AnswerExplain(TSNorvMailSender const& Sender,
                                  TSNorvMailContent const& Request) const;
  TSNorvMailContent AnswerOutcome(TSNorvMailSender const& Sender) const;
  void RequireAdministrator(TSNorvMailSender const& Sender) const;
  TSNorvMailContent AnswerOrphans(TSNorvMailSender const& Sender,
                                  TSNorvMailContent const& Request) const;
  TSNorvMailContent AnswerSchemas(TSNorvMailSender const& Sender) const;
  TSNorvMailContent AnswerPending(TSNorvMailSender const& Sender) const;
  TSNorvMailContent AnswerSecrets(TSNorvMailSender const& Sender) const;
  std::string const* FindReadable(TSNorvMailSender const& Sender,
                                  TCPropertyPlace const& Place) const;
  bool IsReadableOrphan(TSNorvMailSender const& Sender, TCPropertyPlace const& Place) const;
  void Explain(TCPropertyPlace const& Place, TCControlWriter& Writer,
               TCNorvControlObject::TCRecord& Record) const;

  TCConfiguration const& m_Configuration;
  TCPropertyValues const& m_Values;
  TCPropertyDatabase const& m_Database;
  TCPendingChanges const& m_Pending;
  TCServerSchema const* const m_Schema;
  TCFindRequests const m_Find;
};

}  // namespace Property
