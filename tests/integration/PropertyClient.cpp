// SPDX-License-Identifier: MIT
// A process that uses properties as it is told on its standard input, one command a line. Texts are
// in hexadecimal, "-" is nothing.
#include <condition_variable>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "tests/integration/Hex.h"

namespace {

using Accessories::TCRecordID;
using Property::TCPropertyCollectionDriver;

// Class 1 is kept for each device, class 2 for all of them.
Property::TCPropertyContainer const Device("Device", 100, "", 1);
Property::TCPropertyID const Name("Name", 101, "", 100, 0x20, "unnamed");
Property::TCPropertyID const Level("Level", 102, "", 100, 0x10, 5);
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
    std::string const Text = Describe(m_Queue.front().first);
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

std::string Obey(std::string const& Command, std::istream& Words,
                 Property::TCPropertyTransaction& Transaction) {
  static TCQueue Queue;
  if (Command == "create") {
    bool OwnOnly = false;
    Words >> OwnOnly;
    TCPropertyCollectionDriver::Create(OwnOnly);
    Queue.Enable();
    return "created";
  }
  if (Command == "get") {
    TSKey const Key(Words);
    auto const Value = GetProperty(*Key.ID, Key.Link, Key.MAC);
    return Hex(Value.GetRealValue());
  }
  if (Command == "exist") {
    TSKey const Key(Words);
    return TCPropertyCollectionDriver::get()->ExistProperty(*Key.ID, Key.Link, Key.MAC) ? "yes"
                                                                                        : "no";
  }
  if (Command == "set") {
    TSKey const Key(Words);
    std::string Hex;
    Words >> Hex;
    SetProperty(*Key.ID, FromHex(Hex), Key.Link, Key.MAC);
    return "set";
  }
  if (Command == "begin") {
    Transaction.Begin();
    return "begun";
  }
  if (Command == "commit") {
    Transaction.Commit();
    Transaction.Reset();
    return "committed";
  }
  if (Command == "rollback") {
    Transaction.Rollback();
    return "rolled back";
  }
  if (Command == "await") {
    return Queue.Take();
  }
  if (Command == "acknowledged") {
    TCPropertyCollectionDriver::get_Instance()->WaitForAcknowledgements();
    return "acknowledged";
  }
  return "unknown command";
}

}  // namespace

int main() {
  Property::TCPropertyTransaction Transaction;
  std::string Line;
  while (std::getline(std::cin, Line)) {
    std::istringstream Words(Line);
    std::string Command;
    Words >> Command;
    try {
      std::cout << Obey(Command, Words, Transaction) << std::endl;
    } catch (TCException const& Failure) {
      std::cout << "failed: " << Failure.what() << std::endl;
    }
  }
  return 0;
}
