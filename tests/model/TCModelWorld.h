// SPDX-License-Identifier: MIT
// A small world of writers, a server, and connections that break.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/model/ModelPlan.h"
#include "tests/model/TCModelProcess.h"
#include "tests/model/TCModelServer.h"
#include "tests/model/TCSharedPart.h"

/// One state of the world, and the steps from it to others. Copies are cheap: they share what is
/// alike. Points to the plan.
class TCModelWorld {
 public:
  explicit TCModelWorld(TSModelPlan const& Plan);

  struct TSStep {
    enum class TEKind {
      eSet,
      eSend,
      eAsk,
      eDecide,
      eTake,
      eStore,
      eReceive,
      eBegin,
      eApply,
      eEnd,
      eCut,
      eConnect,
      eConnectWhole,
      eCrash,
      eHide,
      eResume
    } m_Kind;
    std::size_t m_Process;
    std::size_t m_Thread = 0;
  };
  /// What can happen now.
  std::vector<TSStep> Steps() const;
  /// It happens. Throws std::logic_error when it breaks a promise.
  void Do(TSStep const& Step);

  /// Equal for two states with the same future.
  std::u32string Key(TCPartNumbers& Numbers) const;
  /// Of a world in which nothing is left to happen: empty, or what is wrong with it.
  std::string FinalFault() const;
  std::string get_AsText() const;

 private:
  void AddThreadSteps(std::size_t Process, std::vector<TSStep>& Steps) const;
  void AddDeliverySteps(std::size_t Process, std::vector<TSStep>& Steps) const;
  void AddConnectionSteps(std::size_t Process, std::vector<TSStep>& Steps) const;
  void DoInProcess(TSStep const& Step);
  void DoBetween(TSStep const& Step);
  void Transmit(std::size_t Process);
  void Cut(std::size_t Process);
  void Crash();

  TSModelPlan const* m_Plan;
  int m_CutsLeft;
  int m_CrashesLeft;
  TCModelServer m_Server;
  std::vector<TCSharedPart<TCModelProcess>> m_Processes;
};
