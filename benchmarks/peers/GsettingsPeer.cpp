// SPDX-License-Identifier: MIT
// GSettings over dconf, each size in a session of its own: a message bus, the service that writes,
// and a database that holds nothing else.
#include <gio/gio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"
#include "benchmarks/support/Watcher.h"

namespace {

constexpr int kSmallSize = 100;
constexpr int kLargeSize = 10000;
constexpr int kGroupSize = 400;      // keys of one schema; the service slows with their square
constexpr int kChangesAtOnce = 200;  // the library ends the process when there are more than 255
constexpr char const* kInSession = "--in-session";
constexpr char const* kStampSchema = "benchmark.stamp";

struct TSUnref {
  void operator()(gpointer Object) const { g_object_unref(Object); }
};
using TSettings = std::unique_ptr<GSettings, TSUnref>;

bool IsInteger(int Index) {
  return Index % 2 == 0;
}

int GroupOf(int Index) {
  return Index / kGroupSize;
}

std::string GroupName(int Group) {
  return "g" + std::to_string(Group);
}

void WriteGroup(std::ostream& Schemas, int Group, int Size) {
  Schemas << "<schema id='benchmark." << GroupName(Group) << "' path='/benchmark/"
          << GroupName(Group) << "/'>\n";
  for (int Index = Group * kGroupSize; Index < Size && GroupOf(Index) == Group; ++Index) {
    Schemas << "<key name='" << Benchmark::KeyName(Index) << "' type='"
            << (IsInteger(Index) ? "i'><default>0" : "s'><default>''") << "</default></key>\n";
  }
  Schemas << "</schema>\n";
}

// Declares `Size` keys in groups, and one alone that carries a time.
void WriteSchemas(std::filesystem::path const& File, int Size) {
  std::ofstream Schemas(File);
  Schemas << "<schemalist>\n<schema id='" << kStampSchema << "' path='/benchmark/stamp/'>"
          << "<key name='stamp' type='x'><default>0</default></key></schema>\n";
  for (int Group = 0; Group * kGroupSize < Size; ++Group) {
    WriteGroup(Schemas, Group, Size);
  }
  Schemas << "</schemalist>\n";
  if (!Schemas.flush()) {
    throw std::runtime_error("cannot write the schemas");
  }
}

// Makes this process the program of a private bus, where `Folder` holds everything that it has.
void BecomeSession(std::filesystem::path const& Folder, int Size, bool IsQuick) {
  for (char const* const Variable : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"}) {
    auto const Own = Folder / Variable;
    std::filesystem::create_directory(Own);
    std::filesystem::permissions(Own, std::filesystem::perms::owner_all);
    setenv(Variable, Own.c_str(), 1);
  }
  setenv("GSETTINGS_SCHEMA_DIR", Folder.c_str(), 1);
  setenv("GSETTINGS_BACKEND", "dconf", 1);
  auto const Program = std::filesystem::read_symlink("/proc/self/exe").string();
  execlp("dbus-run-session", "dbus-run-session", "--", Program.c_str(), kInSession,
         std::to_string(Size).c_str(), IsQuick ? "--quick" : nullptr, nullptr);
  throw std::runtime_error("cannot start dbus-run-session");
}

// The bus tells the standard error much that is no failure: that is shown only when there is one.
void RunInSession(std::filesystem::path const& Folder, int Size, bool IsQuick) {
  auto const Log = Folder / "log";
  Benchmark::TCProcess Session("the session", [&] {
    if (std::freopen(Log.c_str(), "w", stderr) == nullptr) {
      throw std::runtime_error("cannot write a log");
    }
    BecomeSession(Folder, Size, IsQuick);
  });
  try {
    Session.Wait();
  } catch (std::runtime_error const&) {
    std::cerr << std::ifstream(Log).rdbuf();
    throw;
  }
}

void MeasureSize(int Size, bool IsQuick) {
  Benchmark::TCPrivateFolder const Folder;
  WriteSchemas(Folder.get_Path() / "benchmark.gschema.xml", Size);
  Benchmark::TCProcess Compiler({"glib-compile-schemas", "--strict", Folder.get_Path()});
  Compiler.Wait();
  RunInSession(Folder.get_Path(), Size, IsQuick);
}

TSettings OpenGroup(int Group) {
  return TSettings(g_settings_new(("benchmark." + GroupName(Group)).c_str()));
}

std::vector<TSettings> OpenGroups(int Size) {
  std::vector<TSettings> Groups;
  for (int Group = 0; Group * kGroupSize < Size; ++Group) {
    Groups.push_back(OpenGroup(Group));
  }
  return Groups;
}

// Gives a part of a group's keys values other than their defaults.
void FillPart(int Begin, int Size) {
  TSettings const Settings = OpenGroup(GroupOf(Begin));
  g_settings_delay(Settings.get());
  for (int Index = Begin; Index < Size && Index < Begin + kChangesAtOnce; ++Index) {
    auto const Key = Benchmark::KeyName(Index);
    if (IsInteger(Index)) {
      g_settings_set_int(Settings.get(), Key.c_str(), Index + 1);
    } else {
      g_settings_set_string(Settings.get(), Key.c_str(), Benchmark::ValueText(Index).c_str());
    }
  }
  g_settings_apply(Settings.get());
  g_settings_sync();
}

void Fill(int Size) {
  static_assert(kGroupSize % kChangesAtOnce == 0);
  for (int Begin = 0; Begin < Size; Begin += kChangesAtOnce) {
    FillPart(Begin, Size);
  }
}

// Opens the settings and reads every value.
double LoadMilliseconds(int Size) {
  auto const Begin = Benchmark::TClock::now();
  auto const Groups = OpenGroups(Size);
  int Values = 0;
  for (int Index = 0; Index < Size; ++Index) {
    GVariant* const Value = g_settings_get_user_value(
        Groups[static_cast<std::size_t>(GroupOf(Index))].get(), Benchmark::KeyName(Index).c_str());
    if (Value != nullptr) {
      ++Values;
      g_variant_unref(Value);
    }
  }
  double const Time = Benchmark::MicrosecondsSince(Begin) / 1000;
  if (Values != Size) {
    throw std::runtime_error("a load has not found all values");
  }
  return Time;
}

// In a process of its own, because the library keeps what it has opened.
double LoadInNewProcess(int Size) {
  Benchmark::TCPipe const Result;
  Benchmark::TCProcess Loading("the loading process", [&] { Result.Send(LoadMilliseconds(Size)); });
  Loading.Wait();
  return Result.Receive();
}

// The integers in a random order.
class TCIntegers {
 public:
  explicit TCIntegers(int Size)
      : m_Order(Benchmark::ShuffledIndices(Size / 2)), m_Groups(OpenGroups(Size)) {}

  int Get(int Call) const {
    int const Index = IndexOf(Call);
    return g_settings_get_int(Group(Index), Benchmark::KeyName(Index).c_str());
  }

  // Returns before anybody else has the value.
  void Set(int Call, int Value) const {
    int const Index = IndexOf(Call);
    if (g_settings_set_int(Group(Index), Benchmark::KeyName(Index).c_str(), Value) == FALSE) {
      throw std::runtime_error("cannot set a value");
    }
  }

 private:
  int IndexOf(int Call) const {
    return 2 * m_Order[static_cast<std::size_t>(Call) % m_Order.size()];
  }
  GSettings* Group(int Index) const {
    return m_Groups[static_cast<std::size_t>(GroupOf(Index))].get();
  }

  std::vector<int> m_Order;
  std::vector<TSettings> m_Groups;
};

void MeasureRead(int Size, int Batches) {
  TCIntegers const Integers(Size);
  auto const Read = [&](int Call) {
    if (Integers.Get(Call) == 0) {
      throw std::runtime_error("a value is missing");
    }
  };
  Benchmark::Report({"gsettings", "read_integer", "", "us", Size},
                    Benchmark::TimeBatches(Batches, Benchmark::kBatchCalls, Read));
}

// Until the service has written the value.
void MeasureWrite(int Size, int Calls) {
  TCIntegers const Integers(Size);
  int Value = Size;
  auto const Write = [&](int Call) {
    Integers.Set(Call, ++Value);
    g_settings_sync();
  };
  Benchmark::Report({"gsettings", "write_sync", "", "us", Size},
                    Benchmark::TimeCalls(Calls, Write));
}

void TakeStamp(GSettings* Settings, char const* Key, gpointer Seen) {
  (*static_cast<Benchmark::TCWatcher::TSeen*>(Seen))(g_settings_get_int64(Settings, Key));
}

void Watch(Benchmark::TCWatcher::TSeen Seen) {
  TSettings const Settings(g_settings_new(kStampSchema));
  g_signal_connect(Settings.get(), "changed::stamp", G_CALLBACK(TakeStamp), &Seen);
  g_settings_get_int64(Settings.get(), "stamp");  // without it no change is announced
  g_settings_sync();
  Seen(0);
  g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}

void MeasureNotification(Benchmark::TCWatcher const& Watching, int Size, int Changes) {
  TSettings const Settings(g_settings_new(kStampSchema));
  auto const Set = [&](long long Stamp) { g_settings_set_int64(Settings.get(), "stamp", Stamp); };
  Benchmark::Report({"gsettings", "notify", "", "us", Size}, Watching.Measure(Changes, Set));
}

// Everything of which a fork is needed comes before this process uses the library.
void MeasureSession(int Size, Benchmark::TSEffort const& Effort) {
  Benchmark::TCProcess Filling("the filling process", [Size] { Fill(Size); });
  Filling.Wait();
  if (Size == kLargeSize) {
    Benchmark::ReportLoads("gsettings", Size, Effort.m_Loads,
                           [Size] { return LoadInNewProcess(Size); });
  }
  Benchmark::TCWatcher const Watching(Watch);
  Watching.WaitReady();
  if (Size == kLargeSize) {
    MeasureRead(Size, Effort.m_Batches);
  } else {
    MeasureWrite(Size, Effort.m_Durable);
  }
  MeasureNotification(Watching, Size, Effort.m_Durable);
}

void Measure(Benchmark::TSEffort const& Effort) {
  MeasureSize(kSmallSize, Effort.m_Quick);
  MeasureSize(kLargeSize, Effort.m_Quick);
}

}  // namespace

// Usage: gsettings_peer [--quick]; in its sessions it calls itself with --in-session SIZE first.
int main(int ArgumentCount, char** Arguments) {
  if (ArgumentCount < 3 || std::strcmp(Arguments[1], kInSession) != 0) {
    return Benchmark::RunPeer(ArgumentCount, Arguments, "gsettings", Measure);
  }
  return Benchmark::RunPeer(
      ArgumentCount - 2, Arguments + 2, "gsettings",
      [&](Benchmark::TSEffort const& Effort) { MeasureSession(std::stoi(Arguments[2]), Effort); });
}
