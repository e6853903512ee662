// SPDX-License-Identifier: MIT
// The functions through which clients use the store; GetProperty stands with the store's reads.
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/SystemLog.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyChoiceID;
using Property::TCPropertyCollection;
using Property::TCPropertyID;

TCCommonPropertyObject GetPropertyNoException(TCPropertyID const& ID, TCRecordID const& Link) {
  return TCPropertyCollection::get()->GetProperty(ID, true, Link, std::string());
}

TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID, std::string const& Data,
                                          TCRecordID const& Link, std::string const& MAC) {
  return TCPropertyCollection::get()->SetProperty(ID, Link, Data, MAC);
}

TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID, int Data, TCRecordID const& Link,
                                          std::string const& MAC) {
  return TCPropertyCollection::get()->SetProperty(ID, Link, Data, MAC);
}

TCCommonPropertyObject const& SetProperty(TCPropertyID const& ID, TCPropertyChoiceID const& Choice,
                                          TCRecordID const& Link, std::string const& MAC) {
  return TCPropertyCollection::get()->SetProperty(ID, Link, Choice, MAC);
}

TCCommonPropertyObject const& SetProperty(TCCommonPropertyObject const& Object,
                                          std::string const& Data, std::string const& MAC) {
  return SetProperty(Object.get_ID(), Data, Object.get_Link(), MAC);
}

TCCommonPropertyObject const& SetProperty(TCCommonPropertyObject const& Object, int Data,
                                          std::string const& MAC) {
  return SetProperty(Object.get_ID(), Data, Object.get_Link(), MAC);
}

TCCommonPropertyObject const& SetProperty(TCCommonPropertyObject const& Object,
                                          TCPropertyChoiceID const& Choice,
                                          std::string const& MAC) {
  return SetProperty(Object.get_ID(), Choice, Object.get_Link(), MAC);
}

TCCommonPropertyObject const& SetPropertyChoiceID(TCPropertyID const& ID, int ChoiceNumber,
                                                  TCRecordID const& Link) {
  static TCCommonPropertyObject const Tmp;
  TCPropertyChoiceID const* const Choice = TCPropertyChoiceID::Find(ChoiceNumber);
  if (Choice == nullptr) {
    SyslogWarning("Invalid Property choice [%d] assigned to %s", ChoiceNumber,
                  ID.Viewname(false).c_str());
    return Tmp;
  }
  return SetProperty(ID, *Choice, Link, std::string());
}

void SetPropertyValidation(TCPropertyID const& ID, void (*Function)(TCCommonPropertyObject&)) {
  TCPropertyCollection::get()->AssignValidator(ID, Function);
}
