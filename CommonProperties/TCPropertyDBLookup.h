// SPDX-License-Identifier: MIT
// A field whose allowed values come from a database table.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

/// A field with a string value and the empty text as default. What the three lookup values mean is
/// up to the code that fills the lookup.
class PROPERTY_EXPORT TCPropertyDBLookup : public TCPropertyID {
 public:
  /// Throws TCException when `Number` is taken.
  TCPropertyDBLookup(std::string const& Name, int Number, std::string const& Description,
                     Accessories::TCNullTypes<int> const& Parent, int Flags, int LookupNumber,
                     std::string const& LookupText, bool const& LookupFlag);
  /// The same with C strings; a null pointer throws std::logic_error and registers nothing.
  template <class N, class D, class T, class P = TCParentNumber, TIfNode<N, D, P> = 0,
            TIfText<T> = 0>
  TCPropertyDBLookup(N* Name, int Number, D* Description, P Parent, int Flags, int LookupNumber,
                     T* LookupText, bool LookupFlag)
      : TCPropertyDBLookup(Number, Name, Description, Parent, Flags, LookupNumber, LookupText,
                           LookupFlag) {}
  ~TCPropertyDBLookup() override;

  int get_LookupNumber() const { return m_LookupNumber; }
  std::string const& get_LookupText() const { return m_LookupText; }
  bool get_LookupFlag() const { return m_LookupFlag; }

 private:
  TCPropertyDBLookup(int Number, char const* Name, char const* Description, TCParentNumber Parent,
                     int Flags, int LookupNumber, char const* LookupText, bool LookupFlag);
  TCPropertyDBLookup(int Flags, int LookupNumber, std::string&& LookupText, bool LookupFlag,
                     std::string const& Name, int Number, std::string const& Description,
                     Accessories::TCNullTypes<int> const& Parent);

  int m_LookupNumber;
  std::string m_LookupText;
  bool m_LookupFlag;
};

}  // namespace Property
