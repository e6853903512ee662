// SPDX-License-Identifier: MIT
// Drops what is outdated while it waits.
#include "CommonProperties/TCUntoldChanges.h"

#include "CommonProperties/KeyOf.h"

namespace Property {

std::optional<TCUntoldChanges::TCChanges::iterator>& TCUntoldChanges::PlaceOf(
    TSPlaces& Places, TENotificationType Type) {
  return Type == eNotifyDeleted ? Places.Removal : Places.Change;
}

void TCUntoldChanges::Drop(std::optional<TCChanges::iterator>& Place) {
  if (Place) {
    m_Changes.erase(*Place);
    Place.reset();
  }
}

void TCUntoldChanges::Keep(TCChanges& From) {
  auto const New = From.begin();
  TSPlaces& Places = m_Places[KeyOf(New->first)];
  Drop(Places.Change);
  if (New->second == eNotifyDeleted) {
    Drop(Places.Removal);
  }
  m_Changes.splice(m_Changes.end(), From, New);
  PlaceOf(Places, New->second) = New;
}

void TCUntoldChanges::Take(TCChanges& To) {
  auto const Oldest = m_Changes.begin();
  auto const Entry = m_Places.find(KeyOf(Oldest->first));
  PlaceOf(Entry->second, Oldest->second).reset();
  if (!Entry->second.Removal && !Entry->second.Change) {
    m_Places.erase(Entry);
  }
  To.splice(To.end(), m_Changes, Oldest);
}

}  // namespace Property
