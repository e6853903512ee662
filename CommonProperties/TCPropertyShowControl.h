// SPDX-License-Identifier: MIT
// Fixes the visibility of a node when the schema is initialised.
#pragma once

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

class TCBasicPropertyID;

/// Sets one node's visibility. A static object: the chain of all controls is walked once, the
/// newest first, so that of several for one node the first declared wins.
/// Refers to the node and does not own it. The chain is changed and walked under the schema's lock.
class PROPERTY_EXPORT TCPropertyShowControl {
 public:
  /// Without a value: for a subclass that decides in DoInitialize().
  explicit TCPropertyShowControl(TCBasicPropertyID* Node);
  TCPropertyShowControl(TCBasicPropertyID* Node, bool Show);
  TCPropertyShowControl(TCPropertyShowControl const&) = delete;
  TCPropertyShowControl& operator=(TCPropertyShowControl const&) = delete;
  virtual ~TCPropertyShowControl();

  /// Applies the value. Throws TCException when there is none; the node is unchanged.
  virtual void DoInitialize();

  /// Throws TCException when the node is a static object that is not constructed yet.
  void SetShow(bool Show);

  /// Applies every control, for the schema's initialisation. Passes on what a control throws.
  static void Initialize();

 private:
  void Chain();

  static TCPropertyShowControl* m_First;

  [[maybe_unused]] TSOnePiece m_OnePiece = {};
  TCPropertyShowControl* m_Next = nullptr;
  TCBasicPropertyID* m_Property;
  Accessories::TCNullTypes<bool> m_Show;
};

}  // namespace Property
