// SPDX-License-Identifier: MIT
// Puts work among that of its loop.
#include "Platform/Events/TCNorvLoopWork.h"

#include <utility>

TCNorvLoopWork::TCNorvLoopWork(TCNorvEventLoop& Loop, TEWhen When, std::function<void()> OnWork)
    : m_Loop(Loop),
      m_Scheduled(When == TEWhen::eNextTurn ? Loop.m_NextTurn
                  : When == TEWhen::eIdle   ? Loop.m_Idle
                                            : Loop.m_AfterTurns),
      m_List(&Loop.m_Resting),
      m_Place(m_List->insert(m_List->end(), this)),
      m_Function(std::move(OnWork)) {}

TCNorvLoopWork::~TCNorvLoopWork() {
  m_List->erase(m_Place);
  m_Loop.Forget(this);
}

void TCNorvLoopWork::MoveTo(TCNorvEventLoop::TCWorks& List) noexcept {
  if (m_List != &List) {
    List.splice(List.end(), *m_List, m_Place);
    m_List = &List;
  }
}
