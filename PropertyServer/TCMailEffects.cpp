// SPDX-License-Identifier: MIT
// Changes the values and publishes what has become of a mail.
#include "PropertyServer/TCMailEffects.h"

#include "PropertyServer/PropertyMails.h"

namespace Property {
namespace {

bool IsControl(TSTakenMail const& Taken) {
  return Taken.Mail.Content.MailClass == Norv_ControlMail;
}

}  // namespace

TCMailEffects::TCMailEffects(TCNorvMailRouter& Router, TCNorvService& Service,
                             TCConfiguration const& Configuration, TCPropertyValues& Values,
                             TCTakenMails& Taken, TCValueQuota& Quota, TCMailTrace const& Trace,
                             TCRefusalMails const& RefusalMails)
    : m_Router(Router),
      m_Service(Service),
      m_Configuration(Configuration),
      m_Values(Values),
      m_Taken(Taken),
      m_Quota(Quota),
      m_Trace(Trace),
      m_RefusalMails(RefusalMails) {}

void TCMailEffects::TakeEffect(TSTakenMail& Taken) {
  if (Taken.Refused) {
    Restore(Taken);
  } else {
    Publish(Taken);
  }
  m_Taken.TakeEffect(Taken.Mail.Sender, Taken.Mail.Number);
  if (Taken.Refused) {
    if (Taken.Changes.empty() && !IsControl(Taken)) {
      m_Router.BringUpToDate(Taken.Mail.Sender->get_Key());  // what it has changed is not known
    }
    ++m_RefusedMails;
  } else {
    m_Quota.TakeEffect(Taken.Growth);
    ++m_TakenMails;
  }
  Taken.InEffect = true;
}

// Its sender gets back what stands.
void TCMailEffects::Restore(TSTakenMail const& Refused) {
  if (Refused.Changes.empty()) {
    return;
  }
  TSNorvMailContent const Standing =
      NewPropertyMail(PropertyProtocol::kPublishedChange,
                      m_Values.EncodeStanding(Refused.Mail.Sender, Refused.Changes));
  m_Trace.Print("restored", Refused.Mail.Sender, Standing, *m_Configuration);
  m_Service.Restore(Refused.Mail, Standing);
}

void TCMailEffects::Publish(TSTakenMail const& Taken) {
  TSNorvMailContent const Published = NewPropertyMail(
      PropertyProtocol::kPublishedChange,
      m_Values.EncodeChanges(Taken.Changes,
                             Taken.IsUsual ? Taken.Mail.Content.Body : TCPropertyValues::TCBody()));
  m_Values.Set(Taken.Changes);
  bool const Control = IsControl(Taken);
  if (Control ? Published.Body->get_Count() == 0 : Taken.Changes.empty()) {
    return;
  }
  m_Trace.Print("published", Taken.Mail.Sender, Published, *m_Configuration);
  if (!Control) {
    m_Service.Publish(Published, Taken.Mail);
  } else if (Taken.Mail.Content.SignalName == PropertyControl::kChangeIf.Name) {
    // Its sender waits to hear whether it was done, and has to know at which place of the order.
    m_Service.Publish(Published, Taken.Mail);
    m_Service.Restore(Taken.Mail, Published);
  } else {
    m_Service.Publish(Published, OwnMail());  // its sender does not hold what it has led to
  }
}

void TCMailEffects::TellRefusal(TSTakenMail& Taken) {
  if (Taken.Refused && Taken.HasSender() && !Taken.RefusalTold) {
    m_Service.Restore(Taken.Mail, m_RefusalMails.Tell(Taken.Mail.Sender, Taken.get_Refusal()));
    Taken.RefusalTold = true;
  }
}

TSNorvReceivedMail TCMailEffects::OwnMail() {
  TSNorvMailSender const Nobody;
  return {Nobody, 0, {Norv_ControlMail, 0, 0, TCNorvMailBody::Empty()}};
}

}  // namespace Property
