// SPDX-License-Identifier: MIT
// A schema node, the registry of all nodes by number, and the pass that completes the schema.
#pragma once

#include <map>
#include <set>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

class TCPropertyInitOverride;

enum TEPropertyType : int {
  eUndefinedField = -1,  ///< a field whose value type is not fixed yet
  eContainer = 0,        ///< the top of a tree: one class of objects
  eGroup,                ///< a group of fields inside a container
  eComboField,           ///< a field whose value is one of a list of choices
  eComboChoice,          ///< one choice of such a field
  eIntegerField,
  eStringField,
  eBooleanField,
  eDBLookupField  ///< a field whose allowed values come from a database table
};

// A field's default hides the virtual one on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

/// One declaration of the schema: a name and a number, a kind, a parent and a class id.
///
/// Nodes are static objects of the schema's source files. A node's constructor enters it into the
/// process's registry, and it stays there: a registered node lives as long as the process. A
/// constructor that throws leaves nothing registered.
///
/// m_CSection is the one lock of the schema. It guards the registries of nodes and references and
/// the fields' lists of choices, and is held while Initialize() runs. Nodes are written during
/// static construction and by Initialize() only; after that they are read without a lock.
class PROPERTY_EXPORT TCBasicPropertyID {
 public:
  /// An empty `Description` means the name. Throws TCException when `Number` is taken; the node
  /// that has it stays.
  TCBasicPropertyID(std::string const& Name, int Number, TEPropertyType Type,
                    std::string const& Description, Accessories::TCNullTypes<int> const& Parent);
  /// The same for a node whose type is decided later; until then it is eUndefinedField.
  TCBasicPropertyID(std::string const& Name, int Number, std::string const& Description,
                    Accessories::TCNullTypes<int> const& Parent);
  TCBasicPropertyID(TCBasicPropertyID const&) = delete;
  TCBasicPropertyID& operator=(TCBasicPropertyID const&) = delete;
  virtual ~TCBasicPropertyID();

  /// What messages call this node. The flag has no effect.
  virtual std::string Viewname(bool Flag) const;
  /// A choice answers its number, every other node null; see TCPropertyID for a field's default.
  virtual Accessories::TCNullTypes<std::string> GetDefaultValue();
  /// The place among the nodes with the same class id and parent, from 0, once initialised.
  virtual int GetOrder() const;
  virtual bool GetShow() const;
  /// Does nothing for a node that is always visible.
  virtual void SetShow(bool Show);
  /// Called by Initialize(), once. Takes the class id over from the parents and applies the
  /// override. Passes on what the override throws.
  virtual void DoInitialize();

  /// Null when no node has `Number`.
  static TCBasicPropertyID* Find(int Number);
  /// Whether the constructor of `Node` has run: a static object of another file may still be bare
  /// memory. Nothing but its address may be used then.
  static bool IsConstructed(TCBasicPropertyID const& Node);

  /// Completes the schema: applies the show controls, lets every node initialise itself in the
  /// order of construction, numbers siblings, collects the class ids and checks the choice
  /// references. Once done, and inside a pass that is under way, a call does nothing.
  /// Passes on what a node, an override, a show control or a reference throws, and throws
  /// TCException when something was declared about a node that is not constructed; the schema then
  /// counts as not initialised, and nodes already passed keep what was set.
  static void Initialize();

  /// By number.
  bool operator<(TCBasicPropertyID const& Right) const { return m_Number < Right.m_Number; }

  /// Whether the type is one that carries a value.
  bool IsPropertyField() const;
  std::string get_Typename() const;
  /// The own class id, else that of the nearest ancestor that has one, else null.
  Accessories::TCNullTypes<int> get_classid() const;

  TEPropertyType get_Type() const { return m_Type; }
  void set_Type(TEPropertyType Type) { m_Type = Type; }
  /// Replaces an earlier override, which then never runs. The override is not owned.
  void SetInitOverride(TCPropertyInitOverride* Override) { m_InitOverride = Override; }

  std::string const& get_Name() const { return m_Name; }
  int get_Number() const { return m_Number; }
  Accessories::TCNullTypes<int> const& get_Parent() const { return m_Parent; }
  std::string const& get_Description() const { return m_Description; }
  /// The class id as it stands: an inherited one is there once initialised.
  Accessories::TCNullTypes<int> const& get_ClassID() const { return m_ClassID; }

  /// All nodes by number. Null until the first node is constructed; never freed, owns no node.
  static std::map<int, TCBasicPropertyID*>* m_List;
  /// The class ids of the initialised nodes, null among them. There from the first node on, and
  /// never destroyed.
  static std::set<Accessories::TCNullTypes<int>>& m_Classlist;
  /// True once Initialize() has completed.
  static bool m_Initialized;
  static TCCriticalSection m_CSection;

 protected:
  void set_ClassID(int ClassID) { m_ClassID = ClassID; }
  void set_Parent(int Parent) { m_Parent = Parent; }
  /// Takes this node out of the registry, for a constructor that fails after the base's.
  void Unregister() noexcept;

 private:
  friend class TCPropertyLink;  // sets the parent

  void Register();
  static void RequireConstructed();
  static void InitializeNodes();

  [[maybe_unused]] TSOnePiece m_OnePiece = {};
  TCPropertyInitOverride* m_InitOverride = nullptr;  // not owned
  Accessories::TCNullTypes<int> m_ClassID;
  int m_Order = 0;
  int m_Number;
  TEPropertyType m_Type;
  Accessories::TCNullTypes<int> m_Parent;
  std::string m_Name;
  std::string m_Description;
};

#pragma GCC diagnostic pop

}  // namespace Property
