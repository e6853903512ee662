// SPDX-License-Identifier: MIT
// Properties in a loop of epoll: their descriptor is one among the program's own.
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <initializer_list>
#include <iostream>
#include <system_error>

#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "Settings.h"

namespace {

void Run(TCSettings& Settings) {
  int const Loop = epoll_create1(EPOLL_CLOEXEC);
  for (int const Descriptor : {STDIN_FILENO, Settings.get_Descriptor()}) {
    epoll_event Watched = {};
    Watched.events = EPOLLIN;
    Watched.data.fd = Descriptor;
    if (epoll_ctl(Loop, EPOLL_CTL_ADD, Descriptor, &Watched) != 0) {
      throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
  }
  for (bool Goes = true; Goes;) {
    epoll_event Ready = {};
    if (epoll_wait(Loop, &Ready, 1, -1) != 1) {
      continue;  // interrupted by a signal
    }
    if (Ready.data.fd == Settings.get_Descriptor()) {
      Settings.OnChanges();
    } else {
      Goes = Settings.OnInput();
    }
  }
  close(Loop);
}

}  // namespace

int main() {
  try {
    Property::TCPropertyCollectionDriver::Create(true);
    TCSettings Settings;
    std::cout << "ready" << std::endl;
    Run(Settings);
    return 0;
  } catch (std::exception const& Failure) {
    std::cerr << "settings-epoll: " << Failure.what() << std::endl;
    return 1;
  }
}
