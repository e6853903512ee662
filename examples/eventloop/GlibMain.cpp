// SPDX-License-Identifier: MIT
// Properties in GLib's main loop: their descriptor is a source of it.
#include <glib-unix.h>
#include <unistd.h>

#include <exception>
#include <iostream>

#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "Settings.h"

namespace {

struct TSProgram {
  TCSettings Settings;
  GMainLoop* Loop;
};

// No exception may cross the loop, which is written in C.
gboolean OnReadable(gint Descriptor, GIOCondition, gpointer Data) {
  auto& [Settings, Loop] = *static_cast<TSProgram*>(Data);
  try {
    if (Descriptor == Settings.get_Descriptor()) {
      Settings.OnChanges();
      return G_SOURCE_CONTINUE;
    }
    if (Settings.OnInput()) {
      return G_SOURCE_CONTINUE;
    }
  } catch (std::exception const& Failure) {
    std::cerr << "settings-glib: " << Failure.what() << std::endl;
  }
  g_main_loop_quit(Loop);
  return G_SOURCE_REMOVE;
}

void Run(TSProgram& Program) {
  auto const Readable = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP);
  g_unix_fd_add(STDIN_FILENO, Readable, OnReadable, &Program);
  guint const Changes =
      g_unix_fd_add(Program.Settings.get_Descriptor(), G_IO_IN, OnReadable, &Program);
  g_main_loop_run(Program.Loop);
  g_source_remove(Changes);
}

}  // namespace

int main() {
  try {
    Property::TCPropertyCollectionDriver::Create(true);
    TSProgram Program = {{}, g_main_loop_new(nullptr, FALSE)};
    std::cout << "ready" << std::endl;
    Run(Program);
    g_main_loop_unref(Program.Loop);
    return 0;
  } catch (std::exception const& Failure) {
    std::cerr << "settings-glib: " << Failure.what() << std::endl;
    return 1;
  }
}
