// SPDX-License-Identifier: MIT
// Ends while its driver lives: sets a property, waits to be told of a change, and returns.
// With the argument "exit" it ends by std::exit, a value in its hands.
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

using Property::TCPropertyContainer;
using Property::TCPropertyID;

namespace {

TCPropertyContainer const Device("Device", 1000, "", 1);
TCPropertyID const Name("Name", 1001, "", 1000, 0x20);
TCPropertyID const Count("Count", 1002, "", 1000, 0x10);

/// Lets main() wait for the first change of the count. Lives until after main().
class TCCountNotifier : public Property::TCCommonPropertyChangeNotifier {
 public:
  ~TCCountNotifier() override { Property::TCPropertyCollection::DelNotifier(this); }

  void Wait() {
    std::unique_lock<std::mutex> Guard(m_ToldLock);
    m_Told.wait(Guard, [this] { return m_IsTold; });
  }

 protected:
  bool OnPropQueued() override {
    TCCriticalSectionLock const Lock(m_Lock);
    std::lock_guard<std::mutex> Guard(m_ToldLock);
    for (auto const& Entry : m_Queue) {
      m_IsTold = m_IsTold || Entry.first.get_ID().get_Number() == Count.get_Number();
    }
    m_Queue.clear();
    m_Told.notify_all();
    return true;
  }

 private:
  std::mutex m_ToldLock;
  std::condition_variable m_Told;
  bool m_IsTold = false;  // guarded by m_ToldLock
};

TCCountNotifier Notifier;

}  // namespace

int main(int Arguments, char** Argument) {
  Property::TCPropertyCollectionDriver::Create(false);
  Notifier.Enable();
  SetProperty(Name, "last words");
  Notifier.Wait();
  SetProperty(Name, "afterthought");
  if (Arguments > 1 && std::strcmp(Argument[1], "exit") == 0) {
    Property::TCCommonPropertyObject const Value = GetProperty(Name);
    std::exit(Value.get_AsString() == "afterthought" ? 0 : 1);
  }
  return 0;
}
