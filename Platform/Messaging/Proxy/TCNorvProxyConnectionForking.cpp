// SPDX-License-Identifier: MIT
// Leaves a connection to the parent when the process forks.
#include <unistd.h>

#include <new>

#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Proxy/TCNorvProxyConnectionForking";

}  // namespace

void TCNorvProxyConnection::PrepareFork() {
  m_Mutex.Enter();
  m_OwnChanges.Lock();
}

void TCNorvProxyConnection::EndForkInParent() {
  m_OwnChanges.Unlock();
  m_Mutex.Leave();
}

// The connection and the other threads are the parent's. What belongs to them is not touched: what
// lies on their stacks, what they wait in. The socket is closed, or the router would take the
// parent for alive while the child is.
void TCNorvProxyConnection::EndForkInChild() {
  m_OwnChanges.Unlock();
  m_IsInherited = true;
  m_Closing = true;
  m_ThreadEnded = true;
  m_IsServed = false;
  m_HeldUntil.reset();
  m_Shortage = TSShortage();
  m_Exchanges.clear();
  m_Inbox.Clear();
  m_Events.clear();
  m_Link.Close();
  m_Wake = TCFileDescriptor();
  new (&m_Changed) std::condition_variable;  // the old one counts on threads that do not exist
  new (&m_Thread) std::thread;
  m_Mutex.Leave();
}

void TCNorvProxyConnection::RequireOwnProcess() const {
  if (m_IsInherited) {
    throw TCException(kSource, __LINE__)
        .Format(
            "the proxy and its store belong to process %d, which this one was forked from: here "
            "values can be read, but nothing is sent, asked for or received",
            static_cast<int>(m_Process));
  }
}
