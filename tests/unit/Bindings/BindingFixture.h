// SPDX-License-Identifier: MIT
// What tests of the C interface start from: a server, and a schema library.
#pragma once

#include <gmock/gmock.h>
#include <property/property.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "PropertyTesting/TCTestServer.h"
#include "tests/support/PrivateFolder.h"

struct TSHandleDeleter {
  void operator()(property_store* Handle) const { property_close(Handle); }
  void operator()(property_value* Handle) const { property_free_value(Handle); }
  void operator()(property_transaction* Handle) const { property_free_transaction(Handle); }
  void operator()(property_receipt* Handle) const { property_free_receipt(Handle); }
  void operator()(property_watch* Handle) const { property_free_watch(Handle); }
  void operator()(property_change* Handle) const { property_free_change(Handle); }
};
template <class THandle>
using THandleOf = std::unique_ptr<THandle, TSHandleDeleter>;
using TValue = THandleOf<property_value>;

/// Milliseconds, for what comes in a test that passes, and for what does not come.
constexpr int kPatience = 30000;
constexpr int kShort = 50;

// Of the schema library.
constexpr int kBrightness = 111;
constexpr int kDay = 1121;
constexpr int kNight = 1122;
constexpr char kOtherDevice[] = "02:00:00:00:00:02";

/// The answer of a call that gives a text, which is given back.
template <class TCall>
std::string AnswerOf(TCall const& Call) {
  char* Text = nullptr;
  std::size_t Length = 0;
  EXPECT_EQ(Call(&Text, &Length), PROPERTY_OK) << property_last_error();
  std::string const Result = Text != nullptr ? std::string(Text, Length) : "nothing";
  property_free(Text);
  return Result;
}

inline std::string TextOf(property_value const* Value) {
  return AnswerOf(
      [=](char** Text, std::size_t* Length) { return property_get_text(Value, Text, Length); });
}

inline int IntOf(TValue const& Value) {
  int Number = -1;
  EXPECT_EQ(property_get_int(Value.get(), &Number), PROPERTY_OK) << property_last_error();
  return Number;
}

template <class TAction>
void OnAnotherThread(TAction const& Action) {
  std::thread(Action).join();
}

struct TBindingFixture : ::testing::Test {
  TBindingFixture() { std::filesystem::copy_file(BINDING_SCHEMA, m_Schema); }
  ~TBindingFixture() override {
    m_Store.reset();
    std::filesystem::remove_all(m_Folder);
  }

  property_status Open(std::uint32_t Flags, int Timeout, THandleOf<property_store>& Store) const {
    char const* const Schemas[] = {m_Schema.c_str(), nullptr};
    property_store* Handle = nullptr;
    property_status const Status = property_open(Schemas, Flags, Timeout, &Handle);
    Store.reset(Handle);
    return Status;
  }
  void Open(std::uint32_t Flags = 0) {
    ASSERT_EQ(Open(Flags, kPatience, m_Store), PROPERTY_OK) << property_last_error();
  }

  TValue Find(char const* Name, char const* Device = nullptr) const {
    property_value* Value = nullptr;
    EXPECT_EQ(property_find(m_Store.get(), Name, Device, &Value), PROPERTY_OK)
        << property_last_error();
    return TValue(Value);
  }

  THandleOf<property_transaction> Begin() const {
    property_transaction* Transaction = nullptr;
    EXPECT_EQ(property_begin(m_Store.get(), &Transaction), PROPERTY_OK) << property_last_error();
    return THandleOf<property_transaction>(Transaction);
  }

  static Property::TCPropertyID const& Field(int Number) {
    return *Property::TCPropertyID::Find(Number);
  }

  std::string const m_Folder = MakePrivateFolder();
  std::string const m_Schema = m_Folder + "/schema.so";
  Property::Testing::TCTestServer m_Server;
  THandleOf<property_store> m_Store;
};
