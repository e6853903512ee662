// SPDX-License-Identifier: MIT
// Takes the locks of store, schema and notifiers before a fork, and leaves them in both processes.
#include "CommonProperties/Store/TCStoreForks.h"

#include <new>

#include "CommonProperties/Store/TCProcessState.h"
#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/ForkHandlers.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCUtilities.h"

namespace Property {

namespace {

constexpr int kForkTryMilliseconds = 10;

int g_ForkingThread = 0;              // guarded by the store's lock
thread_local bool t_HasStore = true;  // whether the fork under way on this thread has that lock

}  // namespace

void TCStoreForks::Watch() noexcept {
  SetForkHandlers(TEForkPlace::eStore, {Lock, UnlockInParent, UnlockInChild});
}

// Who waits without limit may wait for what this fork is to start. Such a wait may also begin after
// the other thread has entered, hence the attempts.
bool TCStoreForks::Enter() {
  while (!TCPropertyCollection::m_CSection.Enter(kForkTryMilliseconds)) {
    if (TCPropertyCollection::m_LongWait) {
      return false;
    }
  }
  return true;
}

void TCStoreForks::Lock() {
  t_HasStore = Enter();
  TCBasicPropertyID::m_CSection.Enter();
  if (!t_HasStore) {
    return;
  }
  g_ForkingThread = TCUtilities::GetCurrentThreadID();
  if (TCPropertyCollection::m_Notifiers != nullptr) {
    for (TCCommonPropertyChangeNotifier* const Notifier : *TCPropertyCollection::m_Notifiers) {
      Notifier->m_Lock.Enter();
    }
  }
}

void TCStoreForks::UnlockInParent() {
  if (t_HasStore && TCPropertyCollection::m_Notifiers != nullptr) {
    for (TCCommonPropertyChangeNotifier* const Notifier : *TCPropertyCollection::m_Notifiers) {
      Notifier->m_Lock.Leave();
    }
  }
  TCBasicPropertyID::m_CSection.Leave();
  if (t_HasStore) {
    TCPropertyCollection::m_CSection.Leave();
  }
}

void TCStoreForks::UnlockInChild() {
  if (!t_HasStore) {
    DropInChild();
    return;
  }
  TCProcessState::Get().m_Transactions.KeepInChild(g_ForkingThread);
  if (TCPropertyCollection::m_Notifiers != nullptr) {
    for (TCCommonPropertyChangeNotifier* const Notifier : *TCPropertyCollection::m_Notifiers) {
      Notifier->m_Lock.LeaveInChild();
    }
  }
  TCBasicPropertyID::m_CSection.LeaveInChild();
  TCPropertyCollection::m_CSection.LeaveInChild();
}

// The lock is held by a thread that does not exist here, and what it guards was the parent's to
// finish.
void TCStoreForks::DropInChild() {
  TCBasicPropertyID::m_CSection.LeaveInChild();
  new (&TCPropertyCollection::m_CSection) TCCriticalSection;
  TCPropertyCollection::m_Instance = nullptr;
  TCPropertyCollection::m_Notifiers = nullptr;
  TCPropertyCollection::m_LongWait = false;
}

}  // namespace Property
