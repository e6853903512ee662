// SPDX-License-Identifier: MIT
// Pending changes of one thread; a commit applies them together.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

/// Gathers the changes that the thread which began it makes to the store. Meanwhile that thread
/// reads its own pending values and every other thread the stored ones.
///
/// Owns its pending values; the store only refers to an open transaction, one a thread.
/// Belongs to one thread: begin, commit, roll back and destroy it there. A thread that ends without
/// doing so is forgotten by the store.
class PROPERTY_EXPORT TCPropertyTransaction {
 public:
  /// Not open yet: see Begin.
  TCPropertyTransaction();
  TCPropertyTransaction(TCPropertyTransaction const&) = delete;
  TCPropertyTransaction& operator=(TCPropertyTransaction const&) = delete;
  /// Rolls back.
  virtual ~TCPropertyTransaction();

  /// Opens this for the calling thread. When the thread has one open already, that one goes on
  /// taking the changes, though this one counts as active too.
  void Begin();

  /// Closes the calling thread's transaction and hands these changes to the store. They stay here
  /// until Reset, Rollback or destruction. Throws TCException when there is no store.
  void Commit();

  /// Drops the changes, and closes the calling thread's transaction when this is active.
  void Rollback();

  /// Drops the changes, and with them what Changed and Find answered; stays open when it is.
  void Reset();

  /// Records the change of one value and returns the value as changed. The first change of a key
  /// is the one that is kept: a later one is answered but not recorded.
  /// The object lives until Reset. Passes on what taking `Value` in throws; nothing is recorded.
  TCCommonPropertyObject* Changed(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                  std::string const& Value, std::string const& MAC);
  TCCommonPropertyObject* Changed(TCPropertyKey const& Key, std::string const& Value);

  /// The pending value of a key, or null.
  TCCommonPropertyObject* Find(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                               std::string const& MAC) const;
  TCCommonPropertyObject* Find(TCPropertyKey const& Key) const;

  std::map<TCPropertyKey, TCCommonPropertyObject*> const& get_Changes() const { return m_Changes; }
  /// True from Begin until the end of the transaction.
  bool get_Active() const { return m_Active; }

 private:
  // Sets m_Active while it enters a transaction for a thread or removes it.
  friend class TCPropertyCollection;

  std::map<TCPropertyKey, TCCommonPropertyObject*> m_Changes;  // owns the objects
  bool m_Active;
  // Answers of Changed for keys that had a change already.
  std::list<std::unique_ptr<TCCommonPropertyObject>> m_Unrecorded;
};

}  // namespace Property
