// SPDX-License-Identifier: MIT
// A schema library that does, while it is loaded, what MISBEHAVIOUR names.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "CommonProperties/TCPropertyID.h"

namespace {

struct TSMisbehaviour {
  static void Throw() { throw std::runtime_error("no licence\x1b[31m found\nhere"); }
  static void ThrowNumber() { throw 42; }
  static void Repeat() {
    new Property::TCPropertyID("First", 900, "First", {}, 0x10);
    new Property::TCPropertyID("Second", 900, "Second", {}, 0x20);
  }
  static void Crash() {
    signal(SIGSEGV, SIG_DFL);
    raise(SIGSEGV);
  }
  static void Hang() {
    for (;;) {
      pause();
    }
  }
  static void Exit() { std::exit(3); }
  static void ExitWell() { _exit(0); }
  static void Abort() { std::abort(); }
  static void CloseFiles() {
    for (int File = 0; File < 100; ++File) {
      close(File);
    }
  }
  static void CloseErrors() { close(STDERR_FILENO); }
  static void Print() {
    std::puts("a line on the standard output");
    std::fputs("a line on the standard error\n", stderr);
    std::fflush(stdout);
  }
  static void ForkAndGoOn() { [[maybe_unused]] pid_t const Copy = fork(); }
  static void ForkAndWait() {
    pid_t const Child = fork();
    if (Child == 0) {
      _exit(5);
    }
    waitpid(Child, nullptr, 0);
  }
  static void LeaveChild() {
    if (fork() == 0) {
      Hang();
    }
  }
  static void Forge() {
    for (int Line = 0; Line < 100; ++Line) {
      [[maybe_unused]] ssize_t const Written = write(3, "g \n", 3);
    }
  }
  static void ForgeEndlessly() {
    while (write(3, "0123456789abcdef", 16) > 0) {
    }
  }
  static void Allocate() {
    static std::vector<std::vector<char>>& Blocks = *new std::vector<std::vector<char>>;
    for (;;) {
      Blocks.emplace_back(1U << 20U, 'x');
    }
  }
  static void CrashAtTheEnd() {
    std::atexit([] { Crash(); });
  }
};

bool const Done = (TSMisbehaviour::MISBEHAVIOUR(), true);

}  // namespace
