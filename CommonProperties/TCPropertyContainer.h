// SPDX-License-Identifier: MIT
// The top of a tree of properties, and what is fixed for the classes of objects on the device.
#pragma once

#include <map>
#include <set>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

/// A container: one class of objects, whose class id every group and field under it takes over.
/// Its statics answer which table stores the objects of a class and whether a class is linked to
/// the device; they may be called on every thread.
class PROPERTY_EXPORT TCPropertyContainer : public TCBasicPropertyID {
 public:
  /// Throws TCException when `Number` is taken.
  TCPropertyContainer(std::string const& Name, int Number, std::string const& Description,
                      int ClassID);
  /// The same with C strings; a null pointer throws std::logic_error and registers nothing.
  template <class N, class D, TIfText<N, D> = 0>
  TCPropertyContainer(N* Name, int Number, D* Description, int ClassID)
      : TCPropertyContainer(Number, Name, Description, ClassID) {}
  ~TCPropertyContainer() override;

  /// The table that stores objects of the class; null for a class that no table stores. Throws
  /// TCException for a class without a relation.
  static Accessories::TCNullTypes<int> GetTableID(int ClassID);
  /// Whether objects of the class belong to the device. Throws TCException for a class without an
  /// answer. Class 0 has one but no table; class 9 is linked although no table stores it.
  static bool IsOrvaneLinked(int ClassID);
  /// The table of the node's class. A node without class id counts as class 0, which throws.
  static Accessories::TCNullTypes<int> GetTableIDForObject(TCBasicPropertyID const& Object);
  /// The classes of the schema that `TableID` stores, those that no table stores for null; empty
  /// for a table without any. The reference stays valid. Meant for an initialised schema: before
  /// that there are no classes. The first call that finds classes throws TCException for one
  /// without a relation; only the classes below that one are ever answered then.
  static std::set<Accessories::TCNullTypes<int>> const& GetClassListForTableID(
      Accessories::TCNullTypes<int> const& TableID);

  /// What GetClassListForTableID has collected. Never destroyed.
  static std::map<Accessories::TCNullTypes<int>, std::set<Accessories::TCNullTypes<int>>>&
      m_TableIDClassList;

 private:
  TCPropertyContainer(int Number, char const* Name, char const* Description, int ClassID);
};

}  // namespace Property
