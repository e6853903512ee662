// SPDX-License-Identifier: MIT
// Subscribes to changes, tells them, and makes some.
#include "Settings.h"

#include <unistd.h>

#include <iostream>
#include <sstream>

#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "GatewaySchema.h"
#include "Platform/Utility/TextConversions.h"

TCSettings::TCSettings()
    : m_Brightness(Gateway::Prop_DisplayBrightness),
      m_Mode(Gateway::Prop_AddressMode),
      m_Address(Gateway::Prop_IPAddress),
      m_Mask(Gateway::Prop_NetMask) {
  m_Subscriptions.push_back(m_Brightness.OnChange(
      m_Events, [](int Percent) { std::cout << "brightness " << Percent << std::endl; }));
  auto const Remember = [this](auto const&) { m_AddressChanged = true; };
  m_Subscriptions.push_back(m_Mode.OnChange(m_Events, Remember));
  m_Subscriptions.push_back(m_Address.OnChange(m_Events, Remember));
  m_Subscriptions.push_back(m_Mask.OnChange(m_Events, Remember));
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
  TEAddressMode Mode = TEAddressMode::eAutomatic;
  std::string Address;
  std::string Mask;
  {
    Property::TCReadGuard const Guard;
    Mode = m_Mode.Get();
    Address = m_Address.Get();
    Mask = m_Mask.Get();
  }
  std::cout << (Mode == TEAddressMode::eStatic ? "static " : "automatic ") << Address << '/' << Mask
            << std::endl;
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
    m_Brightness.Set(ToInt(First));
    return;
  }
  Property::TCPropertyTransaction Together;
  Together.Begin();
  m_Mode.Set(TEAddressMode::eStatic);
  m_Address.Set(First);
  m_Mask.Set(Second);
  Together.Commit();
}
