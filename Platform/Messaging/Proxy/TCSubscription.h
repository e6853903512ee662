// SPDX-License-Identifier: MIT
// How far a proxy has received the published mails of one class.
#pragma once

#include <cstdint>

#include "Platform/Messaging/Wire/Frame.h"

/// Tells the next published mail from one that was had already and from one before which others are
/// missing. Knows nothing of sockets, threads or time. Synchronised by its owner.
class TCSubscription {
 public:
  /// Whether a published mail is to be taken.
  enum class TEVerdict {
    eNext,
    eHad,
    eGap,       ///< mails before it are missing; they are to be asked for now
    eStillGap,  ///< the same, and they have been asked for
  };

  /// Published mails are wanted from now on.
  void Want();
  /// As Want(); what the router remembers for this proxy comes first.
  void WantRemembered();
  /// Whether the router is to be asked for the mails after get_Received().
  bool IsToBeRequested() const { return m_State == TEState::eWanted || m_State == TEState::eGap; }
  void NoteRequested();
  /// The connection was lost.
  void Restart();
  /// An answer has come that is complete up to `Position`. True when it is where the published
  /// mails go on: the first answer of a router's run, unless they are wanted already.
  bool BeginAt(Wire::TSPosition const& Position);

  /// A published mail, or several own ones, have come. `Previous` is the sequence of the mail of
  /// the class before. One that brings the process up to date comes in its place like any other,
  /// unless it stands for all before it.
  TEVerdict Admit(Wire::TSPosition const& Position, std::uint64_t Previous, bool StandsForAll);
  /// What was admitted last could not be taken: it is missing. `Former` is the place before it.
  void TakeBack(Wire::TSPosition const& Former);
  /// Something is missing that must not be waited for.
  void AskAgain();

  Wire::TSPosition const& get_Received() const { return m_Received; }
  bool IsMissing() const { return m_State == TEState::eGap || m_State == TEState::eGapRequested; }

 private:
  enum class TEState {
    eUnwanted,
    eWanted,        // and not asked for on this connection
    eComing,        // asked for: each mail comes after the one before it
    eGap,           // mails are missing, to be asked for
    eGapRequested,  // mails are missing, and have been asked for
  };

  TEState m_State = TEState::eUnwanted;
  Wire::TSPosition m_Received;  // the last mail, or the first answer's place
};
