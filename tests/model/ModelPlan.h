// SPDX-License-Identifier: MIT
// What a small world is made of, and what may happen in it.
#pragma once

#include <cstddef>
#include <vector>

/// What is explored. A program is what one thread does, in order.
struct TSModelPlan {
  /// What the server does with a mail.
  enum class TEFate { eTaken = 1, eRefused = 2, eRefusedUnread = 3 };
  struct TSSet {
    std::vector<int> m_Keys;  ///< all set in one mail
    TEFate m_Fate = TEFate::eTaken;
    bool m_IfUnchanged = false;  ///< the server sets them if they are what the thread has read
  };
  struct TSHiding {
    std::size_t m_Process;  ///< that may neither read nor write from some moment on
    int m_Key;              ///< this one
  };
  /// What somebody does wrong, so that a test sees that it is found.
  enum class TEDefect {
    eNone,
    eOlderIsApplied,         ///< the process does not ask whether a change is on its way
    eDecidedIsNotShown,      ///< the process leaves what was decided to the copy
    eNewestIsSentFirst,      ///< the process sends what it keeps in another order
    eNothingIsSentAgain,     ///< the process takes what was under way for received
    eNothingIsAcknowledged,  ///< by the server
    eRepeatsAreTaken,        ///< by the server, which acknowledges them too
    eUntakenIsAcknowledged,  ///< by the server, which forgets the mail
    eRefusalIsNotTold,       ///< by the server, which sends nothing of what stands
    ePlaceIsSkipped,         ///< the server says that there is a mail before this one
  };
  using TCProgram = std::vector<TSSet>;

  std::vector<std::vector<TCProgram>> m_Processes;  ///< programs of the threads of each process
  std::vector<TSHiding> m_Hidings;                  ///< in their order
  int m_Cuts = 0;                                   ///< connections that may break
  bool m_CutFirstOnly = false;                      ///< those of the first process alone
  int m_Crashes = 0;                                ///< of the server
  bool m_Relaxed = false;                           ///< published before it is stored
  int m_ExclusiveKey = -1;  ///< set by one thread only, which must never see it go back
  TEDefect m_Defect = TEDefect::eNone;

  bool Has(TEDefect Defect) const { return m_Defect == Defect; }
};
