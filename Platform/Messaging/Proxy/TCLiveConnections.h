// SPDX-License-Identifier: MIT
// The connections of the process: closed when it exits, left to the parent where it forks.
#pragma once

#include <set>

#include "Platform/Utility/TCMutex.h"

class TCNorvProxyConnection;

/// Owns none of them. Its lock is taken before that of any connection. Lives until the process has
/// ended.
class TCLiveConnections {
 public:
  static TCLiveConnections& Get();

  /// From construction to destruction of the connection.
  void Insert(TCNorvProxyConnection& Connection);
  void Erase(TCNorvProxyConnection& Connection);

  /// Closes those that are there when the process exits, before the objects that were made before
  /// this call, which their hooks may use.
  static void CloseAtExit();

 private:
  TCLiveConnections();

  static void CloseAll();
  // Enter here and leave there.
  static void PrepareFork() PROPERTY_UNCHECKED_LOCKING;
  static void EndForkInParent() PROPERTY_UNCHECKED_LOCKING;
  static void EndForkInChild() PROPERTY_UNCHECKED_LOCKING;

  TCMutex m_Mutex;
  std::set<TCNorvProxyConnection*> m_Connections PROPERTY_GUARDED_BY(m_Mutex);
};
