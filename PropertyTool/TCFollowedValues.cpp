// SPDX-License-Identifier: MIT
// Applies published mails and tells what differs.
#include "PropertyTool/TCFollowedValues.h"

#include <utility>

#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {

TCFollowedValues::TCFollowedValues(TCServerConnection& Server, TSCallbacks Callbacks)
    : m_Server(Server), m_Callbacks(std::move(Callbacks)) {
  m_Server.SetListener({[this](TCNorvMessage const& Mail) { OnMail(Mail); },
                        [this](bool Reachable) { OnState(Reachable); }});
}

TCFollowedValues::~TCFollowedValues() {
  m_Server.Close();
}

void TCFollowedValues::Begin() {
  m_Server.Follow(Norv_PropertyMail, [this] {
    TCValues Loaded;
    AskForAll(m_Server, [&Loaded](TSValueRecord const& Record) {
      if (Record.Data) {
        Loaded[Record.Place] = *Record.Data;
      }
    });
    TCMutexLock const Lock(m_Mutex);
    m_Values = std::move(Loaded);
    m_HasBegun = true;
    m_Callbacks.OnLoaded(m_Values);
  });
}

bool TCFollowedValues::Wait(std::optional<std::chrono::milliseconds> Time) {
  TCMutexLock Lock(m_Mutex);
  auto const Begin = std::chrono::steady_clock::now();
  while (!m_IsFinished && m_Failure == nullptr) {
    if (!Time) {
      Lock.Wait(m_Changed);
    } else if (std::chrono::steady_clock::now() - Begin < *Time) {
      Lock.WaitUntil(m_Changed, Begin + *Time);
    } else {
      return false;
    }
  }
  if (m_Failure != nullptr) {
    std::rethrow_exception(m_Failure);
  }
  return true;
}

void TCFollowedValues::Finish() {
  m_Mutex.SayHeld();
  m_IsFinished = true;
  m_Changed.notify_all();
}

// With the lock held: callbacks are called one at a time, and none after the end.
void TCFollowedValues::Guard(std::function<void()> const& Function) {
  TCMutexLock const Lock(m_Mutex);
  if (!m_HasBegun || m_IsFinished || m_Failure != nullptr) {
    return;
  }
  try {
    Function();
  } catch (...) {
    m_Failure = std::current_exception();
    m_Changed.notify_all();
  }
}

void TCFollowedValues::OnState(bool Reachable) {
  Guard([this, Reachable]() PROPERTY_REQUIRES(m_Mutex) {
    if (std::exchange(m_IsReachable, Reachable) != Reachable) {
      m_Callbacks.OnState(Reachable);
    }
  });
}

void TCFollowedValues::OnMail(TCNorvMessage const& Mail) {
  Guard([this, &Mail]() PROPERTY_REQUIRES(m_Mutex) {
    Apply(Mail);
    if (!m_IsFinished) {
      m_Callbacks.OnEnd(m_Values);
    }
  });
}

void TCFollowedValues::Apply(TCNorvMessage const& Mail) {
  std::optional<TCValues> Whole;
  ReadValues(Mail, [this, &Whole](TSValueRecord const& Record) PROPERTY_REQUIRES(m_Mutex) {
    if (Record.IsWhole) {
      Whole.emplace();
    } else if (!Whole) {
      Take(Record.Place, Record.Data);
    } else if (Record.Data) {
      (*Whole)[Record.Place] = *Record.Data;
    }
  });
  if (Whole) {
    TakeWhole(*Whole);
  }
}

void TCFollowedValues::TakeWhole(TCValues const& Whole) {
  std::vector<TSPropertyPlace> Gone;
  for (auto const& [Place, Data] : m_Values) {
    if (Whole.count(Place) == 0) {
      Gone.push_back(Place);
    }
  }
  for (TSPropertyPlace const& Place : Gone) {
    Take(Place, std::nullopt);
  }
  for (auto const& [Place, Data] : Whole) {
    Take(Place, Data);
  }
}

void TCFollowedValues::Take(TSPropertyPlace const& Place, std::optional<std::string> const& Data) {
  auto const Stored = m_Values.find(Place);
  TSValueChange Change{Place, std::nullopt, Data};
  if (Stored != m_Values.end()) {
    Change.Former = Stored->second;
  }
  if (m_IsFinished || Change.Former == Data) {
    return;
  }
  if (Data) {
    m_Values[Place] = *Data;
  } else {
    m_Values.erase(Stored);
  }
  m_Callbacks.OnChange(Change);
}

}  // namespace Property
