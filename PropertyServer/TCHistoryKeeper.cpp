// SPDX-License-Identifier: MIT
// Tries with less and less history until the changes fit.
#include "PropertyServer/TCHistoryKeeper.h"

#include <algorithm>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace Property {
namespace {

constexpr std::chrono::minutes kShortTime{10};

}  // namespace

void TCHistoryKeeper::Store(TCWrite const& Write) {
  if (Fits(Write)) {
    return;
  }
  m_Database.EmptyLog();
  while (!Fits(Write)) {
    if (m_Shortage == TEShortage::eLog || !MakeRoom()) {  // what there is takes no room in the log
      Write(std::nullopt);
      return;
    }
  }
}

bool TCHistoryKeeper::Fits(TCWrite const& Write) {
  try {
    Write(get_Limits());
    return true;
  } catch (TCDatabaseFull const& Full) {
    m_Shortage = Full.get_Shortage();
    return false;
  }
}

bool TCHistoryKeeper::MakeRoom() {
  if (!m_Database.GiveUpHistory()) {
    return false;
  }
  auto const Now = std::chrono::steady_clock::now();
  m_ShortBytes = m_Database.MeasureHistory();
  if (Now >= m_ShortUntil) {
    LogIfPossible([] {
      SyslogWarning(
          "The disk is full: older history was given up to store changes; make room on the disk, "
          "or keep less history (bytes in [history])");
    });
  }
  m_ShortUntil = Now + kShortTime;
  return true;
}

TSHistoryLimits TCHistoryKeeper::get_Limits() const {
  TSHistoryLimits Limits = m_Limits;
  if (std::chrono::steady_clock::now() < m_ShortUntil) {
    Limits.Bytes = std::min(Limits.Bytes, m_ShortBytes);
  }
  return Limits;
}

}  // namespace Property
