// SPDX-License-Identifier: MIT
// Figures for programs that watch many devices, in the text format of Prometheus.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "PropertyConsole/TSConsoleCounters.h"
#include "ServerClient/ServerFigures.h"

namespace Property {

/// How the console is at this moment.
struct TSConsoleGauges {
  std::size_t Sessions = 0;
  std::size_t Streams = 0;
  bool IsConnected = false;  ///< whether the server is reached
};

std::string ConsoleMetrics(TSConsoleCounters const& Counters, TSConsoleGauges const& Gauges);

/// Those of the server's figures that are numbers, and whether there is trouble. What is not as it
/// should be is left out, and so are names that are not known: no label has a text of others.
std::string ServerMetrics(TCServerFigures const& Figures);

}  // namespace Property
