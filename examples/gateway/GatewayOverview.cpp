// SPDX-License-Identifier: MIT
// Shows the devices whose MAC addresses are given: reads values that belong to other devices.
#include <syslog.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "CommonProperties/TCPropertyCollection.h"
#include "GatewaySchema.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

using Accessories::TCRecordID;
using Property::TCPropertyCollection;
using Property::TCPropertyCollectionDriver;

namespace {

// The session on whose behalf this thread works. A server of many clients would set it for each
// request.
thread_local unsigned long CurrentSession = 0;

unsigned long AnswerSession() {
  return CurrentSession;
}

/// Makes the calling thread work for one device while it lives. Belongs to one thread.
class TCDeviceSession {
 public:
  TCDeviceSession(unsigned long Number, std::string const& MAC) : m_Number(Number) {
    TCPropertyCollection::SetCurrentSession(Number, MAC);
    CurrentSession = Number;
  }
  TCDeviceSession(TCDeviceSession const&) = delete;
  TCDeviceSession& operator=(TCDeviceSession const&) = delete;
  ~TCDeviceSession() {
    CurrentSession = 0;
    TCPropertyCollection::DeleteSession(m_Number);
  }

 private:
  unsigned long const m_Number;
};

// The reads do not say which device they mean: the session does. What this process does not hold
// is fetched from the server at its first read.
void ShowDevice(unsigned long Session, std::string const& MAC) {
  TCDeviceSession const Device(Session, MAC);
  bool const Held =
      TCPropertyCollection::get()->ExistProperty(Gateway::Prop_DeviceName, TCRecordID(), "");
  std::cout << MAC << (Held ? " (held)" : " (fetched)") << ": "
            << GetProperty(Gateway::Prop_DeviceName).get_AsString() << ", host "
            << GetProperty(Gateway::Prop_HostName).get_AsString() << ", log level "
            << GetProperty(Gateway::Prop_LogLevel).get_AsString() << std::endl;
}

}  // namespace

int main(int Count, char** Arguments) {
  openlog("gateway-overview", LOG_PERROR, LOG_USER);
  try {
    // The values of this device and the system-wide ones; of other devices none.
    TCPropertyCollectionDriver::Create(true);
    TCPropertyCollection::SetSessionCallback(AnswerSession);

    for (int Index = 1; Index < Count; ++Index) {
      if (TCMACAddress(Arguments[Index]).Empty()) {
        std::cerr << "gateway-overview: not a MAC address: " << Arguments[Index] << std::endl;
        return EXIT_FAILURE;
      }
      ShowDevice(static_cast<unsigned long>(Index), Arguments[Index]);
    }
    return EXIT_SUCCESS;
  } catch (std::exception const& Failure) {
    std::cerr << "gateway-overview: " << Failure.what() << std::endl;
    return EXIT_FAILURE;
  }
}
