// SPDX-License-Identifier: MIT
// Decides which texts the history may have, and sees to it that the others go.
#include "PropertyServer/TCSecretTexts.h"

#include <exception>
#include <iterator>
#include <new>
#include <tuple>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"
#include "PropertyServer/TCDatabaseFull.h"

namespace Property {

TCSecretTexts::TCSecretTexts(TCPropertyDatabase& Database, std::chrono::seconds Pause)
    : m_Database(Database), m_Pause(Pause), m_OnceSecret(Database.OnceSecret()) {
  if (!m_OnceSecret.empty()) {
    m_Database.VisitNewest([this](TCPropertyPlace const& Place, bool HasText) {
      if (HasText && Contains(m_OnceSecret, std::get<int>(Place))) {
        m_Shown.insert(Place);
      }
    });
  }
}

// Once they are hidden nothing may fail: the database takes them for secret from then on.
void TCSecretTexts::SetSecrets(std::vector<TSPropertyRange> const& Secrets) {
  std::vector<TSPropertyRange> Now = Secrets;
  std::vector<TSPropertyRange> Once = Unite(m_OnceSecret, Secrets);
  while (!Hide(Secrets)) {
  }
  m_Secrets.swap(Now);
  m_OnceSecret.swap(Once);
  for (auto Place = m_Shown.begin(); Place != m_Shown.end();) {
    Place = Contains(Secrets, std::get<int>(*Place)) ? m_Shown.erase(Place) : std::next(Place);
  }
  Erase();
}

// False when it has to be tried again, with less history.
bool TCSecretTexts::Hide(std::vector<TSPropertyRange> const& Secrets) {
  try {
    m_Database.HideTexts(Secrets);
    return true;
  } catch (TCDatabaseFull const&) {
    if (!m_Database.GiveUpHistory()) {
      throw;
    }
  }
  LogIfPossible([] {
    SyslogWarning("The disk is full: older history was given up to take secret texts out of it");
  });
  return false;
}

bool TCSecretTexts::MayShow(TSPropertyRecord const& Change) const {
  return !Contains(m_OnceSecret, Change.Number) || m_Shown.count(PlaceOf(Change)) > 0;
}

// A place that is not noted for lack of memory has its text hidden once more.
void TCSecretTexts::OnSet(std::vector<TSPropertyRecord> const& Changes) {
  if (m_OnceSecret.empty()) {
    return;
  }
  try {
    for (TSPropertyRecord const& Change : Changes) {
      if (Contains(m_OnceSecret, Change.Number) && !Contains(m_Secrets, Change.Number)) {
        m_Shown.insert(PlaceOf(Change));
      }
    }
  } catch (std::bad_alloc const&) {
    return;
  }
}

void TCSecretTexts::EraseAgain() {
  if (m_EraseLater && std::chrono::steady_clock::now() >= m_NextErasing) {
    Erase();
  }
}

void TCSecretTexts::Erase() {
  try {
    if (m_Database.HasTextsToErase()) {
      m_Database.EraseHiddenTexts();
      m_Database.ReserveLog();
    }
    m_EraseLater = false;
  } catch (std::exception const& Failure) {
    if (!m_EraseLater) {
      LogIfPossible([&Failure] {
        SyslogWarning(
            "Texts of properties that became secret are out of the history, but may still be in "
            "unused parts of the file and its log; erasing them is tried again: %s",
            Failure.what());
      });
    }
    m_EraseLater = true;
    m_NextErasing = std::chrono::steady_clock::now() + m_Pause;
  }
}

}  // namespace Property
