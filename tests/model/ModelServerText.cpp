// SPDX-License-Identifier: MIT
// Tells the states of the server and of its connections apart.
#include "tests/model/TCModelServer.h"

void TCModelServer::AppendNumbers(TCPartNumbers& Numbers, bool WithPublished,
                                  std::u32string& Result) const {
  auto const NumberOf = [&Numbers](auto const& Part) {
    return Part.get_Number(Numbers, [](auto const& Content) { return TextOf(Content); });
  };
  Result.push_back(static_cast<char32_t>(m_Hidings));
  Result.push_back(NumberOf(m_Now));
  Result.push_back(NumberOf(m_Disk));
  Result.push_back(WithPublished ? NumberOf(m_Published) : 0);
  for (auto const& Connection : m_Connections) {
    Result.push_back(NumberOf(Connection));
  }
}

// All places of another epoch are alike.
std::uint32_t TCModelServer::PlaceOf(Wire::TSPosition const& Received) const {
  return Received.Epoch == m_Epoch ? static_cast<std::uint32_t>(Received.Sequence) + 1 : 0;
}

std::string TCModelServer::get_AsText() const {
  std::string Text = TextOf(*m_Now) + "\n" + TextOf(*m_Disk) + "\n" + TextOf(*m_Published);
  for (auto const& Connection : m_Connections) {
    Text += "\n" + TextOf(*Connection);
  }
  return Text;
}

// Of the order in which mails of several processes were taken nothing follows.
std::string TCModelServer::TextOf(TSLedger const& Ledger) {
  std::string Text = "ledger ";
  AppendText(Text, Ledger.m_Values);
  for (std::size_t Process = 0; Process < Ledger.m_Last.size(); ++Process) {
    Text += std::to_string(Ledger.m_Last[Process]) + '(';
    for (auto const& [Origin, Number] : Ledger.m_Log) {
      Text += Origin == Process ? std::to_string(Number) + ' ' : std::string();
    }
    Text += ") ";
  }
  for (auto const& [Process, Number] : Ledger.m_Refused) {
    Text += std::to_string(Process) + '/' + std::to_string(Number) + ' ';
  }
  return Text;
}

std::string TCModelServer::TextOf(std::vector<TSModelPublished> const& Published) {
  std::string Text = "published ";
  for (TSModelPublished const& Mail : Published) {
    AppendText(Text, Mail);
  }
  return Text;
}

// Mails of a process are known by their numbers: it keeps them.
std::string TCModelServer::TextOf(TSConnection const& Connection) {
  std::string Text = Connection.m_Connected ? "connected " : "apart ";
  for (TSModelMail const& Mail : Connection.m_Mails) {
    Text += std::to_string(Mail.m_Number) + ' ';
  }
  Text += "told " + std::to_string(Connection.m_Place) + ' ';
  for (TSModelPublished const& Told : Connection.m_Told) {
    AppendText(Text, Told);
  }
  if (Connection.m_OwnToTell) {
    Text += "own ";
    AppendText(Text, *Connection.m_OwnToTell);
  }
  Text += Connection.m_Behind ? "behind " + std::to_string(Connection.m_ToAcknowledge) : "";
  for (int const Key : Connection.m_Hidden) {
    Text += " without " + std::to_string(Key);
  }
  return Text;
}
