// SPDX-License-Identifier: MIT
// Makes events of changes.
#include "PropertyConsole/TCEventFeed.h"

#include <deque>
#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/ValueJSON.h"

namespace Property {
namespace {

constexpr std::size_t kLongestText = std::size_t{64} << 10;  // of a value in an event
constexpr std::size_t kMostAtOnce = 256;

std::string ChangeEvent(nlohmann::ordered_json Object, std::string const& Revision,
                        std::string const& Device) {
  Object["device"] = nullptr;
  if (!Device.empty()) {
    Object["device"] = Device;
  }
  Object["revision"] = Revision;
  return "id: " + Revision + "\nevent: change\ndata: " + JSONAnswer(Object).Body + "\n\n";
}

}  // namespace

TCEventFeed::TCEventFeed(TCConsoleStore const& Store, TCServerQuestions& Server,
                         std::function<void()> Wake)
    : m_Store(Store),
      m_Server(Server),
      m_Wake(std::move(Wake)),
      m_Made(Store.get_Changes().get_Last()),
      m_Events(m_Made),
      m_Thread([this] { Run(); }) {}

TCEventFeed::~TCEventFeed() {
  m_Store.get_Changes().Interrupt();
  m_Thread.join();
}

void TCEventFeed::Run() {
  bool Goes = true;
  while (Goes) {
    try {
      Goes = MakeNext();
    } catch (std::exception const& Failure) {
      // What could not be told is as good as forgotten: the pages fetch all again.
      SyslogError("Changes are not told to the pages one by one: %s",
                  PrintableLine(Failure.what()).c_str());
      m_Made = m_Store.get_Changes().get_Last();
      m_Events.Forget(m_Made);
    }
    m_Wake();
  }
}

// Has the server say once for many changes what is secret. False when the end has come.
bool TCEventFeed::MakeNext() {
  auto const Changes = m_Store.get_Changes().AwaitAfter(m_Made, kMostAtOnce);
  if (!Changes) {
    throw std::runtime_error("there are too many at once");
  }
  if (Changes->empty()) {
    return false;
  }
  std::set<int> const Secrets = m_Server.AskSecrets(m_Store.get_Names());
  std::deque<TSEvent> Events;
  for (TSLoggedChange const& Change : *Changes) {
    Events.push_back(EventOf(Change, Secrets));
  }
  m_Made = Events.back().Number;
  m_Events.Add(std::move(Events));
  return true;
}

TSEvent TCEventFeed::EventOf(TSLoggedChange const& Change, std::set<int> const& Secrets) const {
  std::string const Revision = m_Store.RevisionAfter(Change.Number);
  TSEvent Event{Change.Number, Change.Key.get_MAC().get_AsString(':'), {}, {}};
  if (Change.Data && Change.Data->size() > kLongestText) {
    Event.Open = Event.Masked = ReloadEvent(Revision);
    return Event;
  }
  TSStoreValue Value{&Change.Key.get_ID(), std::nullopt, Change.Data};
  if (!Change.Key.get_Link().IsNull()) {
    Value.Record = Change.Key.get_Link().get_AsInteger();
  }
  Event.Open = ChangeEvent(ValueAsJSON(Value, {Secrets, true}), Revision, Event.Device);
  Event.Masked = ChangeEvent(ValueAsJSON(Value, {Secrets, false}), Revision, Event.Device);
  return Event;
}

}  // namespace Property
