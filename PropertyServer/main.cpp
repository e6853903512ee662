// SPDX-License-Identifier: MIT
// property-server: wires options, database, router and service, and serves until told to end.
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyServer.h"
#include "PropertyServer/TCServerClient.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCServerOptions.h"

namespace {

using Property::TCPropertyDatabase;
using Property::TCPropertyServer;
using Property::TCServerConfiguration;
using Property::TCServerOptions;

TCPropertyServer::TCConfiguration LoadConfiguration(TCServerOptions const& Options) {
  std::string const& File = Options.get_Configuration();
  return std::make_shared<TCServerConfiguration const>(
      File.empty() ? TCServerConfiguration() : TCServerConfiguration::Load(File));
}

int OnEndingSignal(sd_event_source* /*Source*/, signalfd_siginfo const* /*Info*/, void* Router) {
  static_cast<TCNorvMailRouter*>(Router)->Stop();
  return 0;
}

struct TSReload {
  TCPropertyServer& Server;
  TCServerOptions const& Options;
};

// A bad file changes nothing.
int OnReloadSignal(sd_event_source* /*Source*/, signalfd_siginfo const* /*Info*/, void* Reload) {
  auto const& [Server, Options] = *static_cast<TSReload*>(Reload);
  sd_notify(0, "RELOADING=1");
  try {
    Server.SetConfiguration(LoadConfiguration(Options));
    SyslogWarning("The configuration was read again");
  } catch (std::exception const& Failure) {
    SyslogError("The former configuration stays in force: %s", Failure.what());
  }
  sd_notify(0, "READY=1");
  return 0;
}

// Signals are handled between two mails, so that no mail is half done.
void WatchSignals(TCNorvMailRouter& Router, TSReload& Reload) {
  sigset_t Signals;
  sigemptyset(&Signals);
  for (int const Signal : {SIGTERM, SIGINT, SIGHUP}) {
    sigaddset(&Signals, Signal);
  }
  sigprocmask(SIG_BLOCK, &Signals, nullptr);
  sd_event_add_signal(Router.get_Event(), nullptr, SIGTERM, OnEndingSignal, &Router);
  sd_event_add_signal(Router.get_Event(), nullptr, SIGINT, OnEndingSignal, &Router);
  sd_event_add_signal(Router.get_Event(), nullptr, SIGHUP, OnReloadSignal, &Reload);
}

// Each peer is a descriptor; the limit on connections counts on as many as the system allows.
void RaiseDescriptorLimit() {
  rlimit Limit = {};
  if (getrlimit(RLIMIT_NOFILE, &Limit) == 0) {
    Limit.rlim_cur = Limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &Limit);
  }
}

void ReserveLog(TCPropertyDatabase& Database) {
  try {
    Database.ReserveLog();
  } catch (TCException const& Failure) {
    SyslogWarning("%s", Failure.get_Message().c_str());
  }
}

int Serve(TCServerOptions const& Options) {
  RaiseDescriptorLimit();
  auto const Configuration = LoadConfiguration(Options);
  TCPropertyDatabase Database(Options.get_Database());
  ReserveLog(Database);
  TCNorvMailRouter Router(Options.get_Address());
  TCPropertyServer Server(Router, Database, Options.get_Durability(), Options.get_Trace(),
                          Configuration);
  TSReload Reload{Server, Options};
  WatchSignals(Router, Reload);
  sd_event_set_watchdog(Router.get_Event(), 1);
  Server.SetStatusSink([](std::string const& Text) { sd_notifyf(0, "STATUS=%s", Text.c_str()); });
  std::printf("ready: %zu values of %s at %s\n", Server.get_ValueCount(),
              Options.get_Database().c_str(), Router.get_Address().c_str());
  std::fflush(stdout);
  sd_notifyf(0, "READY=1\nSTATUS=Serving %zu values", Server.get_ValueCount());
  Router.Run();
  sd_notify(0, "STOPPING=1");
  return Server.Commit() ? 0 : 1;
}

int Check(TCServerOptions const& Options) {
  std::printf("%s\n", TCPropertyDatabase::Check(Options.get_Check()).c_str());
  return 0;
}

int Backup(TCServerOptions const& Options) {
  std::string Image;
  try {
    Image = Property::TCServerClient(Options.get_Address()).Backup();
  } catch (TCException const& NotServed) {
    if (access(Options.get_Database().c_str(), F_OK) != 0) {
      throw;
    }
    Image = TCPropertyDatabase(Options.get_Database()).Copy();
  }
  TCPropertyDatabase::WriteCopy(Image, Options.get_Backup());
  std::printf("%s\n", TCPropertyDatabase::Check(Options.get_Backup()).c_str());
  return 0;
}

int PrintStatus(TCServerOptions const& Options) {
  for (auto const& [Name, Value] : Property::TCServerClient(Options.get_Address()).Status()) {
    std::printf("%-14s %s\n", Name.c_str(), Value.c_str());
  }
  return 0;
}

int Do(TCServerOptions const& Options) {
  if (!Options.get_Check().empty()) {
    return Check(Options);
  }
  if (!Options.get_Backup().empty()) {
    return Backup(Options);
  }
  return Options.get_Status() ? PrintStatus(Options) : Serve(Options);
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
    return Do(Options);
  } catch (std::exception const& Failure) {
    std::fprintf(stderr, "property-server: %s\n", Failure.what());
    return 1;
  }
}
