// SPDX-License-Identifier: MIT
// Keeps what threads have open, and ends it with them.
#include "Bindings/C/TCThreadPart.h"

#include <cstddef>

#include "CommonProperties/TCReadGuard.h"

namespace Property::C {

namespace {

// Without destructors: good in a thread's last handlers, too, where all of it has ended.
thread_local TCThreadTransaction* t_Open = nullptr;
thread_local TCReadGuard* t_Guard = nullptr;
thread_local std::size_t t_GuardDepth = 0;

void LetGo() {
  TCThreadTransaction* const Transaction = t_Open;
  t_Open = nullptr;
  if (Transaction != nullptr) {
    Transaction->End();
    Transaction->Release();
  }
}

/// Ends with the thread.
struct TSThreadEnd {
  ~TSThreadEnd() {
    LetGo();
    delete t_Guard;
    t_Guard = nullptr;
    t_GuardDepth = 0;
  }
};

void WatchThreadEnd() {
  static thread_local TSThreadEnd const AtThreadEnd;
  static_cast<void>(AtThreadEnd);
}

}  // namespace

TCThreadTransaction& TCThreadPart::Begin() {
  auto* const Transaction = new TCThreadTransaction;
  WatchThreadEnd();
  t_Open = Transaction;
  return *Transaction;
}

void TCThreadPart::End(TCThreadTransaction& Transaction) {
  if (t_Open == &Transaction) {
    LetGo();
  }
}

void TCThreadPart::EndAbandoned() {
  if (t_Open != nullptr && t_Open->IsAbandoned()) {
    LetGo();
  }
}

void TCThreadPart::EnterGuard() {
  if (t_GuardDepth == 0) {
    WatchThreadEnd();
    t_Guard = new TCReadGuard;
  }
  ++t_GuardDepth;
}

bool TCThreadPart::LeaveGuard() {
  if (t_GuardDepth == 0) {
    return false;
  }
  if (--t_GuardDepth == 0) {
    delete t_Guard;
    t_Guard = nullptr;
  }
  return true;
}

}  // namespace Property::C
