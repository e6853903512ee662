// SPDX-License-Identifier: MIT
// Declares that one node governs others, and answers which fields and choices those are.
#pragma once

#include <list>
#include <map>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

class TCBasicPropertyID;

/// One node of the answer: a property, a value and what lies below. Owns its entries.
/// Not synchronised.
class PROPERTY_EXPORT TCPropertyDependencyEntry {
 public:
  /// The root: no property, no value.
  TCPropertyDependencyEntry();
  TCPropertyDependencyEntry(Accessories::TCNullTypes<int> const& ID,
                            Accessories::TCNullTypes<std::string> const& Value, bool Flag);
  TCPropertyDependencyEntry(TCPropertyDependencyEntry const&) = default;
  /// From any entry, one of its own included. When memory runs out, the entry is unchanged.
  TCPropertyDependencyEntry& operator=(TCPropertyDependencyEntry const& Right);
  virtual ~TCPropertyDependencyEntry();

  /// Appends a copy of `Entry` with everything below it.
  void Add(TCPropertyDependencyEntry const& Entry);

  /// A field, or the field of a choice.
  Accessories::TCNullTypes<int> const& get_ID() const { return m_ID; }
  /// A field's value, or a choice's number.
  Accessories::TCNullTypes<std::string> const& get_Value() const { return m_Value; }
  /// Whether a field is governed in the same-value form (mode 1); true for every choice.
  bool get_Flag() const { return m_Flag; }
  std::list<TCPropertyDependencyEntry> const& get_Entries() const { return m_Entries; }

 private:
  Accessories::TCNullTypes<int> m_ID;
  Accessories::TCNullTypes<std::string> m_Value;
  bool m_Flag = false;
  std::list<TCPropertyDependencyEntry> m_Entries;
};

/// The declaration that a source node governs a target node, optionally with a value. A static
/// object. The first declaration of a source is registered and gathers the targets of all
/// declarations of that source; the others stay empty. Describes only: no value is changed.
/// Refers to the nodes and does not own them. Declarations are made under the schema's lock and
/// read without one.
class PROPERTY_EXPORT TCPropertyDependency {
 public:
  /// One governed node. Does not own it.
  class PROPERTY_EXPORT TCMember {
   public:
    TCMember(TCBasicPropertyID const* Target, Accessories::TCNullTypes<std::string> const& Value,
             int Flag);
    TCMember(TCMember const&) = default;
    /// When memory runs out, the member is unchanged.
    TCMember& operator=(TCMember const& Right);
    virtual ~TCMember();

    TCBasicPropertyID const* get_Target() const { return m_Target; }
    Accessories::TCNullTypes<std::string> const& get_Value() const { return m_Value; }
    int get_Flag() const { return m_Flag; }

   private:
    TCBasicPropertyID const* m_Target;
    Accessories::TCNullTypes<std::string> m_Value;
    int m_Flag;
  };

  TCPropertyDependency(TCBasicPropertyID const* Source, TCBasicPropertyID const* Target, int Mode);
  TCPropertyDependency(TCBasicPropertyID const* Source, TCBasicPropertyID const* Target,
                       Accessories::TCNullTypes<std::string> const& Value, int Mode);
  /// With the value "true" or "false".
  TCPropertyDependency(TCBasicPropertyID const* Source, TCBasicPropertyID const* Target, bool Value,
                       int Mode);
  /// With a C string, which would otherwise count as a truth value. A template, so that 0 does not
  /// count as a string. Throws std::logic_error for a null pointer; nothing is registered.
  template <class P, TIfText<P> = 0>
  TCPropertyDependency(TCBasicPropertyID const* Source, TCBasicPropertyID const* Target, P* Value,
                       int Mode)
      : TCPropertyDependency(Mode, Source, Target, Value) {}
  TCPropertyDependency(TCPropertyDependency const&) = delete;
  TCPropertyDependency& operator=(TCPropertyDependency const&) = delete;
  virtual ~TCPropertyDependency();

  /// The declaration registered for `Source`: this one when there was none.
  TCPropertyDependency* Insert(TCBasicPropertyID const* Source);
  /// A root with one entry for each governed field and those of FillChoices() for each governed
  /// choice. Throws TCException when a target is neither.
  TCPropertyDependencyEntry GetDependency() const;
  /// Adds to `Entry` the choice that `Member` governs or, with mode 0, every other choice of its
  /// field.
  void FillChoices(TCMember const& Member, TCPropertyDependencyEntry& Entry) const;

  std::list<TCMember> const& get_Members() const { return m_Members; }
  TCBasicPropertyID const* get_Source() const { return m_Source; }
  int get_Mode() const { return m_Mode; }

  /// The registered declarations. Null until the first one is constructed; never freed.
  static std::map<TCBasicPropertyID const*, TCPropertyDependency*>* m_List;

 private:
  TCPropertyDependency(int Mode, TCBasicPropertyID const* Source, TCBasicPropertyID const* Target,
                       char const* Value);

  [[maybe_unused]] TSOnePiece m_OnePiece = {};
  std::list<TCMember> m_Members;
  TCBasicPropertyID const* m_Source;
  int m_Mode;
};

}  // namespace Property
