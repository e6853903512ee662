// SPDX-License-Identifier: MIT
// property-server: wires options, database, router and service, and serves until told to end.
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "Platform/Utility/TextConversions.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyServer.h"
#include "PropertyServer/TCServerClient.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCServerOptions.h"
#include "PropertyServer/TCServerSchema.h"
#include "PropertyServer/TCServerSignals.h"

namespace {

using Property::TCPropertyDatabase;
using Property::TCPropertyServer;
using Property::TCServerConfiguration;
using Property::TCServerOptions;
using Property::TCServerSchema;
using Property::TCServerSignals;

// For people, whatever the texts from outside in the line hold.
void PrintLine(std::FILE* File, std::string Line) {
  std::fputs((PrintableText(std::move(Line)) + "\n").c_str(), File);
}

void PrintFailure(char const* Text) {
  try {
    PrintLine(stderr, std::string("property-server: ") + Text);
  } catch (std::bad_alloc const&) {
    std::fputs("property-server: out of memory\n", stderr);
  }
}

TCPropertyServer::TCConfiguration LoadConfiguration(TCServerOptions const& Options) {
  std::string const& File = Options.get_Configuration();
  return std::make_shared<TCServerConfiguration const>(
      File.empty() ? TCServerConfiguration() : TCServerConfiguration::Load(File));
}

// A bad file changes nothing.
void Reload(TCPropertyServer& Server, TCServerSchema& Schema, TCServerOptions const& Options) {
  sd_notify(0, "RELOADING=1");
  try {
    Server.SetConfiguration(LoadConfiguration(Options));
    SyslogWarning("The configuration was read again");
    Schema.Load();
    Server.OnSchemaLoaded();
  } catch (std::exception const& Failure) {
    SyslogError("The former configuration stays in force: %s", Failure.what());
  }
  sd_notify(0, "READY=1");
}

// On the socket that the service manager hands over, if it does.
std::unique_ptr<TCNorvMailRouter> NewRouter(TCServerOptions const& Options) {
  if (sd_listen_fds(0) > 0) {
    return std::make_unique<TCNorvMailRouter>(TCFileDescriptor(SD_LISTEN_FDS_START),
                                              Options.get_Address());
  }
  return std::make_unique<TCNorvMailRouter>(Options.get_Address());
}

// Tells the service manager, where that wants to hear of it, that the loop turns.
class TCWatchdog {
 public:
  explicit TCWatchdog(TCNorvEventLoop& Loop) : m_Timer(Loop, CLOCK_MONOTONIC, [this] { Tell(); }) {
    std::uint64_t Limit = 0;  // microseconds
    if (sd_watchdog_enabled(0, &Limit) > 0) {
      m_Interval = std::chrono::microseconds(static_cast<std::int64_t>(Limit / 2));
      Tell();
    }
  }

 private:
  void Tell() {
    sd_notify(0, "WATCHDOG=1");
    m_Timer.SetAfter(m_Interval);
  }

  std::chrono::microseconds m_Interval{};
  TCNorvLoopTimer m_Timer;
};

// Each peer is a descriptor; the limit on connections counts on as many as the system allows.
void RaiseDescriptorLimit() {
  rlimit Limit = {};
  if (getrlimit(RLIMIT_NOFILE, &Limit) == 0) {
    Limit.rlim_cur = Limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &Limit);
  }
}

// What does not fit into memory for a while has values in it, like the database beside it.
void KeepTemporaryFilesAt(std::string const& Database) {
  std::string const Folder = std::filesystem::absolute(Database).parent_path().string();
  setenv("SQLITE_TMPDIR", Folder.c_str(), 1);
}

int Serve(TCServerOptions const& Options) {
  RaiseDescriptorLimit();
  KeepTemporaryFilesAt(Options.get_Database());
  auto const Configuration = LoadConfiguration(Options);
  TCServerSchema Schema(Options.get_Schemas());
  Schema.Load();
  TCPropertyDatabase Database(Options.get_Database());
  Database.ReserveLogIfPossible();
  std::unique_ptr<TCNorvMailRouter> const Owned = NewRouter(Options);
  TCNorvMailRouter& Router = *Owned;
  TCPropertyServer Server(Router, Database, Options.get_Durability(), Options.get_Trace(),
                          Configuration, &Schema);
  TCServerSignals const Signals(
      Router.get_Loop(), [&] { Router.Stop(); }, [&] { Reload(Server, Schema, Options); });
  TCWatchdog const Watchdog(Router.get_Loop());
  Server.SetStatusSink(
      [](std::string const& Text) { sd_notifyf(0, "STATUS=%s", PrintableLine(Text).c_str()); });
  PrintLine(stdout, "ready: " + std::to_string(Server.get_ValueCount()) + " values of " +
                        Options.get_Database() + " at " + Router.get_Address());
  std::fflush(stdout);
  sd_notifyf(0, "READY=1\nSTATUS=Serving %s values",
             std::to_string(Server.get_ValueCount()).c_str());
  Router.Run();
  sd_notify(0, "STOPPING=1");
  return Server.Commit() ? 0 : 1;
}

int Check(TCServerOptions const& Options) {
  PrintLine(stdout, TCPropertyDatabase::Check(Options.get_Check()));
  return 0;
}

// From the file itself only where nobody serves it: whom the server refuses is told so.
std::string NewestImage(TCServerOptions const& Options) {
  Property::TCServerClient Client(Options.get_Address());
  if (Client.IsReached() || access(Options.get_Database().c_str(), F_OK) != 0) {
    return Client.Backup();
  }
  return TCPropertyDatabase(Options.get_Database()).Copy();
}

int Backup(TCServerOptions const& Options) {
  std::string const Image = NewestImage(Options);
  TCPropertyDatabase::WriteCopy(Image, Options.get_Backup());
  PrintLine(stdout, TCPropertyDatabase::Check(Options.get_Backup()));
  return 0;
}

int PrintStatus(TCServerOptions const& Options) {
  std::string Line;
  for (auto const& [Name, Value] : Property::TCServerClient(Options.get_Address()).Status()) {
    PrintLine(stdout, sprintf(Line, "%-14s %s", Name.c_str(), Value.c_str()));
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
    // Values may be confidential: nothing that the server creates is for others.
    umask(S_IRWXG | S_IRWXO);
    openlog("property-server", LOG_PID | LOG_PERROR, LOG_DAEMON);
    return Do(Options);
  } catch (std::exception const& Failure) {
    PrintFailure(Failure.what());
    return 1;
  }
}
