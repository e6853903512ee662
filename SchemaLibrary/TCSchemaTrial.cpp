// SPDX-License-Identifier: MIT
// Finds the libraries to blame: all in one run when they are good, in parts when they are not.
#include "SchemaLibrary/TCSchemaTrial.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "SchemaLibrary/TCTrialProcess.h"

using std::chrono::steady_clock;

namespace Property {

TCSchemaTrial::TCSchemaTrial(TSSchemaTrialSettings Settings) : m_Settings(std::move(Settings)) {}

std::vector<TSSchemaVerdict> TCSchemaTrial::Try(std::vector<std::string> const& Loaded,
                                                std::vector<std::string> const& Files) {
  m_End = steady_clock::now() + m_Settings.AllPatience;
  m_Good = Loaded;
  m_Files = Files;
  m_Verdicts.assign(Files.size(), {});
  TPlaces Places(Files.size());
  for (std::size_t Place = 0; Place < Places.size(); ++Place) {
    Places[Place] = Place;
  }
  TryTogether(Places);
  return m_Verdicts;
}

void TCSchemaTrial::TryTogether(TPlaces Places) {
  while (!Places.empty()) {
    TSTrialResult const Result = Run(Places);
    TPlaces const Left = TakeVerdicts(Places, Result);
    if (Result.Complete) {
      Accept(Left);
      return;
    }
    bool const AllLoaded = Result.Verdicts.size() == m_Good.size() + Places.size();
    if (AllLoaded && !Result.Fatal) {
      TryHalves(Left, Result.Reason);
      return;
    }
    Places = Left;
  }
}

TSTrialResult TCSchemaTrial::Run(TPlaces const& Places) {
  TSTrialResult Result;
  if (steady_clock::now() >= m_End) {
    Result.Tried = false;
    Result.Reason = "it was not tried: those before it have taken all the time";
    return Result;
  }
  std::vector<std::string> Libraries = m_Good;
  std::transform(Places.begin(), Places.end(), std::back_inserter(Libraries),
                 [this](std::size_t Place) { return m_Files[Place]; });
  try {
    return TCTrialProcess(m_Settings, Libraries, m_End).Run();
  } catch (TCException const& Exception) {
    Result.Tried = false;
    Result.Reason = "it cannot be tried: " + PrintableText(Exception.what());
    return Result;
  }
}

// Refuses what the run has refused, and the library at which it ended. Answers those that are left.
TCSchemaTrial::TPlaces TCSchemaTrial::TakeVerdicts(TPlaces const& Places,
                                                   TSTrialResult const& Result) {
  TPlaces Left;
  std::size_t Told = m_Good.size();
  for (std::size_t const Place : Places) {
    if (Told < Result.Verdicts.size()) {
      TSSchemaVerdict const& Verdict = Result.Verdicts[Told];
      Verdict.Good ? Left.push_back(Place) : Refuse(Place, Verdict.Reason, true);
    } else if (Told == std::max(Result.Verdicts.size(), m_Good.size()) && !Result.Fatal) {
      Refuse(Place, Result.Reason, Result.Tried);
    } else {
      Left.push_back(Place);
    }
    ++Told;
  }
  return Left;
}

// Each is good by itself, as far as is known.
void TCSchemaTrial::TryHalves(TPlaces const& Places, std::string const& Reason) {
  if (Places.size() == 1) {
    Refuse(Places.front(), Reason, true);
    return;
  }
  auto const Middle = Places.begin() + static_cast<std::ptrdiff_t>(Places.size() / 2);
  TryTogether(TPlaces(Places.begin(), Middle));
  TryTogether(TPlaces(Middle, Places.end()));
}

void TCSchemaTrial::Accept(TPlaces const& Places) {
  for (std::size_t const Place : Places) {
    m_Good.push_back(m_Files[Place]);
    m_Verdicts[Place].Good = true;
  }
}

void TCSchemaTrial::Refuse(std::size_t Place, std::string const& Reason, bool Tried) {
  m_Verdicts[Place].Reason = Reason;
  m_Verdicts[Place].Tried = Tried;
}

}  // namespace Property
