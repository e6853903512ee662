// SPDX-License-Identifier: MIT
// A property server that has no values and answers no further question.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvService.h"

/// Serves on a thread of the test until its end.
class TRefusingServer {
 public:
  explicit TRefusingServer(std::string const& Address);
  TRefusingServer(TRefusingServer const&) = delete;
  TRefusingServer& operator=(TRefusingServer const&) = delete;
  ~TRefusingServer();

  /// From now on every question is refused; until then it has no values for who asks for all.
  void Refuse() { m_Refuses = true; }

 private:
  class TService;

  std::atomic<bool> m_Refuses{false};
  TCNorvMailRouter m_Router;
  std::unique_ptr<TService> m_Service;
  std::thread m_Thread;
};
