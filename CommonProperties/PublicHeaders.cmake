# SPDX-License-Identifier: MIT
# The headers that programs built with the library include.
set(PUBLIC_HEADERS
  PropertyExport.h
  SchemaArguments.h
  TCBasicPropertyID.h
  TCCommonPropertyChangeNotifier.h
  TCCommonPropertyObject.h
  TCPropertyChoice.h
  TCPropertyChoiceID.h
  TCPropertyCollection.h
  TCPropertyContainer.h
  TCPropertyDBLookup.h
  TCPropertyDependency.h
  TCPropertyEvents.h
  TCPropertyGroup.h
  TCPropertyID.h
  TCPropertyInitOverride.h
  TCPropertyKey.h
  TCPropertyLink.h
  TCPropertyShowControl.h
  TCPropertyTransaction.h
  TCReadGuard.h
  TCValidRegexPropertySettings.h
  Typed.h)
