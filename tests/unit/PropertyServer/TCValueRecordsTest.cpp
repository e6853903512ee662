// SPDX-License-Identifier: MIT
// What is read from the records of values, and which of them are published as they came.
#include "PropertyServer/TCValueRecords.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "PropertyInterface/TCNorvPropertyObject.h"

namespace {

using Property::TCPropertyPlace;
using Property::TCValueRecords;

constexpr char kDevice[] = "00:11:22:AA:BB:CC";

// The record of a value as a process may write it, and then changed.
template <class TChange>
std::shared_ptr<TCNorvMailBody const> Written(TChange const& Change) {
  TCNorvPropertyObject Object;
  Object.SetRecord(7, "value", Accessories::TCRecordID(5), false, kDevice);
  Change(Object.get_Record());
  TCNorvMailBody::TCWriter Writer(Object.get_Record().get_Signature());
  Object.get_Record().Encode(Writer);
  return Writer.Finish();
}

bool IsUsual(std::shared_ptr<TCNorvMailBody const> const& Body) {
  bool Usual = false;
  TCValueRecords().ReadAll({Norv_PropertyMail, 0, 0, Body}, Usual);
  return Usual;
}

template <class TChange>
bool IsUsual(TChange const& Change) {
  return IsUsual(Written(Change));
}

TEST(TCValueRecordsTest, ReadsWhatItWrites) {
  std::vector<TCPropertyPlace> const Places{
      {1, Accessories::TCRecordID(), TCMACAddress()},
      {2, Accessories::TCRecordID(-3), TCMACAddress(std::string(kDevice))},
      {4, Accessories::TCRecordID(5), TCMACAddress(std::string("FF:11:22:AA:BB:CC"))},
      {6, Accessories::TCRecordID(), TCMACAddress(std::string(kDevice))}};
  TCValueRecords Records;
  TCNorvMailBody::TCWriter Writer = Records.NewWriter();
  for (TCPropertyPlace const& Place : Places) {
    Records.Append(Writer, Place, "value " + std::to_string(std::get<int>(Place)), false);
  }
  bool Usual = false;
  auto const Read = Records.ReadAll({Norv_PropertyMail, 0, 0, Writer.Finish()}, Usual);
  ASSERT_EQ(Read.size(), Places.size());
  for (std::size_t Index = 0; Index < Places.size(); ++Index) {
    EXPECT_EQ(PlaceOf(Read[Index]), Places[Index]);
    EXPECT_EQ(Read[Index].Data, "value " + std::to_string(Read[Index].Number));
  }
  EXPECT_TRUE(Usual);
}

TEST(TCValueRecordsTest, TakesWhatProcessesWriteAsUsual) {
  EXPECT_TRUE(IsUsual([](auto const& /*Record*/) {}));
  EXPECT_TRUE(IsUsual([](auto& Record) { Record.m_Link.Unassign(); }));
  EXPECT_TRUE(IsUsual([](auto& Record) { Record.m_MAC.set_AsString(""); }));
}

TEST(TCValueRecordsTest, TakesNothingElseAsUsual) {
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_Link.set_AsString("+5"); }));
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_Link.set_AsString(""); }));
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_MAC.set_AsString("00:11:22:aa:bb:cc"); }));
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_MAC.Unassign(); }));
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_Data.Unassign(); }));
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_Loaded.set_AsBool(true); }));
  EXPECT_FALSE(IsUsual([](auto& Record) { Record.m_Loaded.Unassign(); }));
}

// Nobody would look at it, but everybody would be sent it.
TEST(TCValueRecordsTest, FindsBytesInAFieldThatIsNotAssigned) {
  std::string Bytes(Written([](auto const& /*Record*/) {})->get_Bytes());
  constexpr char kWithoutLink = 1 + 2 + 8 + 16;
  Bytes[0] = kWithoutLink;
  std::string const Signature = TCNorvPropertyObject::TCRecord().get_Signature();
  EXPECT_FALSE(IsUsual(TCNorvMailBody::FromBytes(Signature, Bytes)));
}

}  // namespace
