// SPDX-License-Identifier: MIT
// How many streams there may be.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "Platform/Utility/TCMutex.h"

namespace Property {

class TCStreamPlaces;

/// A place that is taken while this lives.
class TCStreamPlace {
 public:
  TCStreamPlace(std::shared_ptr<TCStreamPlaces> Places, std::string User);
  TCStreamPlace(TCStreamPlace const&) = delete;
  TCStreamPlace& operator=(TCStreamPlace const&) = delete;
  ~TCStreamPlace();

 private:
  std::shared_ptr<TCStreamPlaces> const m_Places;
  std::string const m_User;
};

/// Counts places, in all and of each user. Synchronised.
class TCStreamPlaces : public std::enable_shared_from_this<TCStreamPlaces> {
 public:
  TCStreamPlaces(std::size_t Most, std::size_t MostOfUser)
      : m_Most(Most), m_MostOfUser(MostOfUser) {}

  /// Null when there is none left.
  std::shared_ptr<TCStreamPlace const> Take(std::string const& User);
  std::size_t get_Count();

 private:
  friend class TCStreamPlace;

  void GiveBack(std::string const& User);

  std::size_t const m_Most;
  std::size_t const m_MostOfUser;
  TCMutex m_Lock;
  std::size_t m_Count PROPERTY_GUARDED_BY(m_Lock) = 0;
  std::map<std::string, std::size_t> m_OfUsers PROPERTY_GUARDED_BY(m_Lock);
};

}  // namespace Property
