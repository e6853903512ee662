// SPDX-License-Identifier: MIT
// Tests the control of the fan: fan-test CASE. Each case is a process, because a process has one
// store. With a test framework the cases are its tests, and the checks its assertions.
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "FanSchema.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyTesting/TCTestServer.h"
#include "TCFanControl.h"

using Fan::Choice_On;
using Fan::Prop_Limit;
using Fan::Prop_Mode;
using Fan::Prop_Running;
using Fan::Prop_SensorName;
using Fan::Prop_Temperature;
using Fan::TCFanControl;
using Property::TCPropertyCollection;
using Property::TCPropertyCollectionDriver;
using Property::Testing::TCTestServer;

namespace {

void Check(bool Holds, char const* Text) {
  if (!Holds) {
    throw std::runtime_error(Text);
  }
}

void RunsWhenItIsHot() {
  TCTestServer Server;              // before the store, which finds it
  Server.SetValue(Prop_Limit, 50);  // what the device has stored
  TCPropertyCollectionDriver::Create(true);
  TCFanControl Control;
  Server.SetValue(Prop_Temperature, 50);  // another program measures
  Server.WaitUntilArrived();              // it is here, and notifiers have been called
  Control.get_Events().Dispatch();        // as the program's loop does
  Server.WaitUntilArrived();              // what the control has set is stored
  Check(Server.FindValue(Prop_Running) == "1", "the fan stands still");
}

void StopsWhenTheLimitIsRaised() {
  TCTestServer Server;
  Server.SetValues({{&Prop_Temperature, "45", {}, ""}, {&Prop_Running, "1", {}, ""}});
  TCPropertyCollectionDriver::Create(true);
  TCFanControl Control;
  Server.WaitUntilArrived();
  Check(Server.FindValue(Prop_Running) == "1", "the fan has stopped at once");
  Server.SetValue(Prop_Limit, 60);
  Server.WaitUntilArrived();
  Control.get_Events().Dispatch();
  Server.WaitUntilArrived();
  Check(Server.FindValue(Prop_Running) == "0", "the fan still runs");
}

void RunsWhileTheServerIsAway() {
  TCTestServer Server;
  TCPropertyCollectionDriver::Create(true);
  Server.SetValue(Prop_Temperature, 90);
  Server.WaitUntilArrived();
  Server.Stop();
  TCFanControl const Control;
  Check(GetProperty(Prop_Running).get_AsBool(), "the fan waits for the server");
  Server.Start();
  Server.WaitUntilArrived();
  Check(Server.FindValue(Prop_Running) == "1", "the server has not heard of it");
}

void ReadsWhatStandsAfterARefusal() {
  TCTestServer Server;
  Server.SetValue(Prop_Temperature, 90);
  TCPropertyCollectionDriver::Create(true);
  Server.RefuseNextChange("the fan is being repaired");
  TCFanControl const Control;
  Server.WaitUntilArrived();
  Check(!GetProperty(Prop_Running).get_AsBool(), "the refused value stands");
}

void RunsWhenItIsSwitchedOn() {
  TCTestServer Server;
  TCPropertyCollectionDriver::Create(true);
  TCFanControl Control;
  Server.SetValue(Prop_Mode, Choice_On);
  Server.WaitUntilArrived();
  Control.get_Events().Dispatch();
  Check(GetProperty(Prop_Running).get_AsBool(), "the fan stands still");
}

void ReadsALimitThatMakesSense() {
  TCTestServer Server;
  Server.SetValue(Prop_Limit, 200);
  TCPropertyCollectionDriver::Create(true);
  Fan::InstallValidators();
  Check(GetProperty(Prop_Limit).get_AsInteger() == 80, "the limit is read as it is stored");
  Server.WaitUntilArrived();
  Check(Server.FindValue(Prop_Limit) == "200", "the correction was sent");
}

void NamesItsSensors() {
  TCTestServer Server;
  TCPropertyCollectionDriver::Create(true);
  SetProperty(Prop_SensorName, "door", 1);
  SetProperty(Prop_SensorName, "roof", 2);
  std::string Names;
  for (auto const& Name : TCPropertyCollection::get()->GetProperties(Prop_SensorName)) {
    Names += Name.get_Link().get_AsString() + ' ' + Name.get_AsString() + '\n';
  }
  Check(Names == "1 door\n2 roof\n", "the list of names is another");
}

}  // namespace

int main(int Count, char** Arguments) {
  std::map<std::string, std::function<void()>> const Cases = {
      {"RunsWhenItIsHot", RunsWhenItIsHot},
      {"StopsWhenTheLimitIsRaised", StopsWhenTheLimitIsRaised},
      {"RunsWhileTheServerIsAway", RunsWhileTheServerIsAway},
      {"ReadsWhatStandsAfterARefusal", ReadsWhatStandsAfterARefusal},
      {"RunsWhenItIsSwitchedOn", RunsWhenItIsSwitchedOn},
      {"ReadsALimitThatMakesSense", ReadsALimitThatMakesSense},
      {"NamesItsSensors", NamesItsSensors}};
  auto const Case = Cases.find(Count == 2 ? Arguments[1] : "");
  if (Case == Cases.end()) {
    std::fputs("usage: fan-test CASE\n", stderr);
    return 2;
  }
  try {
    Case->second();
    return 0;
  } catch (std::exception const& Failure) {
    std::fprintf(stderr, "%s: %s\n", Arguments[1], Failure.what());
    return 1;
  }
}
