// SPDX-License-Identifier: MIT
// Tells a lack of space from other failures of the database.
#pragma once

#include "Platform/Utility/TCException.h"

namespace Property {

/// What needs the space that the disk does not have.
enum class TEShortage {
  eFile,  ///< the database's file; room in the file helps
  eLog    ///< the transaction itself
};

/// A transaction was undone for lack of space.
class TCDatabaseFull : public TCException {
 public:
  TCDatabaseFull(TCException const& Reason, TEShortage Shortage)
      : TCException(Reason), m_Shortage(Shortage) {}

  TEShortage get_Shortage() const { return m_Shortage; }

 private:
  TEShortage m_Shortage;
};

}  // namespace Property
