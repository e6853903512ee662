// SPDX-License-Identifier: MIT
// Prints the gateway's properties and their changes, until its standard input is closed.
#include <poll.h>
#include <sys/eventfd.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <iostream>
#include <list>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "GatewaySchema.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

using Accessories::TCRecordID;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyChangeNotifier;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyCollectionDriver;
using Property::TCPropertyID;

namespace {

/// Hands changes to the program's own loop: its file becomes readable when there are some.
/// Take() belongs to the loop's thread; changes come from every thread.
class TCChangeQueue : public TCCommonPropertyChangeNotifier {
 public:
  using TCChanges = std::list<std::pair<TCCommonPropertyObject, Property::TENotificationType>>;

  TCChangeQueue() : m_File(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_File < 0) {
      throw std::system_error(errno, std::generic_category(), "eventfd");
    }
  }

  ~TCChangeQueue() override {
    // No more OnPropQueued once a part of this object is gone.
    TCPropertyCollection::DelNotifier(this);
    close(m_File);
  }

  int get_File() const { return m_File; }

  TCChanges Take() {
    // First the file, then the queue: what comes in between is signalled again.
    eventfd_t Ignored = 0;
    eventfd_read(m_File, &Ignored);
    TCChanges Changes;
    TCCriticalSectionLock const Lock(m_Lock);
    Changes.swap(m_Queue);
    return Changes;
  }

 protected:
  // Runs on the thread that made the change, with the store locked: nothing but a signal.
  bool OnPropQueued() override { return eventfd_write(m_File, 1) == 0; }

 private:
  int const m_File;
};

// Codes and passwords are hidden fields.
bool IsShown(TCPropertyID const& Field) {
  constexpr int kHidden = 0x01;
  return (Field.get_Flags() & kHidden) == 0;
}

void Print(TCCommonPropertyObject const& Value) {
  std::cout << Value.get_ID().get_Name();
  if (!Value.get_Link().IsNull()) {
    std::cout << '(' << Value.get_Link().get_AsString() << ')';
  }
  std::cout << " = " << Value.get_AsString() << std::endl;
}

// The value that stands now, as its validator leaves it.
TCCommonPropertyObject Current(TCCommonPropertyObject const& Value) {
  return GetProperty(Value.get_ID(), Value.get_Link(), Value.get_MAC().get_AsString(':'));
}

void PrintStoredValues() {
  for (auto const& [Number, Node] : *TCBasicPropertyID::m_List) {
    // The library's own field "unassigned" is of no class and never has a value.
    if (!Node->IsPropertyField() || Node->get_classid().IsNull()) {
      continue;
    }
    TCPropertyID const& Field = *TCPropertyID::Find(Number);
    if (IsShown(Field)) {
      for (TCCommonPropertyObject const& Value :
           TCPropertyCollection::get()->GetProperties(Field)) {
        Print(Current(Value));
      }
    }
  }
}

/// The settings of the network, which are applied together: one line for all that changed at once.
/// A transaction is told value by value, but only after all of its values have been stored.
class TCNetworkView {
 public:
  void PrintIfNew() {
    std::string Text = Describe();
    if (Text != m_Printed) {
      std::cout << "network: " << Text << std::endl;
      m_Printed = std::move(Text);
    }
  }

 private:
  static std::string Describe() {
    std::string Text = GetProperty(Gateway::Prop_HostName).get_AsString();
    for (TCPropertyID const* Field : {&Gateway::Prop_AddressMode, &Gateway::Prop_IPAddress,
                                      &Gateway::Prop_NetMask, &Gateway::Prop_DefaultGateway}) {
      std::string const Setting = GetProperty(*Field).get_AsString();
      Text += Setting.empty() ? "" : ' ' + Setting;
    }
    return Text;
  }

  std::string m_Printed;
};

// A value that was changed again since, by a validator too, is left out: that change is queued
// behind it.
void PrintChanges(TCChangeQueue::TCChanges const& Changes, TCNetworkView& Network) {
  using TCGroup = TCCommonPropertyChangeNotifier::TCClassGroupLink;
  TCGroup const NetworkGroup(Gateway::Group_Network.get_Number(), TCRecordID());
  std::set<TCGroup> Groups;
  for (auto const& [Value, Type] : Changes) {
    TCPropertyID const& Field = Value.get_ID();
    if (Field.get_Parent() == NetworkGroup.get_ID()) {
      TCCommonPropertyChangeNotifier::Insert(Value, Groups);
    } else if (Type == Property::eNotifyDeleted) {
      std::cout << Field.get_Name() << " is gone" << std::endl;
    } else if (IsShown(Field) && Value == Current(Value)) {
      Print(Value);
    }
  }
  if (Groups.count(NetworkGroup) != 0) {
    Network.PrintIfNew();
  }
}

void Watch(TCChangeQueue& Queue, TCNetworkView& Network) {
  pollfd Files[] = {{STDIN_FILENO, POLLIN, 0}, {Queue.get_File(), POLLIN, 0}};
  while (poll(Files, 2, -1) >= 0 || errno == EINTR) {
    if (Files[1].revents != 0) {
      PrintChanges(Queue.Take(), Network);
    }
    if (Files[0].revents != 0) {
      return;
    }
  }
}

}  // namespace

int main() {
  openlog("gateway-monitor", LOG_PERROR, LOG_USER);
  try {
    // Waits for the server and loads the values of this device and the system-wide ones.
    TCPropertyCollectionDriver::Create(true);
    Gateway::InstallValidators();

    TCChangeQueue Queue;
    Queue.Enable();  // before the values are read, so that no change falls in between
    PrintStoredValues();
    TCNetworkView Network;
    Network.PrintIfNew();
    std::cout << "ready" << std::endl;
    Watch(Queue, Network);
    return 0;
  } catch (std::exception const& Failure) {
    std::cerr << "gateway-monitor: " << Failure.what() << std::endl;
    return 1;
  }
}
