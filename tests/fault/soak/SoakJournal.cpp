// SPDX-License-Identifier: MIT
// Writes and reads journals: a letter and numbers a line.
#include "tests/fault/soak/SoakJournal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

std::string Line(char Kind, TSSoakStamp const& Stamp) {
  return std::string(1, Kind) + " " + std::to_string(Stamp.Stream) + " " +
         std::to_string(Stamp.Counter) + " " + std::to_string(Stamp.Padding);
}

std::string Line(TSSoakKey const& Key) {
  return " " + std::to_string(Key.Number) + " " + std::to_string(Key.Link);
}

void ReadLine(std::string const& Text, TSSoakJournal& Journal) {
  std::istringstream Words(Text);
  char Kind = 0;
  TSSoakStamp Stamp;
  Words >> Kind >> Stamp.Stream >> Stamp.Counter >> Stamp.Padding;
  TSSoakKey Key;
  switch (Kind) {
    case 'w': {
      TSSoakChange Change{Stamp, {}};
      while (Words >> Key.Number >> Key.Link) {
        Change.Keys.push_back(Key);
      }
      Journal.Written[Stamp.Stream].push_back(Change);
      break;
    }
    case 'a':
      Journal.Acknowledged[Stamp.Stream] = Stamp.Counter;
      break;
    case 's':
      Words >> Key.Number >> Key.Link;
      Journal.Seen.push_back({Key, Stamp});
      break;
    case 'k': {
      TSSoakKept& Kept = Journal.Kept[Stamp.Stream];
      Words >> Kept.Before >> Kept.After;
      break;
    }
    case '!':
      Journal.Complaints.push_back(Text.substr(1));
      break;
    default:
      throw std::runtime_error("a journal has the line \"" + Text + "\"");
  }
}

}  // namespace

TSSoakJournal TSSoakJournal::Read(std::string const& Path) {
  TSSoakJournal Journal;
  std::ifstream File(Path);
  std::string Text;
  while (std::getline(File, Text) && !File.eof()) {
    ReadLine(Text, Journal);
  }
  return Journal;
}

TSoakJournalWriter::TSoakJournalWriter(std::string const& Path)
    : m_File(open(Path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {
  if (m_File < 0) {
    throw std::runtime_error("cannot write " + Path);
  }
}

TSoakJournalWriter::~TSoakJournalWriter() {
  close(m_File);
}

void TSoakJournalWriter::Writing(TSSoakChange const& Change) {
  std::string Text = Line('w', Change.Stamp);
  for (TSSoakKey const& Key : Change.Keys) {
    Text += Line(Key);
  }
  Append(Text + "\n");
}

void TSoakJournalWriter::Acknowledged(TSSoakStamp const& Last) {
  Append(Line('a', Last) + "\n");
}

void TSoakJournalWriter::Seen(std::vector<TSSoakNotice> const& Notices) {
  std::string Text;
  for (TSSoakNotice const& Notice : Notices) {
    Text += Line('s', Notice.Stamp) + Line(Notice.Key) + "\n";
  }
  Append(Text);
}

void TSoakJournalWriter::Keeping(TSSoakStamp const& Step, std::string const& Before,
                                 std::string const& After) {
  Append(Line('k', Step) + " " + Before + " " + After + "\n");
}

void TSoakJournalWriter::Kept(TSSoakStamp const& Step, std::string const& Value) {
  Keeping(Step, Value, Value);
}

void TSoakJournalWriter::Complain(std::string const& Text) {
  Append("!" + Text + "\n");
}

void TSoakJournalWriter::Append(std::string const& Lines) {
  if (write(m_File, Lines.data(), Lines.size()) != static_cast<ssize_t>(Lines.size())) {
    std::abort();  // a journal that is not complete would prove nothing
  }
}
