// SPDX-License-Identifier: MIT
// Lets a device variant or a client adjust a node without editing the schema that declares it.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

class TCBasicPropertyID;
class TCPropertyChoice;
class TCPropertyID;

/// Adjusts one node, once, while the schema is initialised: a subclass says how in DoInitialize().
/// A static object; refers to the node and does not own it. Not synchronised: the initialisation
/// runs under the schema's lock.
class PROPERTY_EXPORT TCPropertyInitOverride {
 public:
  /// Attaches itself to the node in place of an earlier override; to a static node that another
  /// file constructs later as soon as that is constructed. Throws TCException when `BasicProperty`
  /// is null.
  explicit TCPropertyInitOverride(TCBasicPropertyID* BasicProperty);
  TCPropertyInitOverride(TCPropertyInitOverride const&) = delete;
  TCPropertyInitOverride& operator=(TCPropertyInitOverride const&) = delete;
  virtual ~TCPropertyInitOverride();

  virtual void DoInitialize() = 0;

  /// Runs DoInitialize() unless it has run, or thrown, before. Throws TCException when
  /// `BasicProperty` is another node; the override can then still be applied.
  void Initialize(TCBasicPropertyID* BasicProperty);

  /// The node as a field. It, and every operation below but SetShow, throws TCException when the
  /// node is no field.
  TCPropertyID* AsProperty();

  Accessories::TCNullTypes<std::string>& GetDefaultValueRef();
  Accessories::TCNullTypes<std::string> GetDefaultValue();
  int& GetFlagsRef();
  int GetFlags();
  /// Does not change the field's type.
  void SetFlags(int const& Flags);
  void SetShow(bool const& Show);

  // Each throws TCException when the field's flags do not include the value's type; the default is
  // unchanged.
  void SetDefaultValue(bool const& Value);
  void SetDefaultValue(int const& Value);
  void SetDefaultValue(std::string const& Value);
  /// Throws std::logic_error when `Value` is null.
  void SetDefaultValue(char const* Value);

  /// Marks the field's choice with that number as default and no other one. Throws TCException when
  /// there is none; no choice is marked then.
  void SetDefaultChoice(int const& Number);
  void SetDefaultChoice(TCPropertyChoice const* Choice);

 private:
  friend class TCBasicPropertyID;

  /// Attaches the last override that was waiting for `Node`.
  static void Attach(TCBasicPropertyID& Node) noexcept;
  /// Throws TCException when an override still waits for its node.
  static void RequireConstructed();

  [[maybe_unused]] TSOnePiece m_OnePiece = {};
  TCBasicPropertyID* m_Property;
  bool m_Applied = false;
};

}  // namespace Property
