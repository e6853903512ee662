// SPDX-License-Identifier: MIT
// Goes deeper from each state that is new, and back where none is.
#include "tests/model/Exploration.h"

#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tests/model/TCModelWorld.h"

namespace {

struct TSVisit {
  TCModelWorld m_World;
  std::vector<TCModelWorld::TSStep> m_Steps;
  std::size_t m_Next = 0;  // of them
};

TSVisit VisitOf(TCModelWorld World) {
  std::vector<TCModelWorld::TSStep> Steps = World.Steps();
  std::string const Fault = Steps.empty() ? World.FinalFault() : std::string();
  if (!Fault.empty()) {
    throw std::logic_error(Fault + "\n" + World.get_AsText());
  }
  return {std::move(World), std::move(Steps)};
}

char const* NameOf(TCModelWorld::TSStep::TEKind Kind) {
  // in the order of the kinds
  static char const* const Names[] = {"sets",
                                      "sends",
                                      "asks",
                                      "decides",
                                      "is taken from",
                                      "(server) stores",
                                      "receives",
                                      "begins",
                                      "applies",
                                      "ends",
                                      "is cut",
                                      "connects",
                                      "connects and has all",
                                      "(server) crashes",
                                      "(server) hides",
                                      "is resumed"};
  return Names[static_cast<std::size_t>(Kind)];
}

// The steps so far, the one included that was about to be taken.
std::string TextOf(std::vector<TSVisit> const& Path) {
  std::string Text = "after the steps";
  for (TSVisit const& Visit : Path) {
    TCModelWorld::TSStep const& Step = Visit.m_Steps.at(Visit.m_Next - 1);
    Text += "\nprocess " + std::to_string(Step.m_Process) + ", thread " +
            std::to_string(Step.m_Thread) + ": " + NameOf(Step.m_Kind);
  }
  return Text;
}

}  // namespace

std::size_t Explore(TSModelPlan const& Plan) {
  TCPartNumbers Numbers;
  std::unordered_set<std::u32string> Visited;
  std::vector<TSVisit> Path;
  TCModelWorld const First(Plan);
  Visited.insert(First.Key(Numbers));
  Path.push_back(VisitOf(First));
  while (!Path.empty()) {
    TSVisit& Visit = Path.back();
    if (Visit.m_Next == Visit.m_Steps.size()) {
      Path.pop_back();
      continue;
    }
    try {
      TCModelWorld Next = Visit.m_World;
      Next.Do(Visit.m_Steps[Visit.m_Next++]);
      if (Visited.insert(Next.Key(Numbers)).second) {
        Path.push_back(VisitOf(std::move(Next)));
      }
    } catch (std::logic_error const& Fault) {
      throw std::logic_error(std::string(Fault.what()) + "\n" + TextOf(Path) + "\nfrom\n" +
                             Path.back().m_World.get_AsText());
    }
  }
  return Visited.size();
}
