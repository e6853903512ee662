// SPDX-License-Identifier: MIT
// What the examples of event loops do with properties, whichever loop they have.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "CommonProperties/TCPropertyEvents.h"
#include "CommonProperties/Typed.h"

enum class TEAddressMode { eAutomatic, eStatic, eLinkLocal };

template <>
struct Property::TSChoicesOf<TEAddressMode> {
  static constexpr std::pair<TEAddressMode, int> kNumbers[] = {
      {TEAddressMode::eAutomatic, 12221},
      {TEAddressMode::eStatic, 12222},
      {TEAddressMode::eLinkLocal, 12223},
  };
};

/// Prints the brightness and the address of the gateway when they change, and changes them as its
/// standard input says: a line with a number is a brightness, one with two words a static address
/// and its mask. All of it on the loop's thread.
class TCSettings {
 public:
  TCSettings();

  /// To be watched for reading; OnChanges is then to be called.
  int get_Descriptor() const { return m_Events.get_Descriptor(); }
  void OnChanges();

  /// To be called when the standard input can be read. False at its end.
  bool OnInput();

 private:
  void Obey(std::string const& Line);
  void PrintAddress();

  std::string m_Input;  // of a line that is not complete yet
  bool m_AddressChanged = false;

  Property::Typed<int> const m_Brightness;
  Property::Typed<TEAddressMode> const m_Mode;
  Property::Typed<std::string> const m_Address;
  Property::Typed<std::string> const m_Mask;

  Property::TCPropertyEvents m_Events;
  std::vector<Property::TCPropertyEvents::TCSubscription> m_Subscriptions;
};
