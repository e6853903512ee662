// SPDX-License-Identifier: MIT
// Takes and gives back places.
#include "PropertyConsole/TCStreamPlaces.h"

#include <utility>

namespace Property {

TCStreamPlace::TCStreamPlace(std::shared_ptr<TCStreamPlaces> Places, std::string User)
    : m_Places(std::move(Places)), m_User(std::move(User)) {}

TCStreamPlace::~TCStreamPlace() {
  m_Places->GiveBack(m_User);
}

std::shared_ptr<TCStreamPlace const> TCStreamPlaces::Take(std::string const& User) {
  {
    TCMutexLock const Lock(m_Lock);
    auto const Found = m_OfUsers.find(User);
    std::size_t const OfUser = Found != m_OfUsers.end() ? Found->second : 0;
    if (m_Count >= m_Most || OfUser >= m_MostOfUser) {
      return nullptr;
    }
    ++m_Count;
    ++m_OfUsers[User];
  }
  return std::make_shared<TCStreamPlace const>(shared_from_this(), User);
}

std::size_t TCStreamPlaces::get_Count() {
  TCMutexLock const Lock(m_Lock);
  return m_Count;
}

void TCStreamPlaces::GiveBack(std::string const& User) {
  TCMutexLock const Lock(m_Lock);
  --m_Count;
  auto const Found = m_OfUsers.find(User);
  if (--Found->second == 0) {
    m_OfUsers.erase(Found);
  }
}

}  // namespace Property
