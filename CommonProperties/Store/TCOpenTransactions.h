// SPDX-License-Identifier: MIT
// Which transaction each thread has open.
#pragma once

#include <map>

namespace Property {

class TCPropertyTransaction;

/// One transaction a thread. Refers to them and owns none. Not synchronised.
class TCOpenTransactions {
 public:
  using TByThread = std::map<int, TCPropertyTransaction*>;

  TByThread& get_All() { return m_Open; }

  /// Opens `Transaction` for the calling thread, unless the thread has one open.
  void Add(TCPropertyTransaction* Transaction);
  /// Closes the calling thread's.
  void Remove();
  /// The calling thread's, or null.
  TCPropertyTransaction* Find() const { return m_Open.empty() ? nullptr : FindOfThread(); }

  /// In the child of a fork: keeps what the thread `Forking` had open, for the thread that it is
  /// here. Those of the other threads ended with them.
  void KeepInChild(int Forking);

 private:
  TCPropertyTransaction* FindOfThread() const;

  TByThread m_Open;
};

}  // namespace Property
