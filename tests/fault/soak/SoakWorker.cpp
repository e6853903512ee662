// SPDX-License-Identifier: MIT
// A process of the soak: writes and listens at random until it is told to stop, or is killed.
// Commands come on its standard input, one a line; each is answered by a line.
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "tests/fault/soak/SoakJournal.h"
#include "tests/fault/soak/SoakKeeper.h"
#include "tests/fault/soak/SoakValues.h"
#include "tests/support/Hex.h"

namespace {

using Accessories::TCRecordID;
using Property::TCPropertyCollectionDriver;

constexpr int kFenceLink = 1;
// Changes until a writer waits for their acknowledgement.
constexpr int kUsualBurst = 24;
constexpr int kLongBurst = 700;
constexpr int kChangesOfRecord = 50;  // on average

// Class 1 is kept for each device, class 2 for all of them.
Property::TCPropertyContainer const Own("Own", 1000, "", 1);
Property::TCPropertyID const OwnText("Text", kOwnText, "", 1000, 0x20);
Property::TCPropertyID const OwnNumber("Number", kOwnNumber, "", 1000, 0x10);
Property::TCPropertyID OwnMode("Mode", kOwnMode, "", 1000, 0x10);
Property::TCPropertyContainer const Shared("Shared", 2000, "", 2);
Property::TCPropertyID const SharedText("Text", kSharedText, "", 2000, 0x20);
Property::TCPropertyID const SharedNumber("Number", kSharedNumber, "", 2000, 0x10);
Property::TCPropertyID SharedMode("Mode", kSharedMode, "", 2000, 0x10);
Property::TCPropertyID const Kept("Kept", kKept, "", 2000, 0x20);
Property::TCPropertyID const LastOfAll("Fence", kFence, "", 2000, 0x20);

void AddChoices(Property::TCPropertyID& Mode, int First) {
  for (int Number = First; Number < First + kChoices; ++Number) {
    std::string const Name = "Choice " + std::to_string(Number);
    new Property::TCPropertyChoice(Name, "", Number, Number == First, &Mode, Name);
    new Property::TCPropertyChoiceID("", Number, Name);
  }
}

Property::TCPropertyID const& Definition(int Number) {
  return *Property::TCPropertyID::Find(Number);
}

struct TSSettings {
  int Streams = 0;  // writing threads; none: a listener
  int FirstStream = 0;
  int FirstPlace = 0;
  unsigned long Seed = 0;
  std::string Files;  // the path of its journal and store, without their ending
};

/// Takes notifications from its queue on a thread of its own; a listener's journal has them all.
class TCWatcher : public Property::TCCommonPropertyChangeNotifier {
 public:
  explicit TCWatcher(TSoakJournalWriter* Journal)
      : m_Journal(Journal), m_Thread([this] { Run(); }) {}

  ~TCWatcher() override {
    Property::TCPropertyCollection::DelNotifier(this);
    {
      std::lock_guard<std::mutex> const Lock(m_Mutex);
      m_Ending = true;
      m_Changed.notify_all();
    }
    m_Thread.join();
  }

  /// Returns when the fence with that text, and all before it, is in the journal.
  void WaitForFence(std::string const& Text) {
    std::unique_lock<std::mutex> Lock(m_Mutex);
    m_Changed.wait(Lock, [&] { return m_Fence == Text; });
  }

 protected:
  bool OnPropQueued() override {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    m_Waiting = true;
    m_Changed.notify_all();
    return true;
  }

 private:
  using TCEntries =
      std::list<std::pair<Property::TCCommonPropertyObject, Property::TENotificationType>>;

  void Run() {
    std::unique_lock<std::mutex> Lock(m_Mutex);
    for (;;) {
      m_Changed.wait(Lock, [this] { return m_Waiting || m_Ending; });
      if (m_Ending) {
        return;
      }
      m_Waiting = false;
      Lock.unlock();
      std::string const Fence = Take();
      Lock.lock();
      if (!Fence.empty()) {
        m_Fence = Fence;
        m_Changed.notify_all();
      }
    }
  }

  // The last fence among what was queued.
  std::string Take() {
    TCEntries Entries;
    {
      TCCriticalSectionLock const Lock(m_Lock);
      Entries.swap(m_Queue);
    }
    std::string Fence;
    std::vector<TSSoakNotice> Notices;
    for (auto const& [Object, Type] : Entries) {
      int const Number = Object.get_ID().get_Number();
      if (Number == kFence) {
        Fence = Object.GetRealValue();
      } else if (IsStamped(Number)) {
        auto const Stamp = ReadValue(Number, Object.GetRealValue());
        Notices.push_back(
            {{Number, Object.get_Link().get_AsInteger()}, Stamp.value_or(TSSoakStamp())});
      }
    }
    if (m_Journal != nullptr && !Notices.empty()) {
      m_Journal->Seen(Notices);
    }
    return Fence;
  }

  TSoakJournalWriter* const m_Journal;
  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  bool m_Waiting = false;
  bool m_Ending = false;
  std::string m_Fence;
  std::thread m_Thread;  // last: it uses all the others
};

/// One writing thread: changes its own values and shared ones.
class TCWriter {
 public:
  TCWriter(TSoakJournalWriter& Journal, int Stream, int Link, unsigned long Seed)
      : m_Journal(Journal),
        m_Stream(Stream),
        m_StreamLink(kStreamLinks * Stream),
        m_PlaceLink(Link),
        m_Random(Seed) {}

  /// Ends with everything acknowledged.
  void Run(std::atomic<bool> const& Ending) {
    while (!Ending) {
      int const Burst = Draw(30) == 0 ? kLongBurst : kUsualBurst;
      for (int Changes = Draw(Burst); Changes >= 0 && !Ending; --Changes) {
        ChangeSomething();
      }
      WaitForAcknowledgements();
    }
    WaitForAcknowledgements();
  }

 private:
  int Draw(int Bound) { return static_cast<int>(m_Random() % static_cast<unsigned>(Bound)); }

  void ChangeSomething() {
    if (Draw(kChangesOfRecord) == 0) {
      BeginRecord();
    }
    switch (Draw(8)) {
      case 0:
        Choose();
        break;
      case 1:
      case 2:
        ChangeTogether();
        break;
      default:
        Change(NewChange(1));
    }
    CheckOwnValues();
  }

  void BeginRecord() {
    m_Own.erase({kOwnText, m_StreamLink});
    m_Own.erase({kOwnNumber, m_StreamLink});
    ++m_StreamLink;
  }

  void Choose() {
    bool const IsOwn = Draw(2) == 0;
    int const Choice = kFirstChoice + (IsOwn ? 0 : kChoices) + Draw(kChoices);
    SetPropertyChoiceID(IsOwn ? OwnMode : SharedMode, Choice,
                        TCRecordID(IsOwn ? DrawOwnLink() : DrawSharedLink()));
  }

  void ChangeTogether() {
    TSSoakChange const Changes = NewChange(2 + Draw(4));
    Property::TCPropertyTransaction Transaction;
    Transaction.Begin();
    Change(Changes);
    Transaction.Commit();
  }

  TSSoakChange NewChange(int Size) {
    std::set<TSSoakKey> Keys;
    for (int Key = 0; Key < Size; ++Key) {
      Keys.insert(DrawKey());
    }
    TSSoakStamp const Stamp{m_Stream, ++m_Counter, DrawPadding()};
    return {Stamp, std::vector<TSSoakKey>(Keys.begin(), Keys.end())};
  }

  TSSoakKey DrawKey() {
    switch (Draw(4)) {
      case 0:
        return {kOwnText, DrawOwnLink()};
      case 1:
        return {kOwnNumber, DrawOwnLink()};
      case 2:
        return {kSharedText, DrawSharedLink()};
      default:
        return {kSharedNumber, DrawSharedLink()};
    }
  }

  int DrawOwnLink() { return Draw(3) == 0 ? m_StreamLink : m_PlaceLink; }
  int DrawSharedLink() { return 1 + Draw(kSharedLinks); }

  // A few texts are such that they, or a whole mail, need a memory file.
  int DrawPadding() {
    switch (Draw(400)) {
      case 0:
        return 70000;
      case 1:
      case 2:
        return 300;
      default:
        return 0;
    }
  }

  void Change(TSSoakChange const& Changes) {
    m_Journal.Writing(Changes);
    for (TSSoakKey const& Key : Changes.Keys) {
      SetProperty(Definition(Key.Number), MakeValue(Key.Number, Changes.Stamp),
                  TCRecordID(Key.Link));
      if (Key.Number == kOwnText || Key.Number == kOwnNumber) {
        m_Own[Key] = Changes.Stamp;
      }
    }
  }

  // What nobody else writes is what this thread wrote last. Of the process that had the same place
  // before, changes may still come.
  void CheckOwnValues() {
    for (auto const& [Key, Stamp] : m_Own) {
      std::string const Data =
          GetProperty(Definition(Key.Number), TCRecordID(Key.Link)).GetRealValue();
      if (Data == MakeValue(Key.Number, Stamp)) {
        continue;
      }
      auto const Found = ReadValue(Key.Number, Data);
      if (Key.Link == m_StreamLink || !Found || Found->Stream >= m_Stream) {
        m_Journal.Complain("reads " + (Found ? ToText(*Found) : Hex(Data.substr(0, 40))) + " as " +
                           ToText(Key) + " after writing " + ToText(Stamp));
      }
    }
  }

  void WaitForAcknowledgements() {
    if (TCPropertyCollectionDriver::get_Instance()->WaitForAcknowledgements()) {
      m_Journal.Acknowledged({m_Stream, m_Counter, 0});
    }
  }

  TSoakJournalWriter& m_Journal;
  int const m_Stream;
  int m_StreamLink;
  int const m_PlaceLink;
  std::mt19937_64 m_Random;
  int m_Counter = 0;
  std::map<TSSoakKey, TSSoakStamp> m_Own;  // last written
};

/// All values that the store holds, one a line.
void WriteStore(std::string const& Path) {
  std::set<std::string> Lines;
  for (int Number :
       {kOwnText, kOwnNumber, kOwnMode, kSharedText, kSharedNumber, kSharedMode, kFence, kKept}) {
    for (auto const& Value : TCPropertyCollectionDriver::get()->GetProperties(Definition(Number))) {
      Lines.insert(std::to_string(Number) + " " + Value.get_Link().get_AsString() + " " +
                   Value.get_MAC().get_AsString(':') + " " + Hex(Value.GetRealValue()));
    }
  }
  std::ofstream File(Path);
  for (std::string const& Line : Lines) {
    File << Line << "\n";
  }
}

void Obey(TSSettings const& Settings, TCWatcher& Watcher, std::string const& Line) {
  std::istringstream Words(Line);
  std::string Command;
  std::string Argument;
  Words >> Command >> Argument;
  if (Command == "fence") {
    SetProperty(LastOfAll, Argument, TCRecordID(kFenceLink));
  } else if (Command == "await") {
    Watcher.WaitForFence(Argument);
  } else if (Command == "store") {
    WriteStore(Settings.Files + ".store");
  }
  std::cout << "done " << Command << std::endl;
}

void Work(TSSettings const& Settings) {
  AddChoices(OwnMode, kFirstChoice);
  AddChoices(SharedMode, kFirstChoice + kChoices);
  TSoakJournalWriter Journal(Settings.Files + ".journal");
  TCWatcher Watcher(Settings.Streams == 0 ? &Journal : nullptr);
  Watcher.Enable();  // before the values are loaded, so that no change after that is missed
  TCPropertyCollectionDriver::Create(false);
  std::cout << "done start" << std::endl;

  std::atomic<bool> Ending{false};
  std::list<TCWriter> Writers;
  std::vector<std::thread> Threads;
  for (int Index = 0; Index < Settings.Streams; ++Index) {
    TCWriter& Writer =
        Writers.emplace_back(Journal, Settings.FirstStream + Index, Settings.FirstPlace + Index,
                             Settings.Seed + static_cast<unsigned>(Index));
    Threads.emplace_back([&Writer, &Ending] { Writer.Run(Ending); });
  }
  std::optional<TSoakKeeper> Keeper;
  if (Settings.Streams > 0) {
    Keeper.emplace(Journal, Settings.FirstStream, Settings.Seed);
    Threads.emplace_back([&Keeper, &Ending] { Keeper->Run(Ending); });
  }
  std::string Line;
  std::getline(std::cin, Line);  // "stop"
  Ending = true;
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  Obey(Settings, Watcher, Line);
  while (std::getline(std::cin, Line)) {
    Obey(Settings, Watcher, Line);
  }
}

}  // namespace

// Arguments: path of its files, number of streams, first stream, first place, seed.
int main(int Count, char** Arguments) {
  if (Count != 6) {
    return 2;
  }
  try {
    Work({std::atoi(Arguments[2]), std::atoi(Arguments[3]), std::atoi(Arguments[4]),
          std::strtoul(Arguments[5], nullptr, 10), Arguments[1]});
  } catch (std::exception const& Failure) {
    std::cerr << Failure.what() << std::endl;
    return 1;
  }
  return 0;
}
