// SPDX-License-Identifier: MIT
// Shows the brightness of the display whenever it changes, and sets what is typed.
#include <poll.h>
#include <property/property.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

enum { PATIENCE = 10000 };  // milliseconds

static int fail(const char* what) {
  fprintf(stderr, "settings: %s: %s\n", what, property_last_error());
  return 1;
}

// Says whether the server has stored what was set, and if not, why.
static int tell_outcome(const property_store* store) {
  property_receipt* receipt = NULL;
  property_status status = property_receipt_last(store, &receipt);
  if (status == PROPERTY_OK) {
    status = property_receipt_wait(receipt, PATIENCE);
  }
  printf("%s\n", status == PROPERTY_OK ? "stored" : property_last_error());
  property_free_receipt(receipt);
  return status == PROPERTY_OK || status == PROPERTY_REFUSED ? 0 : 1;
}

static int set(const property_store* store, const property_value* brightness) {
  char line[64];
  if (fgets(line, sizeof line, stdin) == NULL) {
    return 1;
  }
  line[strcspn(line, "\n")] = '\0';
  if (property_set_written(brightness, line) != PROPERTY_OK) {
    printf("%s\n", property_last_error());
    return 0;
  }
  return tell_outcome(store);
}

// Of one value, the last of several changes is told.
static int show_changes(property_watch* watch) {
  property_change* change = NULL;
  property_status status;
  while ((status = property_watch_next(watch, 0, &change)) == PROPERTY_OK) {
    int32_t percent = 0;
    status = property_change_int(change, &percent);
    property_free_change(change);
    if (status != PROPERTY_OK) {
      return fail("a change");
    }
    printf("brightness %d\n", (int)percent);
  }
  return status == PROPERTY_TIMED_OUT ? 0 : fail("the next change");
}

static int run(const property_store* store, const property_value* brightness,
               property_watch* watch) {
  struct pollfd ready[2];
  int ended = 0;
  memset(ready, 0, sizeof ready);
  ready[0].fd = STDIN_FILENO;
  ready[1].fd = property_watch_descriptor(watch);
  ready[0].events = ready[1].events = POLLIN;
  while (!ended) {
    fflush(stdout);
    if (poll(ready, 2, -1) < 0) {
      return 1;
    }
    if (ready[1].revents != 0 && show_changes(watch) != 0) {
      return 1;
    }
    ended = ready[0].revents != 0 && set(store, brightness) != 0;
  }
  return 0;
}

static int watch_and_run(const property_store* store, const property_value* brightness) {
  property_watch* watch = NULL;
  int32_t percent = 0;
  int result = 1;
  if (property_watch_new(store, &watch) == PROPERTY_OK &&
      property_watch_value(watch, brightness) == PROPERTY_OK &&
      property_get_int(brightness, &percent) == PROPERTY_OK) {
    printf("brightness %d\n", (int)percent);
    result = run(store, brightness, watch);
  } else {
    fail("the brightness");
  }
  property_free_watch(watch);
  return result;
}

int main(void) {
  property_store* store = NULL;
  property_value* brightness = NULL;
  int result;
  setvbuf(stdin, NULL, _IONBF, 0);  // what was read ahead would wake no poll
  if (property_open(NULL, 0, PATIENCE, &store) != PROPERTY_OK) {
    return fail("the store");
  }
  if (property_find(store, "DisplayBrightness", NULL, &brightness) != PROPERTY_OK) {
    property_close(store);
    return fail("the display");
  }
  result = watch_and_run(store, brightness);
  property_free_value(brightness);
  property_close(store);
  return result;
}
