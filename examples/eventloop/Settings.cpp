// SPDX-License-Identifier: MIT
// Subscribes to changes, tells them, and makes some.
#include "examples/eventloop/Settings.h"

#include <unistd.h>

#include <iostream>
#include <sstream>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "examples/gateway/GatewaySchema.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;

TCSettings::TCSettings() {
  m_Brightness = m_Events.On(Gateway::Prop_DisplayBrightness, TCRecordID(), "",
                             [](TCCommonPropertyObject const& Value, auto) {
                               std::cout << "brightness " << Value.get_AsInteger() << std::endl;
                             });
  auto const Remember = [this](auto const&, auto) { m_AddressChanged = true; };
  m_Address = m_Events.On(Gateway::Prop_IPAddress, TCRecordID(), "", Remember);
  m_Mask = m_Events.On(Gateway::Prop_NetMask, TCRecordID(), "", Remember);
}

void TCSettings::OnChanges() {
  m_Events.Dispatch();
  if (m_AddressChanged) {
    m_AddressChanged = false;
    PrintAddress();
  }
}

// Address and mask belong together: another process's transaction does not come between the reads.
void TCSettings::PrintAddress() {
  std::string Address;
  std::string Mask;
  {
    Property::TCReadGuard const Guard;
    Address = GetProperty(Gateway::Prop_IPAddress).get_AsString();
    Mask = GetProperty(Gateway::Prop_NetMask).get_AsString();
  }
  std::cout << "address " << Address << '/' << Mask << std::endl;
}

bool TCSettings::OnInput() {
  char Bytes[256];
  ssize_t const Count = read(STDIN_FILENO, Bytes, sizeof(Bytes));
  if (Count <= 0) {
    return false;
  }
  m_Input.append(Bytes, static_cast<std::size_t>(Count));
  for (std::size_t End = 0; (End = m_Input.find('\n')) != std::string::npos;) {
    Obey(m_Input.substr(0, End));
    m_Input.erase(0, End + 1);
  }
  return true;
}

void TCSettings::Obey(std::string const& Line) {
  std::istringstream Words(Line);
  std::string First;
  std::string Second;
  Words >> First >> Second;
  if (Second.empty()) {
    SetProperty(Gateway::Prop_DisplayBrightness, First);
    return;
  }
  Property::TCPropertyTransaction Together;
  Together.Begin();
  SetProperty(Gateway::Prop_IPAddress, First);
  SetProperty(Gateway::Prop_NetMask, Second);
  Together.Commit();
}
