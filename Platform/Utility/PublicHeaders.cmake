# SPDX-License-Identifier: MIT
# The headers that programs built with the library include.
set(PUBLIC_HEADERS
  DebugOutput.h
  PrintableText.h
  SystemLog.h
  TCCriticalSection.h
  TCException.h
  TCFileDescriptor.h
  TCMACAddress.h
  TCNullTypes.h
  TCRecordID.h
  TCUtilities.h
  ThreadAnnotations.h
  TextConversions.h)
