// SPDX-License-Identifier: MIT
// A process that uses properties as it is told on its standard input, one command a line. Texts are
// in hexadecimal, "-" is nothing.
#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "PropertyInterface/TCScopedTransaction.h"
#include "tests/support/Hex.h"

namespace {

using Accessories::TCRecordID;
using Property::TCPropertyCollectionDriver;

// Class 1 is kept for each device, class 2 for all of them.
Property::TCPropertyContainer const Device("Device", 100, "", 1);
Property::TCPropertyID const Name("Name", 101, "", 100, 0x20, "unnamed");
Property::TCPropertyID const Level("Level", 102, "", 100, 0x10, 5);
Property::TCPropertyID Mode("Mode", 103, "", 100, 0x10);
Property::TCPropertyChoice const ModeDay("Day", "", 1031, true, &Mode, "day");
Property::TCPropertyChoice const ModeNight("Night", "", 1032, false, &Mode, "night");
Property::TCPropertyChoiceID const NightID("", 1032, "Night");
Property::TCPropertyContainer const System("System", 200, "", 2);
Property::TCPropertyID const Motto("Motto", 201, "", 200, 0x20);

std::string FromHex(std::string const& Hex) {
  std::string Text;
  for (std::size_t Place = 0; Hex != "-" && Place + 1 < Hex.size(); Place += 2) {
    Text.push_back(static_cast<char>(std::stoi(Hex.substr(Place, 2), nullptr, 16)));
  }
  return Text;
}

std::string OrNothing(std::string const& Text) {
  return Text.empty() ? "-" : Text;
}

std::string Describe(Property::TCCommonPropertyObject const& Value) {
  return std::to_string(Value.get_ID().get_Number()) + " " +
         OrNothing(Value.get_Link().get_AsString()) + " " +
         OrNothing(Value.get_MAC().get_AsString(':')) + " " + Hex(Value.GetRealValue());
}

class TCQueue : public Property::TCCommonPropertyChangeNotifier {
 public:
  ~TCQueue() override { Property::TCPropertyCollection::DelNotifier(this); }

  std::string Take() {
    std::unique_lock<std::mutex> Lock(m_Mutex);
    m_Changed.wait(Lock, [this] { return m_Count > 0; });
    --m_Count;
    TCCriticalSectionLock const QueueLock(m_Lock);
    auto const& [Value, Type] = m_Queue.front();
    std::string const Text = Describe(Value) + (Type == Property::eNotifyDeleted ? " deleted" : "");
    m_Queue.pop_front();
    return Text;
  }

 protected:
  bool OnPropQueued() override {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    ++m_Count;
    m_Changed.notify_one();
    return true;
  }

 private:
  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  int m_Count = 0;
};

// What a command addresses: number, link and device.
struct TSKey {
  Property::TCPropertyID const* ID = nullptr;
  TCRecordID Link;
  std::string MAC;

  explicit TSKey(std::istream& Words) {
    int Number = 0;
    std::string Record;
    Words >> Number >> Record >> MAC;
    ID = Property::TCPropertyID::Find(Number);
    Link = Record == "-" ? TCRecordID() : TCRecordID(Record);
    MAC = MAC == "-" ? "" : MAC;
  }
};

TCQueue& Queue() {
  static TCQueue Instance;
  return Instance;
}

Property::TCPropertyTransaction& Transaction() {
  static Property::TCPropertyTransaction Instance;
  return Instance;
}

// From here on the process is one of another user; only root's can.
std::string Become(std::istream& Words) {
  uid_t User = 0;
  Words >> User;
  bool const Became = setgroups(0, nullptr) == 0 && setresgid(User, User, User) == 0 &&
                      setresuid(User, User, User) == 0;
  return Became ? "become" : "failed";
}

std::string Create(std::istream& Words) {
  bool OwnOnly = false;
  Words >> OwnOnly;
  TCPropertyCollectionDriver::Create(OwnOnly);
  Queue().Enable();
  return "created";
}

std::string Get(std::istream& Words) {
  TSKey const Key(Words);
  return Hex(GetProperty(*Key.ID, Key.Link, Key.MAC).GetRealValue());
}

std::string GetQuietly(std::istream& Words) {
  TSKey const Key(Words);
  auto const Value =
      TCPropertyCollectionDriver::get()->GetProperty(*Key.ID, true, Key.Link, Key.MAC);
  return (Value.get_Defined() ? "defined " : "undefined ") + Hex(Value.GetRealValue());
}

std::string Exist(std::istream& Words) {
  TSKey const Key(Words);
  bool const Exists = TCPropertyCollectionDriver::get()->ExistProperty(*Key.ID, Key.Link, Key.MAC);
  return Exists ? "yes" : "no";
}

std::string Set(std::istream& Words) {
  TSKey const Key(Words);
  std::string Data;
  Words >> Data;
  SetProperty(*Key.ID, FromHex(Data), Key.Link, Key.MAC);
  return "set";
}

// Counts in the values of a property, each link in turn; the numbers have so many digits at least.
std::string Fill(std::istream& Words) {
  int Number = 0;
  int Links = 0;
  int Changes = 0;
  std::size_t Digits = 0;
  Words >> Number >> Links >> Changes >> Digits;
  Property::TCPropertyID const& ID = *Property::TCPropertyID::Find(Number);
  for (int Change = 0; Change < Changes; ++Change) {
    std::string const Text = std::to_string(Change);
    std::string const Zeros(Digits - std::min(Digits, Text.size()), '0');
    SetProperty(ID, Zeros + Text, TCRecordID(Change % Links));
  }
  return "filled";
}

std::string Choose(std::istream& Words) {
  TSKey const Key(Words);
  int Number = 0;
  Words >> Number;
  SetPropertyChoiceID(*Key.ID, Number, Key.Link);
  return "set";
}

std::string Begin(std::istream& /*Words*/) {
  Transaction().Begin();
  return "begun";
}

std::string Commit(std::istream& /*Words*/) {
  Transaction().Commit();
  Transaction().Reset();
  return "committed";
}

std::string Rollback(std::istream& /*Words*/) {
  Transaction().Rollback();
  return "rolled back";
}

// Commits one transaction after the other, each of which counts two values on, of a device and of
// the system. Under a guard: a set is not recorded where another process's equal value has arrived,
// and must not be so for one of the two alone.
std::string CountPairs(std::istream& Words) {
  int Last = 0;
  Words >> Last;
  for (int Number = 1; Number <= Last; ++Number) {
    Property::TCReadGuard const Guard;
    Property::TCPropertyTransaction Pair;
    Pair.Begin();
    SetProperty(Level, Number, TCRecordID(1));
    SetProperty(Motto, Number);
    Pair.Commit();
  }
  return "counted";
}

// Reads those two under a guard, on so many threads, until they are the last ones. Answers how
// often one was of another transaction than the other.
std::string Halves(std::istream& Words) {
  int Threads = 0;
  int Last = 0;
  Words >> Threads >> Last;
  std::atomic<int> Halves{0};
  std::vector<std::thread> Readers;
  for (int Thread = 0; Thread < Threads; ++Thread) {
    Readers.emplace_back([&Halves, Last] {
      for (int Number = 0; Number != Last;) {
        Property::TCReadGuard const Guard;
        Number = GetProperty(Level, TCRecordID(1)).get_AsInteger();
        Halves += GetProperty(Motto).get_AsInteger() != Number ? 1 : 0;
      }
    });
  }
  for (std::thread& Reader : Readers) {
    Reader.join();
  }
  return "halves " + std::to_string(Halves);
}

std::string Await(std::istream& /*Words*/) {
  return Queue().Take();
}

// Takes changes until one is as the rest of the command says.
std::string Until(std::istream& Words) {
  std::string Line;
  std::getline(Words >> std::ws, Line);
  while (Queue().Take() != Line) {
  }
  return "heard";
}

std::string Acknowledged(std::istream& /*Words*/) {
  TCPropertyCollectionDriver::get_Instance()->WaitForAcknowledgements();
  return "acknowledged";
}

// Counts a value on so many times, whoever else does meanwhile.
std::string Count(std::istream& Words) {
  TSKey const Key(Words);
  int Times = 0;
  Words >> Times;
  for (int Done = 0; Done < Times;) {
    Property::TCScopedTransaction Transaction;
    auto const Value = GetProperty(*Key.ID, Key.Link, Key.MAC);
    Transaction.Expect(Value);
    Transaction.Set(*Key.ID, std::to_string(Value.get_AsInteger() + 1), Key.Link, Key.MAC);
    auto const Result = Transaction.CommitIfUnchanged();
    if (Result.Outcome == Property::eCommitDone) {
      ++Done;
    } else if (Result.Outcome != Property::eCommitConflict) {
      return "failed: " + Result.Refusal.Reason;
    }
  }
  return "counted";
}

// Sets a value so many times, every other time to a text of so many bytes, and waits for each.
// Answers how many were stored and how many were refused.
std::string SetAndWait(std::istream& Words) {
  TSKey const Key(Words);
  int Times = 0;
  std::size_t Bytes = 0;
  Words >> Times >> Bytes;
  int Stored = 0;
  int Refused = 0;
  for (int Turn = 0; Turn < Times; ++Turn) {
    bool const IsLarge = Turn % 2 == 1;
    std::string const Text = std::to_string(Turn);
    SetProperty(*Key.ID, IsLarge ? Text + std::string(Bytes, 'x') : Text, Key.Link, Key.MAC);
    auto const Result = Property::TCPropertyReceipt::OfLast().Wait();
    auto const Expected = IsLarge ? Property::eReceiptRefused : Property::eReceiptDurable;
    if (Result.Outcome != Expected || !Result.Complete) {
      return "turn " + std::to_string(Turn) + " ended with " + std::to_string(Result.Outcome);
    }
    ++(IsLarge ? Refused : Stored);
  }
  return std::to_string(Stored) + " stored, " + std::to_string(Refused) + " refused";
}

// Sets a value and waits until it is decided what becomes of it.
std::string SetAndTell(std::istream& Words) {
  Set(Words);
  auto const Result = Property::TCPropertyReceipt::OfLast().Wait();
  if (Result.Outcome != Property::eReceiptRefused) {
    return Result.Outcome == Property::eReceiptDurable ? "stored" : "not known";
  }
  return "refused: " + Result.Refusals.at(0).Reason;
}

std::string Obey(std::string const& Line) {
  static std::map<std::string, std::string (*)(std::istream&)> const Commands = {
      {"become", Become},
      {"create", Create},
      {"get", Get},
      {"quiet", GetQuietly},
      {"exist", Exist},
      {"set", Set},
      {"fill", Fill},
      {"choose", Choose},
      {"begin", Begin},
      {"commit", Commit},
      {"rollback", Rollback},
      {"await", Await},
      {"until", Until},
      {"acknowledged", Acknowledged},
      {"count", Count},
      {"wait", SetAndWait},
      {"pairs", CountPairs},
      {"halves", Halves},
      {"receipt", SetAndTell},
  };
  std::istringstream Words(Line);
  std::string Command;
  Words >> Command;
  auto const Found = Commands.find(Command);
  return Found == Commands.end() ? "unknown command" : Found->second(Words);
}

}  // namespace

int main() {
  std::string Line;
  while (std::getline(std::cin, Line)) {
    try {
      std::cout << Obey(Line) << std::endl;
    } catch (TCException const& Failure) {
      std::cout << "failed: " << Failure.what() << std::endl;
    }
  }
  return 0;
}
