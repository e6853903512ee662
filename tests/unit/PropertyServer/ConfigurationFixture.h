// SPDX-License-Identifier: MIT
// Configurations as texts, for users and groups that do not depend on the system's.
#pragma once

#include <gmock/gmock.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCServerConfiguration.h"

inline constexpr uid_t kPanel = 4001;
inline constexpr uid_t kStranger = 4002;
inline constexpr gid_t kProperty = 7000;
inline constexpr gid_t kOperators = 7001;
inline constexpr gid_t kNone = 7999;

TSNorvMailSender Sender(uid_t User, gid_t Group = kNone, std::vector<gid_t> Groups = {});

inline TSNorvMailSender const kGroupMember = Sender(kStranger, kProperty);

Property::TCServerConfiguration Parse(std::string const& Text);

/// What `Action` throws says.
std::string MessageOf(std::function<void()> const& Action);

/// Why the text is refused.
std::string Refusal(std::string const& Text);

/// A rule for the property 100.
std::string Rule(std::string const& Body);

/// The system knows the users root and panel and the groups property and operators, but one that a
/// test removes; "broken", or another, can not be looked up.
struct TConfigurationFixture : ::testing::Test {
  ~TConfigurationFixture() override;

  static void Remove(std::string const& Name);
  static void Break(std::string const& Name);
};
