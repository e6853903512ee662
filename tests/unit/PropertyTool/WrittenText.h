// SPDX-License-Identifier: MIT
// A file in memory that takes what a test's output writes.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

class TWrittenText {
 public:
  TWrittenText() : m_File(open_memstream(&m_Bytes, &m_Size)) {}
  TWrittenText(TWrittenText const&) = delete;
  TWrittenText& operator=(TWrittenText const&) = delete;
  ~TWrittenText() {
    std::fclose(m_File);
    std::free(m_Bytes);
  }

  std::FILE* get_File() { return m_File; }
  std::string get_Text() {
    std::fflush(m_File);
    return std::string(m_Bytes, m_Size);
  }

 private:
  char* m_Bytes = nullptr;
  std::size_t m_Size = 0;
  std::FILE* m_File;
};
