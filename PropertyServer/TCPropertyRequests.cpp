// SPDX-License-Identifier: MIT
// Tells the requests for values apart.
#include "PropertyServer/TCPropertyRequests.h"

#include "PropertyServer/PropertyMails.h"

namespace Property {

bool TCPropertyRequests::IsKnown(TSNorvMailContent const& Request) {
  return IsPropertyMail(Request, PropertyProtocol::kRequestAll) ||
         IsPropertyMail(Request, PropertyProtocol::kRequestOne);
}

TSNorvMailContent TCPropertyRequests::Answer(TSNorvMailSender const& Sender,
                                             TSNorvMailContent const& Request) {
  if (IsPropertyMail(Request, PropertyProtocol::kRequestOne)) {
    return NewPropertyMail(PropertyProtocol::kOneValue,
                           m_Values.EncodeOne(Sender, m_Records.ReadPlace(Request)));
  }
  bool const Own = m_Records.ReadAction(Request) == PropertyProtocol::kActionOwn;
  return NewPropertyMail(PropertyProtocol::kAllValues,
                         Own ? m_Values.EncodeOwn(Sender) : m_Values.EncodeAll(Sender));
}

}  // namespace Property
