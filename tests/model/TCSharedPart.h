// SPDX-License-Identifier: MIT
// Parts of a state that many states have in common.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

/// Numbers for texts: the same for equal ones, never 0.
class TCPartNumbers {
 public:
  std::uint32_t Of(std::string const& Text) {
    return m_Numbers.try_emplace(Text, static_cast<std::uint32_t>(m_Numbers.size() + 1))
        .first->second;
  }

 private:
  std::unordered_map<std::string, std::uint32_t> m_Numbers;
};

/// A part that copies share until one of them changes it, and the number of its text, which is
/// found once for all of them. For one thread.
template <class TPart>
class TCSharedPart {
 public:
  explicit TCSharedPart(TPart const& Part) : m_Node(std::make_shared<TSNode>(Part)) {}

  TPart const& operator*() const { return m_Node->m_Part; }
  TPart const* operator->() const { return &m_Node->m_Part; }

  /// This copy's own part, to be changed before its number is asked for again.
  TPart& Change() {
    if (m_Node.use_count() > 1) {
      m_Node = std::make_shared<TSNode>(m_Node->m_Part);
    }
    m_Node->m_Number = 0;
    return m_Node->m_Part;
  }

  /// `TextOf` makes the part's text, equal for two parts with the same future.
  template <class TTextOf>
  std::uint32_t get_Number(TCPartNumbers& Numbers, TTextOf const& TextOf) const {
    if (m_Node->m_Number == 0) {
      m_Node->m_Number = Numbers.Of(TextOf(m_Node->m_Part));
    }
    return m_Node->m_Number;
  }

 private:
  struct TSNode {
    explicit TSNode(TPart const& Part) : m_Part(Part) {}

    TPart m_Part;
    std::uint32_t m_Number = 0;
  };

  std::shared_ptr<TSNode> m_Node;
};
