// SPDX-License-Identifier: MIT
// property-console: serves the web console until told to end, and keeps its users.
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Utility/PrintableText.h"
#include "PropertyConsole/PasswordInput.h"
#include "PropertyConsole/Passwords.h"
#include "PropertyConsole/TCChangeDesk.h"
#include "PropertyConsole/TCChangeRoutes.h"
#include "PropertyConsole/TCConsole.h"
#include "PropertyConsole/TCConsoleOptions.h"
#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TCEventRoutes.h"
#include "PropertyConsole/TCEventStreams.h"
#include "PropertyConsole/TCHTTPServer.h"
#include "PropertyConsole/TCMetricsRoutes.h"
#include "PropertyConsole/TCPageRoutes.h"
#include "PropertyConsole/TCPlainTransport.h"
#include "PropertyConsole/TCPropertyRoutes.h"
#include "PropertyConsole/TCServerQuestions.h"
#include "PropertyConsole/TCTLSContext.h"
#include "PropertyConsole/TCUserFile.h"

namespace {

using Property::TCConsoleOptions;
using Property::TCHTTPServer;
using Property::TSConsoleSettings;

TCHTTPServer* Running = nullptr;  // for the signals' handler

void PrintLine(std::FILE* File, std::string Line) {
  std::fputs((PrintableText(std::move(Line)) + "\n").c_str(), File);
}

void StopOnSignals(TCHTTPServer& Server) {
  Running = &Server;
  struct sigaction Action {};
  Action.sa_handler = [](int /*Signal*/) { Running->Stop(); };
  sigaction(SIGTERM, &Action, nullptr);
  sigaction(SIGINT, &Action, nullptr);
  // Who goes away while he is answered ends his connection, not the console.
  Action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &Action, nullptr);
}

Property::TSHTTPLimits LimitsOf(TSConsoleSettings const& Settings) {
  Property::TSHTTPLimits Limits;
  Limits.Threads = Settings.Threads;
  Limits.WaitingConnections = Settings.WaitingConnections;
  Limits.BodyBytes = std::size_t{Settings.BodyKiB} << 10U;
  Limits.ReadTime = static_cast<int>(Settings.RequestSeconds) * 1000;
  return Limits;
}

std::string URLOf(TSConsoleSettings const& Settings, unsigned Port) {
  bool const IsIPv6 = Settings.Address.find(':') != std::string::npos;
  std::string const Host = IsIPv6 ? "[" + Settings.Address + "]" : Settings.Address;
  return (Settings.Certificate.empty() ? "http://" : "https://") + Host + ":" +
         std::to_string(Port) + "/";
}

TCHTTPServer::TCMakeTransport TransportsOf(TSConsoleSettings const& Settings) {
  if (Settings.Certificate.empty()) {
    return [](TCFileDescriptor Socket) {
      return std::make_unique<Property::TCPlainTransport>(std::move(Socket));
    };
  }
  auto const Context =
      std::make_shared<Property::TCTLSContext const>(Settings.Certificate, Settings.Key);
  return [Context](TCFileDescriptor Socket) { return Context->NewTransport(std::move(Socket)); };
}

// Connections that wait, streams and the rest together are more than a process may usually have
// open. Where the system allows no more, those that are too many wait until others end.
void AllowDescriptors() {
  rlimit Limit{};
  if (getrlimit(RLIMIT_NOFILE, &Limit) == 0) {
    Limit.rlim_cur = Limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &Limit);
  }
}

int Serve(TSConsoleSettings const& Settings) {
  AllowDescriptors();
  Property::TCConsole Console(Settings);
  TCHTTPServer Server(Settings.Address, Settings.Port, LimitsOf(Settings), Console.get_Handlers(),
                      TransportsOf(Settings));
  // All connections of this process take it from there.
  setenv(kRouterAddressVariable, Settings.Router.c_str(), 1);
  Property::TCConsoleStore const Store(Settings.Schemas);
  Property::TCServerQuestions Questions(Settings.Router);
  Property::TCPropertyRoutes const Routes(Store, Questions);
  Routes.AddTo(Console.get_Routes());
  Property::TCChangeDesk Desk;
  Property::TCChangeRoutes ChangeRoutes(Store, Questions, Desk, Console.get_Counters());
  ChangeRoutes.AddTo(Console.get_Routes());
  Property::TCEventStreams Streams(
      Store, Questions, [&Gate = Console.get_Gate()](Property::TSStreamStart const& Start) {
        return Gate.IsIn(Start.Token, Start.Role);
      });
  Property::TCEventRoutes EventRoutes(Store, Streams);
  EventRoutes.AddTo(Console.get_Routes());
  Property::TCMetricsRoutes Metrics(
      Console.get_Counters(),
      [&Console, &EventRoutes, &Store] {
        return Property::TSConsoleGauges{Console.get_SessionCount(), EventRoutes.get_Count(),
                                         Store.IsConnected()};
      },
      [&Questions] { return Questions.AskFigures(); });
  Metrics.AddTo(Console.get_Routes(), Settings.Metrics);
  Property::TCPageRoutes const Page(Property::PageFiles());
  Page.AddTo(Console.get_Routes());
  StopOnSignals(Server);
  PrintLine(stdout, "ready: " + URLOf(Settings, Server.get_Port()));
  std::fflush(stdout);
  sd_notify(0, "READY=1");
  Server.Run();
  sd_notify(0, "STOPPING=1");
  return 0;
}

void ListUsers(Property::TCUserFile const& File) {
  for (auto const& [Name, User] : File.Load()) {
    // The file holds names of letters and digits alone.
    std::printf("%s\t%s\n", Name.c_str(), Property::RoleName(User.Role).c_str());
  }
}

int Do(TCConsoleOptions const& Options) {
  Property::TCUserFile const Users(Options.get_Settings().Users);
  switch (Options.get_Command()) {
    case TCConsoleOptions::TECommand::eAddUser:
      Users.Add(Options.get_UserName(),
                {Options.get_Role(), Property::HashPassword(Property::AskForPassword())});
      return 0;
    case TCConsoleOptions::TECommand::eRemoveUser:
      Users.Remove(Options.get_UserName());
      return 0;
    case TCConsoleOptions::TECommand::eListUsers:
      ListUsers(Users);
      return 0;
    default:
      return Serve(Options.get_Settings());
  }
}

}  // namespace

int main(int Count, char** Arguments) {
  try {
    TCConsoleOptions Options;
    if (auto const Exit = Options.Parse(Count, Arguments)) {
      std::fputs(Exit->Text.c_str(), Exit->Code == 0 ? stdout : stderr);
      return Exit->Code;
    }
    umask(S_IRWXG | S_IRWXO);
    openlog("property-console", LOG_PID | LOG_PERROR, LOG_DAEMON);
    return Do(Options);
  } catch (std::bad_alloc const&) {
    std::fputs("property-console: out of memory\n", stderr);
    return 1;
  } catch (std::exception const& Failure) {
    PrintLine(stderr, std::string("property-console: ") + Failure.what());
    return 1;
  }
}
