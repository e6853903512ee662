// SPDX-License-Identifier: MIT
// Answers what people mean by a name, and what stands there.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCControlRecords.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCServerSchema.h"

namespace Property {

/// Answers the question kFind from schema and values. What the schema says is no secret: everybody
/// who may connect learns names, numbers and defaults. Of a property that the asker may not read
/// nothing else is told.
///
/// Lives on the router's thread. Refers to all that it is made of.
class TCFindRequests {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  /// `Schema` is null for a server without one.
  TCFindRequests(TCConfiguration const& Configuration, TCPropertyValues const& Values,
                 TCServerSchema const* Schema)
      : m_Configuration(Configuration), m_Values(Values), m_Schema(Schema) {}

  /// Throws TCException for a question that can not be read, or whose answer would be too large.
  TSNorvMailContent Answer(TSNorvMailSender const& Sender, TSNorvMailContent const& Request) const;

 private:
  using TCRecord = TCNorvControlObject::TCRecord;
  struct TSFound;

  static void CheckNames(TCControlReader& Reader);
  bool HasSchema() const { return m_Schema != nullptr && m_Schema->HasSchema(); }
  TSFound Find(TSNorvMailSender const& Sender, TCRecord const& Asked) const;
  void FindProperty(TCRecord const& Asked, TSFound& Found) const;
  void CheckRights(TSNorvMailSender const& Sender, TSFound& Found) const;
  std::size_t Write(TSFound const& Found, TCControlWriter& Writer) const;
  std::size_t WriteValue(TSFound const& Found, TCRecord& Record) const;

  TCConfiguration const& m_Configuration;
  TCPropertyValues const& m_Values;
  TCServerSchema const* const m_Schema;
};

}  // namespace Property
