// SPDX-License-Identifier: MIT
// A lookup's text is copied before the field registers, so that a failure leaves nothing behind.
#include "CommonProperties/TCPropertyDBLookup.h"

#include <utility>

using Accessories::TCNullTypes;

namespace Property {

TCPropertyDBLookup::TCPropertyDBLookup(std::string const& Name, int Number,
                                       std::string const& Description,
                                       TCNullTypes<int> const& Parent, int Flags, int LookupNumber,
                                       std::string const& LookupText, bool const& LookupFlag)
    : TCPropertyDBLookup(Flags, LookupNumber, std::string(LookupText), LookupFlag, Name, Number,
                         Description, Parent) {}

TCPropertyDBLookup::TCPropertyDBLookup(int Number, char const* Name, char const* Description,
                                       TCParentNumber Parent, int Flags, int LookupNumber,
                                       char const* LookupText, bool LookupFlag)
    : TCPropertyDBLookup(Flags, LookupNumber, std::string(LookupText), LookupFlag, Name, Number,
                         Description, Parent.get_Nullable()) {}

TCPropertyDBLookup::TCPropertyDBLookup(int Flags, int LookupNumber, std::string&& LookupText,
                                       bool LookupFlag, std::string const& Name, int Number,
                                       std::string const& Description,
                                       TCNullTypes<int> const& Parent)
    : TCPropertyID(Name, Number, Description, Parent, Flags, ""),
      m_LookupNumber(LookupNumber),
      m_LookupText(std::move(LookupText)),
      m_LookupFlag(LookupFlag) {
  // A choice makes a lookup a choice field, also one that was constructed before it.
  if (get_Choices().empty()) {
    set_Type(eDBLookupField);
  }
}

TCPropertyDBLookup::~TCPropertyDBLookup() = default;

}  // namespace Property
