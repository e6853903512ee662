// SPDX-License-Identifier: MIT
// Hands the exit and the forks of the process to each of its connections.
#include "Platform/Messaging/Proxy/TCLiveConnections.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <vector>

#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"
#include "Platform/Utility/ForkHandlers.h"

namespace {

constexpr std::chrono::milliseconds kExitLinger{2000};

}  // namespace

TCLiveConnections& TCLiveConnections::Get() {
  static TCLiveConnections* const Instance = new TCLiveConnections;  // outlives every exit hook
  return *Instance;
}

TCLiveConnections::TCLiveConnections() {
  SetForkHandlers(TEForkPlace::eConnections, {PrepareFork, EndForkInParent, EndForkInChild});
}

void TCLiveConnections::Insert(TCNorvProxyConnection& Connection) {
  TCMutexLock const Lock(m_Mutex);
  m_Connections.insert(&Connection);
}

void TCLiveConnections::Erase(TCNorvProxyConnection& Connection) {
  TCMutexLock const Lock(m_Mutex);
  m_Connections.erase(&Connection);
}

void TCLiveConnections::CloseAtExit() {
  static int const Registered = std::atexit(CloseAll);
  static_cast<void>(Registered);
}

void TCLiveConnections::CloseAll() {
  std::vector<std::shared_ptr<TCNorvProxyConnection>> Connections;
  {
    TCLiveConnections& Live = Get();
    TCMutexLock const Lock(Live.m_Mutex);
    for (TCNorvProxyConnection* const Connection : Live.m_Connections) {
      Connections.push_back(Connection->weak_from_this().lock());  // null: being destroyed
    }
  }
  for (auto const& Connection : Connections) {
    if (Connection) {
      Connection->CloseAfterAcknowledgements(kExitLinger);
    }
  }
}

void TCLiveConnections::PrepareFork() {
  Get().m_Mutex.Enter();
  for (TCNorvProxyConnection* const Connection : Get().m_Connections) {
    Connection->PrepareFork();
  }
}

void TCLiveConnections::EndForkInParent() {
  for (TCNorvProxyConnection* const Connection : Get().m_Connections) {
    Connection->EndForkInParent();
  }
  Get().m_Mutex.Leave();
}

void TCLiveConnections::EndForkInChild() {
  for (TCNorvProxyConnection* const Connection : Get().m_Connections) {
    Connection->EndForkInChild();
  }
  Get().m_Mutex.Leave();
}
