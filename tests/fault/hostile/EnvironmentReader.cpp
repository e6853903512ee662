// SPDX-License-Identifier: MIT
// Says what the library takes from this process's environment, a word a line.
#include <unistd.h>

#include <cstdio>

#include "Platform/Messaging/Wire/SocketName.h"
#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/TCMACAddress.h"

int main() {
  std::puts(Wire::RouterAddress("").c_str());
  std::puts(TCMACAddress::Own("").get_AsString(':').c_str());
  std::puts(IsDebugLevel(DEBUG_PROPERTY) ? "traces" : "silent");
  std::fflush(stdout);
  _exit(0);  // a program with more rights than its starter can not look for leaks at its end
}
