// SPDX-License-Identifier: MIT
// How the console serves.
#pragma once

#include <string>
#include <vector>

namespace Property {

struct TSConsoleSettings {
  std::string Address = "127.0.0.1";
  unsigned Port = 8420;
  std::string Router;                ///< address of the property server
  std::vector<std::string> Schemas;  ///< files and folders; none: those of the environment
  std::string Users;                 ///< file of the users
  std::vector<std::string> Names;    ///< of this host, beside localhost
  std::string Certificate;           ///< file; empty: nothing is encrypted
  std::string Key;                   ///< file
  bool PlainHTTP = false;            ///< serves others than this machine without encryption
  bool Metrics = false;              ///< tells its figures also who has not signed in
  unsigned Threads = 8;
  // 200 pages at once, with the six connections that a browser opens for each.
  unsigned WaitingConnections = 1280;
  unsigned BodyKiB = 4096;
  unsigned RequestSeconds = 10;
  unsigned IdleSeconds = 1800;
  unsigned SessionSeconds = 43200;
  unsigned Sessions = 256;
};

}  // namespace Property
