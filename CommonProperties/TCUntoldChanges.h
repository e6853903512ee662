// SPDX-License-Identifier: MIT
// Changes that wait to be told, of each value no more than the last removal and the last change.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <utility>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

/// Bounded by the number of values. Not synchronised.
class TCUntoldChanges {
 public:
  using TCChanges = std::list<std::pair<TCCommonPropertyObject, TENotificationType>>;

  bool IsEmpty() const { return m_Changes.empty(); }
  std::size_t get_Count() const { return m_Changes.size(); }
  TCCommonPropertyObject const& get_Oldest() const { return m_Changes.front().first; }

  /// Moves the first of `From` here, in the place of what waits of its value and is outdated by it:
  /// a removal outdates all, a change the change before. When memory runs out, nothing is changed.
  void Keep(TCChanges& From);
  /// Moves the oldest, of which there must be one, to the end of `To`.
  void Take(TCChanges& To);

 private:
  /// Where the changes of one value are.
  struct TSPlaces {
    std::optional<TCChanges::iterator> Removal;
    std::optional<TCChanges::iterator> Change;  // behind the removal
  };

  static std::optional<TCChanges::iterator>& PlaceOf(TSPlaces& Places, TENotificationType Type);
  void Drop(std::optional<TCChanges::iterator>& Place);

  TCChanges m_Changes;  // oldest first
  std::map<TCPropertyKey, TSPlaces> m_Places;
};

}  // namespace Property
