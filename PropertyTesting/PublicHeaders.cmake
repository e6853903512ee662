# SPDX-License-Identifier: MIT
# The headers that tests of programs include.
set(PUBLIC_HEADERS
  PropertyTestingExport.h
  TCTestServer.h)
