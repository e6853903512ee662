# SPDX-License-Identifier: MIT
# The headers that programs built with the library include.
set(PUBLIC_HEADERS
  TCNorvEventLoop.h
  TCNorvLoopTimer.h
  TCNorvLoopWork.h
  TCNorvWatchedFile.h)
