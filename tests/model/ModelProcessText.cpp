// SPDX-License-Identifier: MIT
// Tells the states of a process apart.
#include <algorithm>

#include "tests/model/TCModelProcess.h"

namespace {

// What it would send after a lost connection, and how much of that is on its way.
std::string OutboxText(TCOutbox const& Outbox) {
  std::string Text = std::to_string(Outbox.get_LastNumber()) + ' ' +
                     std::to_string(Outbox.get_LastAcknowledged()) + ' ' +
                     std::to_string(Outbox.get_OnWay()) + ' ';
  for (auto const& [Stream, Published] : Outbox.get_Streams()) {
    Text += std::to_string(Stream) + '<' + std::to_string(Published) + ' ';
  }
  TCOutbox Kept = Outbox;
  Kept.Restart();
  while (Kept.HasUnsent()) {
    TCOutbox::TSNext const Next = Kept.NextFrame();
    for (TSModelMail const& Mail : DecodedMails(Next.Frame)) {
      Text += std::to_string(Mail.m_Number) + ':';
      AppendText(Text, Mail.m_Values);  // they say which set it was, and so its fate
      AppendText(Text, Mail.m_Expected);
    }
    Kept.NoteSent(Next.Count);
  }
  return Text;
}

}  // namespace

std::string TCModelProcess::Text(TCPartNumbers& Numbers) const {
  std::uint32_t const Own =
      m_Own.get_Number(Numbers, [](TCOwnChanges const& Part) { return Part.get_AsText(); });
  std::uint32_t const Outbox = m_Outbox.get_Number(Numbers, OutboxText);
  return std::to_string(Own) + ' ' + std::to_string(Outbox) + ' ' + OwnText();
}

std::string TCModelProcess::get_AsText() const {
  return OwnText() + "\n  changes " + m_Own->get_AsText() + "\n  outbox " + OutboxText(*m_Outbox);
}

// But for what is in parts of their own.
std::string TCModelProcess::OwnText() const {
  std::string Text = "process ";
  AppendThreads(Text);
  AppendText(Text, m_Store);
  Text += std::to_string(m_Exclusive);
  Text += m_Subscription.IsToBeRequested() ? " wanted" : " coming";
  Text += m_Subscription.IsMissing() ? " missing inbox " : " inbox ";
  for (TSModelPublished const& Received : m_Inbox) {
    AppendText(Text, Received);
  }
  if (IsDelivering()) {
    Text += " delivery ";
    AppendText(Text, m_Delivery.m_Values);
    for (std::string const& Key : m_Delivery.m_Held) {
      Text += Key + ' ';
    }
    Text += m_Delivery.m_Whole ? "whole " : "";
    Text += std::to_string(m_Delivery.m_OfOne) + ' ';
    for (int const Key : m_Delivery.m_Named) {
      Text += std::to_string(Key) + ' ';
    }
  }
  return Text;
}

// Of marks only the order matters.
void TCModelProcess::AppendThreads(std::string& Text) const {
  for (TSThread const& Thread : m_Threads) {
    Text += std::to_string(Thread.m_Done) + (Thread.m_IsMarked ? "m" : "-");
    AppendText(Text, Thread.m_Values);
    if (Thread.m_Awaited != 0) {
      Text += std::to_string(Thread.m_Awaited);
      Text += m_UpTo >= Thread.m_Awaited ? "come " : "awaited ";
    }
    if (Thread.m_IsMarked) {
      Text += std::to_string(
          std::count_if(m_Threads.begin(), m_Threads.end(), [&Thread](TSThread const& Other) {
            return Other.m_IsMarked && Other.m_Mark < Thread.m_Mark;
          }));
      Text += ' ';
    }
  }
}
