// SPDX-License-Identifier: MIT
// Puts a node under a parent that is declared elsewhere.
#pragma once

#include "CommonProperties/PropertyExport.h"

namespace Property {

class TCBasicPropertyID;

/// The declaration of a node's parent. A static object, complete when it is constructed; it keeps
/// nothing. Both nodes may be static objects that another file constructs later: the link then
/// counts from the moment when there are both.
class PROPERTY_EXPORT TCPropertyLink {
 public:
  /// Makes `Parent` the parent of `From`. Throws TCException when `From` has a parent, which stays;
  /// the constructor of `From` throws it when the link was declared before.
  TCPropertyLink(TCBasicPropertyID& From, TCBasicPropertyID const& Parent);
  TCPropertyLink(TCPropertyLink const&) = delete;
  TCPropertyLink& operator=(TCPropertyLink const&) = delete;
  virtual ~TCPropertyLink();

 private:
  friend class TCBasicPropertyID;

  /// Applies the links that were waiting for `Node`.
  static void Connect(TCBasicPropertyID& Node);
  /// Throws TCException when a link still waits for one of its nodes.
  static void RequireConstructed();
};

}  // namespace Property
