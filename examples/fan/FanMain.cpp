// SPDX-License-Identifier: MIT
// The fan's program: keeps Running up to date until it is ended.
#include <poll.h>
#include <syslog.h>

#include <cerrno>
#include <exception>
#include <iostream>

#include "FanSchema.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "TCFanControl.h"

int main() {
  openlog("fan", LOG_PERROR, LOG_USER);
  try {
    Property::TCPropertyCollectionDriver::Create(true);  // waits for the server, loads the values
    Fan::InstallValidators();
    Fan::TCFanControl Control;
    std::cout << "fan: ready" << std::endl;
    pollfd Changes = {Control.get_Events().get_Descriptor(), POLLIN, 0};
    while (poll(&Changes, 1, -1) > 0 || errno == EINTR) {
      Control.get_Events().Dispatch();
    }
  } catch (std::exception const& Failure) {
    std::cerr << "fan: " << Failure.what() << std::endl;
  }
  return 1;
}
