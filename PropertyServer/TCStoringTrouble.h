// SPDX-License-Identifier: MIT
// Tells the administrator when changes can not be stored, and when they can again.
#pragma once

#include <functional>
#include <string>

namespace Property {

/// Tells it to the log, and to who else wants to know. Used by one thread.
class TCStoringTrouble {
 public:
  using TCSink = std::function<void(std::string const&)>;
  /// Hears of it, a line of text each time.
  void SetSink(TCSink Sink);

  /// It has begun, for this reason, or is over. Throws nothing for lack of memory.
  void Tell(bool Failing, char const* Reason);

  /// Empty for none.
  std::string const& get_Reason() const { return m_Reason; }

 private:
  std::string m_Reason;
  TCSink m_Sink;
};

}  // namespace Property
