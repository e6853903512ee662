# SPDX-License-Identifier: MIT
# The headers that programs built with the library include.
set(PUBLIC_HEADERS
  TCNorvPropertyObject.h
  TCPropertyCollectionDriver.h
  TCPropertyReceipt.h
  TCScopedTransaction.h
  TSPropertyRefusal.h)
