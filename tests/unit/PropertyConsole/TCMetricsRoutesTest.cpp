// SPDX-License-Identifier: MIT
// How often the server is asked for figures, and what is told when it does not answer.
#include "PropertyConsole/TCMetricsRoutes.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "ServerClient/TCServerFailure.h"

namespace {

using namespace Property;
using ::testing::HasSubstr;
using ::testing::Not;

class MetricsRoutes : public ::testing::Test {
 protected:
  MetricsRoutes() { m_Metrics.AddTo(m_Routes, true); }

  TSAnswer Get() const {
    TSRequest const Request;
    return m_Routes.Find("GET", "/metrics").Route->Handler({Request, {}, {}, {}});
  }

  TSConsoleCounters m_Counters;
  std::chrono::steady_clock::time_point m_Now;
  int m_Asked = 0;
  std::function<TCServerFigures()> m_Server = [this] {
    return TCServerFigures{{"values", std::to_string(++m_Asked)}};
  };
  TCMetricsRoutes m_Metrics{m_Counters,
                            [] {
                              return TSConsoleGauges{1, 2, true};
                            },
                            [this] { return m_Server(); }, [this] { return m_Now; }};
  TCRoutes m_Routes;
};

TEST_F(MetricsRoutes, TellFiguresOfConsoleAndServer) {
  TSAnswer const Answer = Get();

  EXPECT_EQ(Answer.Status, 200);
  EXPECT_EQ(Answer.ContentType, "text/plain; version=0.0.4; charset=utf-8");
  EXPECT_THAT(Answer.Body, HasSubstr("\nproperty_console_streams 2\n"));
  EXPECT_THAT(Answer.Body, HasSubstr("\nproperty_server_values 1\n"));
}

TEST_F(MetricsRoutes, AskTheServerOnceASecond) {
  Get();
  m_Now += std::chrono::milliseconds(999);
  EXPECT_THAT(Get().Body, HasSubstr("\nproperty_server_values 1\n"));

  m_Now += std::chrono::milliseconds(1);
  EXPECT_THAT(Get().Body, HasSubstr("\nproperty_server_values 2\n"));
}

TEST_F(MetricsRoutes, TellNoOldFiguresOfAServerThatDoesNotAnswer) {
  Get();
  m_Now += std::chrono::seconds(1);
  m_Server = []() -> TCServerFigures {
    throw TCServerFailure(TEServerFailure::eNoServer, "no property server");
  };

  TSAnswer const Answer = Get();

  EXPECT_EQ(Answer.Status, 200);
  EXPECT_THAT(Answer.Body, HasSubstr("property_console_requests_total"));
  EXPECT_THAT(Answer.Body, Not(HasSubstr("property_server")));
}

TEST_F(MetricsRoutes, HaveNobodyWaitWhileAnotherAsks) {
  Get();
  m_Now += std::chrono::seconds(1);
  std::promise<void> IsAsked;
  std::promise<void> MayAnswer;
  m_Server = [&] {
    IsAsked.set_value();
    MayAnswer.get_future().wait();
    return TCServerFigures{{"values", "7"}};
  };
  std::thread Slow([this] { Get(); });
  IsAsked.get_future().wait();

  EXPECT_THAT(Get().Body, HasSubstr("\nproperty_server_values 1\n"));

  MayAnswer.set_value();
  Slow.join();
  EXPECT_THAT(Get().Body, HasSubstr("\nproperty_server_values 7\n"));
}

TEST_F(MetricsRoutes, AreForThoseWhoHaveSignedInUnlessTheyArePublic) {
  TCRoutes Routes;
  m_Metrics.AddTo(Routes, false);

  EXPECT_EQ(Routes.Find("GET", "/metrics").Route->Needed, TERole::eViewer);
  EXPECT_EQ(m_Routes.Find("GET", "/metrics").Route->Needed, std::nullopt);
}

}  // namespace
