// SPDX-License-Identifier: MIT
// Where a test server's files and socket lie, and how the process finds it there.
#pragma once

#include <optional>
#include <string>

#include "Platform/Utility/TCMACAddress.h"

namespace Property::Testing {

/// A folder of the process in memory, where the system has such a place. The environment names the
/// socket in it, and the process has the device, until this is destroyed. There is one at a time;
/// the next one has the same folder, so that the process's store finds it.
class TCTestPlace {
 public:
  /// Throws TCException when there is one, a store that was made without one, or no folder.
  explicit TCTestPlace(TCMACAddress const& Device);
  TCTestPlace(TCTestPlace const&) = delete;
  TCTestPlace& operator=(TCTestPlace const&) = delete;
  ~TCTestPlace();

  std::string const& get_Address() const { return m_Address; }
  std::string get_Database() const { return m_Folder + "/values.db"; }
  /// Removes the database; there is none open.
  void RemoveDatabase() const;

 private:
  std::string m_Folder;
  std::string m_Address;
  std::optional<std::string> m_FormerAddress;  // in the environment
};

}  // namespace Property::Testing
