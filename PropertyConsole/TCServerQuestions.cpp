// SPDX-License-Identifier: MIT
// Asks the server, one question at a time.
#include "PropertyConsole/TCServerQuestions.h"

#include "ServerClient/ServerValues.h"
#include "ServerClient/TCSecrets.h"
#include "ServerClient/TCServerFailure.h"

namespace Property {
namespace {

// Milliseconds. Short, because others wait for their turn meanwhile.
constexpr int kReachTime = 250;
constexpr int kQuestionTime = 5000;

}  // namespace

TCServerQuestions::TCServerQuestions(std::string const& Address) : m_Server(Address) {
  m_Server.set_Patience(kQuestionTime);
  m_Server.Reach();
}

// A question would wait for a server that is away until its time is over; where
// it ends meanwhile, that is what is told.
template <class TQuestion>
std::invoke_result_t<TQuestion const&> TCServerQuestions::Ask(TQuestion const& Question) {
  TCServerFailure const Away(TEServerFailure::eNoServer,
                             "no property server at " + m_Server.get_Address());
  if (!m_Server.IsReachedWithin(kReachTime)) {
    throw Away;
  }
  try {
    return Question();
  } catch (TCServerFailure const& Failure) {
    if (Failure.get_Kind() == TEServerFailure::eTimeOut && !m_Server.IsReachedWithin(0)) {
      throw Away;
    }
    throw;
  }
}

TCServerFigures TCServerQuestions::AskFigures() {
  TCMutexLock const Lock(m_Lock);
  return Ask([this]() PROPERTY_REQUIRES(m_Lock) { return AskForFigures(m_Server); });
}

std::vector<TSHistoryEntry> TCServerQuestions::AskHistory(
    std::size_t Most, std::function<void(TCControlRecord&)> const& Narrow) {
  TCMutexLock const Lock(m_Lock);
  return Ask([&]() PROPERTY_REQUIRES(m_Lock) { return AskForHistory(m_Server, Most, Narrow); });
}

std::set<int> TCServerQuestions::AskSecrets(TCPropertyNames const& Names) {
  TCMutexLock const Lock(m_Lock);
  try {
    m_Secrets = Ask([&]() PROPERTY_REQUIRES(m_Lock) {
      TCSecrets Secrets(m_Server, false);
      std::set<int> Found;
      for (TCPropertyID const* const Field : Names.get_Fields()) {
        if (Secrets.IsSecret(Field->get_Number())) {
          Found.insert(Field->get_Number());
        }
      }
      return Found;
    });
  } catch (TCServerFailure const& Failure) {
    if (!m_Secrets || Failure.get_Kind() == TEServerFailure::eRefused) {
      throw;
    }
  }
  return *m_Secrets;
}

std::set<std::string> TCServerQuestions::AskPending() {
  TCMutexLock const Lock(m_Lock);
  return Ask([this]() PROPERTY_REQUIRES(m_Lock) {
    TCControlMail Mail(Norv_ControlMail, PropertyControl::kPending.Type,
                       PropertyControl::kPending.Name);
    m_Server.Ask(Mail);
    std::set<std::string> Transactions;
    for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
      Transactions.insert(Mail.GetMailRecord(Index)->get_Record().m_Transaction.get_AsString());
    }
    return Transactions;
  });
}

std::set<std::string> TCServerQuestions::AskDevices() {
  TCMutexLock const Lock(m_Lock);
  return Ask([this]() PROPERTY_REQUIRES(m_Lock) {
    std::set<std::string> Devices;
    AskForAll(m_Server, [&Devices](TSValueRecord const& Record) {
      if (!Record.IsWhole && !Record.Place.MAC.empty()) {
        Devices.insert(Record.Place.MAC);
      }
    });
    return Devices;
  });
}

}  // namespace Property
