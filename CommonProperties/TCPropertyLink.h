// SPDX-License-Identifier: MIT
// Puts a node under a parent that is declared elsewhere.
#pragma once

#include "CommonProperties/PropertyExport.h"

namespace Property {

class TCBasicPropertyID;

/// The declaration of a node's parent. A static object, complete when it is constructed; it keeps
/// nothing.
class PROPERTY_EXPORT TCPropertyLink {
 public:
  /// Makes `Parent` the parent of `From`. Throws TCException when `From` has a parent, which stays.
  TCPropertyLink(TCBasicPropertyID& From, TCBasicPropertyID const& Parent);
  TCPropertyLink(TCPropertyLink const&) = delete;
  TCPropertyLink& operator=(TCPropertyLink const&) = delete;
  virtual ~TCPropertyLink();
};

}  // namespace Property
