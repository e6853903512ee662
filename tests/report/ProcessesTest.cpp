// SPDX-License-Identifier: MIT
// Which process of a measurement failed, and why.
#include "benchmarks/support/Processes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace {

using Benchmark::SampleInProcess;
using Benchmark::TCPipe;
using Benchmark::TCProcess;
using ::testing::HasSubstr;

std::string FailureOf(std::function<void()> const& Action) {
  try {
    Action();
    return "none";
  } catch (std::runtime_error const& Failure) {
    return Failure.what();
  }
}

TEST(MeasurementProcessTest, EndsWithItsBody) {
  TCProcess Process("the writing process", [] {});
  EXPECT_EQ(FailureOf([&] { Process.Wait(); }), "none");
}

TEST(MeasurementProcessTest, TellsItsNameItsReasonAndItsStatus) {
  ::testing::internal::CaptureStderr();
  TCProcess Process("the writing process", [] { throw std::runtime_error("no disk"); });
  EXPECT_EQ(FailureOf([&] { Process.Wait(); }), "the writing process ended with status 1");
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              HasSubstr("the writing process: no disk\n"));
}

TEST(MeasurementProcessTest, TellsTheSignal) {
  TCProcess Process("the writing process", [] { std::raise(SIGKILL); });
  EXPECT_EQ(FailureOf([&] { Process.Wait(); }),
            "the writing process was ended by signal 9 (Killed)");
}

TEST(MeasurementProcessTest, OfAProgramHasItsName) {
  TCProcess Process({"/bin/false"});
  EXPECT_EQ(FailureOf([&] { Process.Wait(); }), "false ended with status 1");
}

TEST(MeasurementProcessTest, SendsItsSamples) {
  EXPECT_EQ(SampleInProcess(2,
                            [](TCPipe const& Pipe) {
                              Pipe.Send(1);
                              Pipe.Send(2);
                            }),
            (std::vector<double>{1, 2}));
}

TEST(MeasurementProcessTest, ThatEndsBeforeItsLastSampleTellsWhy) {
  EXPECT_EQ(FailureOf([] {
              SampleInProcess(2, [](TCPipe const& Pipe) {
                Pipe.Send(1);
                throw std::runtime_error("no disk");
              });
            }),
            "the measuring process ended with status 1");
}

TEST(MeasurementProcessTest, ThatSendsTooLittleIsAFailure) {
  EXPECT_EQ(FailureOf([] { SampleInProcess(1, [](TCPipe const&) {}); }),
            "another process of the measurement has ended without a report");
}

}  // namespace
