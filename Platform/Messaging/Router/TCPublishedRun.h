// SPDX-License-Identifier: MIT
// Published mails that go to a subscriber together, in one frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Platform/Messaging/Router/TCRecentMails.h"
#include "Platform/Messaging/Router/TCRouterPeer.h"
#include "Platform/Messaging/Wire/Frame.h"

/// Collects mails that follow one another. The frame that was made of the last ones serves the next
/// subscriber, too, if that has the same and nothing differs. Owns the records, not the mails.
/// Belongs to the router's thread.
class TCPublishedRun {
 public:
  /// Begins anew, with the mails of a subscription that is told the next one.
  void Begin(TSRouterSubscription& Subscription, Wire::TEWhose Whose);
  /// Whether the mail may follow those that are there.
  bool Takes(TSRouterSubscription const& Subscription, Wire::TEWhose Whose,
             TSPublishedMail const& Mail, TCNorvMailBody const& Body) const;
  /// Appends a mail, with the records that the subscriber may have of it.
  void Add(TSPublishedMail const& Mail, std::shared_ptr<TCNorvMailBody const> Body);
  void End() { m_Parts.clear(); }

  bool IsEmpty() const { return m_Parts.empty(); }
  // Unless it is empty:
  TSRouterSubscription& get_Subscription() const { return *m_Subscription; }
  std::uint64_t get_Last() const { return m_Parts.back().Mail->Sequence; }
  std::shared_ptr<Wire::TCFrame const> get_Frame(std::uint64_t Epoch);
  /// The mails are no longer there: what was made of them serves nobody else.
  void Forget();

  /// The head of a frame that begins with the mail.
  static Wire::TSFrameHead HeadOf(TSPublishedMail const& Mail, Wire::TEWhose Whose,
                                  std::uint64_t Epoch, std::uint64_t Previous);

 private:
  struct TSPart {
    TSPublishedMail const* Mail;
    std::shared_ptr<TCNorvMailBody const> Body;

    bool operator==(TSPart const& Other) const { return Mail == Other.Mail && Body == Other.Body; }
  };

  TSRouterSubscription* m_Subscription = nullptr;
  Wire::TEWhose m_Whose = Wire::TEWhose::eAnothers;
  std::vector<TSPart> m_Parts;
  std::size_t m_Bytes = 0;  // of the frame's mails

  void Write(TSPart const& Part, std::uint64_t Epoch);

  std::shared_ptr<Wire::TCFrame> m_Made;
  std::vector<TSPart> m_MadeOf;
  std::uint64_t m_MadePrevious = 0;
  Wire::TEWhose m_MadeWhose = Wire::TEWhose::eAnothers;
};
