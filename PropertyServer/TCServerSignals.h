// SPDX-License-Identifier: MIT
// The signals that the server obeys, in its event loop.
#pragma once

#include <csignal>
#include <functional>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace Property {

/// Blocks SIGTERM, SIGINT and SIGHUP for the calling thread, and those that it starts, and handles
/// them between two mails, so that no mail is half done. They stay blocked when it goes. Lives on
/// the loop's thread.
class TCServerSignals {
 public:
  /// `OnEnd` hears of SIGTERM and SIGINT, `OnReload` of SIGHUP. Throws TCException when the system
  /// has no descriptors left.
  TCServerSignals(TCNorvEventLoop& Loop, std::function<void()> OnEnd,
                  std::function<void()> OnReload);
  TCServerSignals(TCServerSignals const&) = delete;
  TCServerSignals& operator=(TCServerSignals const&) = delete;

 private:
  void Handle() const;

  std::function<void()> const m_OnEnd;
  std::function<void()> const m_OnReload;
  TCFileDescriptor const m_Signals;
  TCNorvWatchedFile const m_Watched;
};

}  // namespace Property
