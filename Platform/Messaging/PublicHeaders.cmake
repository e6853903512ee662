# SPDX-License-Identifier: MIT
# The headers that programs built with the library include.
set(PUBLIC_HEADERS
  TCNorvChange.h
  TCNorvField.h
  TCNorvMailBody.h
  TCNorvMailClassID.h
  TCNorvMailFunctions.h
  TCNorvMailInHand.h
  TCNorvMailMessage.h
  TCNorvMailObject.h
  TCNorvMailRouter.h
  TCNorvMessage.h
  TCNorvRecordObject.h
  TCNorvService.h
  TCNorvServiceName.h
  TCNorvServiceProxy.h
  TSNorvSenderKey.h)
