// SPDX-License-Identifier: MIT
// A store and a transaction that is not begun.
#pragma once

#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"

struct TCPropertyTransactionTest : TStoreFixture {
  Property::TCPropertyTransaction m_Transaction;
};
