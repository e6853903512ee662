// SPDX-License-Identifier: MIT
// What travels between the processes of the model and its server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/Wire/Frame.h"
#include "tests/model/ModelPlan.h"

/// Values by their keys.
using TCModelValues = std::map<int, int>;

constexpr int kNoValue = -1;  ///< there is none
constexpr std::size_t kEverybody = SIZE_MAX;

/// A mail from a process.
struct TSModelMail {
  std::uint64_t m_Number = 0;
  TCModelValues m_Values;
  TSModelPlan::TEFate m_Fate = TSModelPlan::TEFate::eTaken;
  bool m_Conditional = false;
  TCModelValues m_Expected;  ///< of a conditional one: what its values have to be
};

/// From the server: a mail; what stands after a refused or a decided one; the whole; that own
/// mails were published, or acknowledged. Among those kept, that who returns from before has to
/// have the whole.
struct TSModelPublished {
  enum class TEKind { eMail, eStanding, eWhole, eOwnMails, eAcknowledged, eNeedsWhole } m_Kind;
  std::size_t m_Origin;  ///< kEverybody: of eNeedsWhole only
  std::uint64_t m_Number;
  TCModelValues m_Values;
  Wire::TSPosition m_Position;   ///< up to which it tells
  std::uint64_t m_Previous = 0;  ///< the place of what the process was sent before
};

/// The classes of mails that set values and of those that do so on conditions.
TCNorvMailClassID const& ModelValueClass();
TCNorvMailClassID const& ModelConditionClass();

/// A mail as the product keeps it, and back.
TSNorvMailContent EncodedMail(TSModelMail const& Mail);
TSModelMail DecodedMail(std::uint64_t Number, TSNorvMailContent const& Content);
/// The mails of a frame.
std::vector<TSModelMail> DecodedMails(Wire::TCFrame const& Frame);

void AppendText(std::string& Text, TCModelValues const& Values);
void AppendText(std::string& Text, TSModelPublished const& Published);
