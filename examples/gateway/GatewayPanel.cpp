// SPDX-License-Identifier: MIT
// The gateway's operating panel: takes commands from the standard input and changes properties.
#include <syslog.h>

#include <exception>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "GatewaySchema.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyInterface/TCScopedTransaction.h"

using Accessories::TCRecordID;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoiceID;
using Property::TCPropertyCollectionDriver;
using Property::TCPropertyDependency;
using Property::TCPropertyID;
using Property::TCScopedTransaction;

namespace {

constexpr int kLastMailsTimeout = 5000;  // milliseconds

void Show(TCPropertyID const& Field, TCRecordID const& Record = TCRecordID()) {
  std::cout << Field.get_Name();
  if (!Record.IsNull()) {
    std::cout << '(' << Record.get_AsString() << ')';
  }
  std::cout << " is " << GetProperty(Field, Record).get_AsString() << std::endl;
}

void ShowNetwork(char const* Title) {
  std::cout << Title << ": " << GetProperty(Gateway::Prop_AddressMode).get_ChoiceName() << ", "
            << GetProperty(Gateway::Prop_IPAddress).get_AsString() << ", "
            << GetProperty(Gateway::Prop_NetMask).get_AsString() << ", "
            << GetProperty(Gateway::Prop_DefaultGateway).get_AsString() << std::endl;
}

void SetDeviceName(std::istream& Arguments) {
  std::string Name;
  std::getline(Arguments >> std::ws, Name);
  SetProperty(Gateway::Prop_DeviceName, Name);
  Show(Gateway::Prop_DeviceName);
}

// The pattern is part of the schema; matching what a person typed is up to the user interface.
void SetHostName(std::istream& Arguments) {
  std::string Name;
  Arguments >> Name;
  if (!std::regex_match(Name, std::regex(Gateway::Prop_HostName.get_Regex()))) {
    std::cout << "not a host name: " << Name << std::endl;
    return;
  }
  SetProperty(Gateway::Prop_HostName, Name);
  Show(Gateway::Prop_HostName);
}

// Code that knows the choice names it by reference: a choice that the schema no longer has is
// found when the program starts and not when the line is reached.
void LogEverything(std::istream& /*Arguments*/) {
  SetProperty(Gateway::Prop_LogLevel, Gateway::Choice_LogDebug);
  Show(Gateway::Prop_LogLevel);
}

// Text selects the choice with that value. Any other text selects the default choice, with a
// warning in the system log.
void SetLogLevel(std::istream& Arguments) {
  std::string Level;
  Arguments >> Level;
  SetProperty(Gateway::Prop_LogLevel, Level);
  Show(Gateway::Prop_LogLevel);
}

void SetTimeInterval(std::istream& Arguments) {
  int Seconds = 0;
  Arguments >> Seconds;
  SetProperty(Gateway::Prop_TimeInterval, Seconds);
  Show(Gateway::Prop_TimeInterval);  // as the validator leaves it
}

// A property of a record: the link says which one.
void SetUser(std::istream& Arguments) {
  int Number = 0;
  std::string Name;
  std::getline(Arguments >> Number >> std::ws, Name);
  SetProperty(Gateway::Prop_UserName, Name, TCRecordID(Number));
  Show(Gateway::Prop_UserName, TCRecordID(Number));
}

// Records the settings in the calling thread's transaction.
void EnterStaticAddress(std::istream& Arguments) {
  std::string Address;
  std::string Mask;
  std::string DefaultGateway;
  Arguments >> Address >> Mask >> DefaultGateway;
  SetProperty(Gateway::Prop_AddressMode, Gateway::Choice_AddressStatic);
  SetProperty(Gateway::Prop_IPAddress, Address);
  SetProperty(Gateway::Prop_NetMask, Mask);
  SetProperty(Gateway::Prop_DefaultGateway, DefaultGateway);
}

// Settings that only make sense together reach the other processes together.
void SetStaticAddress(std::istream& Arguments) {
  TCScopedTransaction Transaction;
  EnterStaticAddress(Arguments);  // sets four values
  Transaction.Commit();
  ShowNetwork("network");
}

// What a person looks at and then cancels. A transaction that is left without Commit, also by an
// exception, is rolled back by its destructor.
void PreviewStaticAddress(std::istream& Arguments) {
  {
    TCScopedTransaction const Transaction;
    EnterStaticAddress(Arguments);
    ShowNetwork("preview");
  }
  ShowNetwork("network");
}

// Sets what the schema says goes with a choice.
void SetWhatGoesWith(TCPropertyChoiceID const& Choice) {
  auto const* const Dependencies = TCPropertyDependency::m_List;
  auto const Found = Dependencies->find(TCBasicPropertyID::Find(Choice.get_AsInteger()));
  if (Found == Dependencies->end()) {
    return;
  }
  auto const Dependency = Found->second->GetDependency();
  for (auto const& Entry : Dependency.get_Entries()) {
    if (!Entry.get_Value().IsNull()) {
      SetProperty(*TCPropertyID::Find(Entry.get_ID().get_Value()), Entry.get_Value().get_Value());
    }
  }
}

void UseMailTLS(std::istream& /*Arguments*/) {
  TCScopedTransaction Transaction;
  SetProperty(Gateway::Prop_MailSecurity, Gateway::Choice_MailTLS);
  SetWhatGoesWith(Gateway::Choice_MailTLS);
  Transaction.Commit();
  Show(Gateway::Prop_MailPort);
}

using TCommand = void (*)(std::istream&);

std::map<std::string, TCommand> const& Commands() {
  static std::map<std::string, TCommand> const List = {
      {"device-name", SetDeviceName},
      {"host-name", SetHostName},
      {"log-everything", LogEverything},
      {"log-level", SetLogLevel},
      {"mail-tls", UseMailTLS},
      {"preview-address", PreviewStaticAddress},
      {"static-address", SetStaticAddress},
      {"time-interval", SetTimeInterval},
      {"user", SetUser},
  };
  return List;
}

void Execute(std::string const& Line) {
  std::istringstream Arguments(Line);
  std::string Name;
  Arguments >> Name;
  auto const Found = Commands().find(Name);
  if (Found == Commands().end()) {
    std::cout << "unknown command: " << Name << std::endl;
    return;
  }
  try {
    Found->second(Arguments);
  } catch (std::exception const& Failure) {
    std::cout << Name << " failed: " << Failure.what() << std::endl;
  }
}

}  // namespace

int main() {
  openlog("gateway-panel", LOG_PERROR, LOG_USER);
  try {
    // Waits for the server and loads the values of this device and the system-wide ones.
    TCPropertyCollectionDriver::Create(true);
    Gateway::InstallValidators();
    std::cout << "ready" << std::endl;

    std::string Line;
    while (std::getline(std::cin, Line)) {
      Execute(Line);
    }

    // A set returns at once. Before it ends, a program may make sure that its changes are safe.
    if (!TCPropertyCollectionDriver::get_Instance()->WaitForAcknowledgements(kLastMailsTimeout)) {
      std::cerr << "gateway-panel: the last changes have not reached the server" << std::endl;
      return 1;
    }
    return 0;
  } catch (std::exception const& Failure) {
    std::cerr << "gateway-panel: " << Failure.what() << std::endl;
    return 1;
  }
}
