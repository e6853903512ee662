// SPDX-License-Identifier: MIT
// What an event loop does without an event.
#pragma once

#include <functional>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/PlatformExport.h"

/// Has a function called when it has been scheduled. Belongs to the loop's thread.
class PROPERTY_PLATFORM_EXPORT TCNorvLoopWork {
 public:
  enum class TEWhen {
    eNextTurn,    ///< once, in the next turn, which does not wait then, before all files
    eIdle,        ///< once, in the first turn that finds nothing ready, which does not wait then
    eAfterTurns,  ///< until it is cancelled, after every turn in which anything was called
  };

  /// Makes one that is not scheduled. Throws std::bad_alloc without memory.
  TCNorvLoopWork(TCNorvEventLoop& Loop, TEWhen When, std::function<void()> OnWork);
  TCNorvLoopWork(TCNorvLoopWork const&) = delete;
  TCNorvLoopWork& operator=(TCNorvLoopWork const&) = delete;
  ~TCNorvLoopWork();

  /// Nothing more when it is scheduled already.
  void Schedule() noexcept {
    if (!IsScheduled()) {
      MoveTo(m_Scheduled);
    }
  }
  void Cancel() noexcept { MoveTo(m_Loop.m_Resting); }
  bool IsScheduled() const { return m_List != &m_Loop.m_Resting; }

 private:
  friend class TCNorvEventLoop;

  void MoveTo(TCNorvEventLoop::TCWorks& List) noexcept;

  TCNorvEventLoop& m_Loop;
  TCNorvEventLoop::TCWorks& m_Scheduled;  // where it waits for its turn
  TCNorvEventLoop::TCWorks* m_List;       // where it is
  TCNorvEventLoop::TCWorks::iterator m_Place;
  std::function<void()> m_Function;
};
