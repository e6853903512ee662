// SPDX-License-Identifier: MIT
// What the examples of event loops do with properties, whichever loop they have.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyEvents.h"

/// Prints the brightness and the address of the gateway when they change, and changes them as its
/// standard input says: a line with a number is a brightness, one with two words an address and its
/// mask. All of it on the loop's thread.
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

  Property::TCPropertyEvents m_Events;
  Property::TCPropertyEvents::TCSubscription m_Brightness;
  Property::TCPropertyEvents::TCSubscription m_Address;
  Property::TCPropertyEvents::TCSubscription m_Mask;
};
