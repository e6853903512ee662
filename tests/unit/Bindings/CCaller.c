// SPDX-License-Identifier: MIT
// The interface as a program in C uses it.
#include "CCaller.h"

static property_status SetAndWait(const property_store* store, const property_value* value,
                                  int32_t number, int32_t* read) {
  property_receipt* receipt = NULL;
  property_status status = property_set_int(value, number);
  if (status == PROPERTY_OK) {
    status = property_get_int(value, read);
  }
  if (status == PROPERTY_OK) {
    status = property_receipt_last(store, &receipt);
  }
  if (status == PROPERTY_OK) {
    status = property_receipt_wait(receipt, 30000);
  }
  property_free_receipt(receipt);
  return status;
}

property_status SetFromC(const char* schema, const char* name, int32_t number, int32_t* read) {
  const char* schemas[2] = {NULL, NULL};
  property_store* store = NULL;
  property_value* value = NULL;
  property_status status;
  schemas[0] = schema;
  status = property_open(schemas, 0, 30000, &store);
  if (status == PROPERTY_OK) {
    status = property_find(store, name, NULL, &value);
  }
  if (status == PROPERTY_OK) {
    status = SetAndWait(store, value, number, read);
  }
  property_free_value(value);
  property_close(store);
  return status;
}
