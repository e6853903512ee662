// SPDX-License-Identifier: MIT
// property-server: wires options, database, router and service, and serves until told to end.
#include <sys/stat.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-event.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "Platform/Messaging/TCNorvMailRouter.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyServer.h"
#include "PropertyServer/TCServerOptions.h"

namespace {

int OnSignal(sd_event_source* /*Source*/, signalfd_siginfo const* /*Info*/, void* Router) {
  static_cast<TCNorvMailRouter*>(Router)->Stop();
  return 0;
}

// SIGTERM and SIGINT end the loop between two mails, so that no mail is half done.
void EndOnSignals(TCNorvMailRouter& Router) {
  sigset_t Signals;
  sigemptyset(&Signals);
  sigaddset(&Signals, SIGTERM);
  sigaddset(&Signals, SIGINT);
  sigprocmask(SIG_BLOCK, &Signals, nullptr);
  sd_event_add_signal(Router.get_Event(), nullptr, SIGTERM, OnSignal, &Router);
  sd_event_add_signal(Router.get_Event(), nullptr, SIGINT, OnSignal, &Router);
}

void Serve(Property::TCServerOptions const& Options) {
  Property::TCPropertyDatabase Database(Options.get_Database());
  TCNorvMailRouter Router(Options.get_Address());
  Property::TCPropertyServer const Server(Router, Database, Options.get_Trace());
  EndOnSignals(Router);
  sd_event_set_watchdog(Router.get_Event(), 1);
  std::printf("ready: %zu values of %s at %s\n", Server.get_ValueCount(),
              Options.get_Database().c_str(), Router.get_Address().c_str());
  std::fflush(stdout);
  sd_notifyf(0, "READY=1\nSTATUS=Serving %zu values", Server.get_ValueCount());
  Router.Run();
  sd_notify(0, "STOPPING=1");
}

}  // namespace

int main(int Count, char** Arguments) {
  try {
    Property::TCServerOptions Options;
    if (auto const Exit = Options.Parse(Count, Arguments)) {
      std::fputs(Exit->Text.c_str(), Exit->Code == 0 ? stdout : stderr);
      return Exit->Code;
    }
    // Values may be confidential: nothing that the server creates is for everybody.
    umask(S_IWGRP | S_IRWXO);
    openlog("property-server", LOG_PID | LOG_PERROR, LOG_DAEMON);
    Serve(Options);
    return 0;
  } catch (std::exception const& Failure) {
    std::fprintf(stderr, "property-server: %s\n", Failure.what());
    return 1;
  }
}
