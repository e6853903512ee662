// SPDX-License-Identifier: MIT
// Lets mails come into effect, and tells who has to know.
#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCMailTrace.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCRefusalMails.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCTakenMails.h"
#include "PropertyServer/TCValueQuota.h"
#include "PropertyServer/TSTakenMail.h"

namespace Property {

/// Makes the values what a mail makes of them and publishes that. The sender of one that was
/// refused is given the values that stand, and told why.
///
/// Lives on the router's thread. Refers to all that it is made of.
class TCMailEffects {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  TCMailEffects(TCNorvMailRouter& Router, TCNorvService& Service,
                TCConfiguration const& Configuration, TCPropertyValues& Values, TCTakenMails& Taken,
                TCValueQuota& Quota, TCMailTrace const& Trace, TCRefusalMails const& RefusalMails);

  /// The values change and everybody hears of it. May be repeated after it has thrown.
  void TakeEffect(TSTakenMail& Taken);
  /// Tells the sender, and nobody else, that the mail was refused, where it was; once. Before the
  /// acknowledgement, and once that is stored: told before, it might be decided again, and
  /// otherwise, after a restart. May be repeated after it has thrown.
  void TellRefusal(TSTakenMail& Taken);

  /// The mail in which the server does something by itself: it comes from nobody.
  static TSNorvReceivedMail OwnMail();

  std::uint64_t get_RefusedMails() const { return m_RefusedMails; }
  std::uint64_t get_TakenMails() const { return m_TakenMails; }

 private:
  void Restore(TSTakenMail const& Refused);
  void Publish(TSTakenMail const& Taken);

  TCNorvMailRouter& m_Router;
  TCNorvService& m_Service;
  TCConfiguration const& m_Configuration;
  TCPropertyValues& m_Values;
  TCTakenMails& m_Taken;
  TCValueQuota& m_Quota;
  TCMailTrace const& m_Trace;
  TCRefusalMails const& m_RefusalMails;
  std::uint64_t m_RefusedMails = 0;
  std::uint64_t m_TakenMails = 0;
};

}  // namespace Property
