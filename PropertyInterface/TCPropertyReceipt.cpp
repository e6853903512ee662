// SPDX-License-Identifier: MIT
// Leaves what a receipt is about to the store.
#include "PropertyInterface/TCPropertyReceipt.h"

#include <algorithm>

#include "PropertyInterface/TCPropertyCollectionDriver.h"

namespace Property {
TCPropertyReceipt TCPropertyReceipt::OfAll() {
  return TCPropertyCollectionDriver::Require().ReceiptOfAll();
}

TCPropertyReceipt TCPropertyReceipt::OfLast() {
  return TCPropertyCollectionDriver::Require().ReceiptOfLast();
}

TCPropertyReceipt TCPropertyReceipt::Since(TCPropertyReceipt const& Earlier) const {
  return TCPropertyReceipt(std::max(m_First, Earlier.m_Last + 1), m_Last);
}

TSPropertyReceipt TCPropertyReceipt::Wait(int Timeout) const {
  return m_First > m_Last ? TSPropertyReceipt()
                          : TCPropertyCollectionDriver::Require().WaitFor(*this, Timeout);
}

}  // namespace Property
