// SPDX-License-Identifier: MIT
// Mails of the property class, told apart and made.
#pragma once

#include <memory>
#include <utility>

#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {

inline bool IsPropertyMail(TSNorvMailContent const& Content, PropertyProtocol::TSSignal Signal) {
  return Content.MailClass == Norv_PropertyMail && Content.SignalType == Signal.Type &&
         Content.SignalName == Signal.Name;
}

inline TSNorvMailContent NewPropertyMail(PropertyProtocol::TSSignal Signal,
                                         std::shared_ptr<TCNorvMailBody const> Body) {
  return {Norv_PropertyMail, Signal.Type, Signal.Name, std::move(Body)};
}

}  // namespace Property
