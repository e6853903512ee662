// SPDX-License-Identifier: MIT
// Keeps files that others have sent from holding up whoever closes them.
#pragma once

namespace Wire {

/// While it lives, the calling thread waits for nothing when it closes files, or sockets in which
/// files wait, or has the system drop what it does not take. A socket among them may have been told
/// by its owner to linger: whoever closes it last then waits for a peer that reads nothing. Such a
/// wait is interrupted at once, and the system finishes in the background. Objects may be nested.
class TCPromptClosing {
 public:
  TCPromptClosing() noexcept;
  TCPromptClosing(TCPromptClosing const&) = delete;
  TCPromptClosing& operator=(TCPromptClosing const&) = delete;
  ~TCPromptClosing();
};

}  // namespace Wire
