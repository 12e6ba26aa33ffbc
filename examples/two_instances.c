/* Sorts inside a sort: two instances at work at once.
 *
 * Orders are sorted by customer. Whenever a customer is complete, the write function of that sort runs a
 * second sort, on a handle of its own, over this customer's orders by amount, largest first. Every function
 * of the library may be called on another handle from inside a callback; only the running one is taken.
 */
#include <stdio.h>
#include <string.h>

#include "fsort.h"

static const char* const orders[] = {"carol 15", "alice 7",  "bob 300", "alice 120",
                                     "carol 2",  "alice 40", "bob 31"};
enum { order_count = sizeof orders / sizeof orders[0], longest = 32 };

static size_t next_order; /* outer sort: the next order to read */
static char group[order_count][longest];
static size_t group_count;   /* orders of the customer being collected */
static size_t next_in_group; /* inner sort: the next of them to read */
static char report[256];

static int32_t give(const char* text, uint64_t* length, const void** record) {
  *record = text;
  *length = text != NULL ? strlen(text) : 0;
  return 0;
}

static int32_t read_group(uint64_t* length, const void** record) {
  return give(next_in_group < group_count ? group[next_in_group++] : NULL, length, record);
}

static int32_t write_report(uint64_t length, const void* record) {
  strncat(report, (const char*)record, (size_t)length);
  strcat(report, "\n");
  return 0;
}

/* The inner sort: field 1 as a number, descending; a blank separates the fields. */
static int32_t report_group(void) {
  int32_t status;
  fsort_handle inner = FsortCreate(NULL, NULL);
  if (inner == NULL) return 1;
  next_in_group = 0;
  status = FsortStart(inner, read_group, write_report, "-q -t 32 -n -i -f 1");
  if (status != 0) fputs(FsortMessage(inner), stderr);
  FsortDestroy(inner);
  group_count = 0;
  return status;
}

static int32_t read_order(uint64_t* length, const void** record) {
  return give(next_order < order_count ? orders[next_order++] : NULL, length, record);
}

static int same_customer(const char* order, const void* record, uint64_t length) {
  const size_t name = strcspn(order, " ") + 1;
  return length > name && memcmp(order, record, name) == 0;
}

/* The status of the inner sort becomes that of the callback: a failure inside ends the outer sort as well. */
static int32_t collect_order(uint64_t length, const void* record) {
  int32_t status = 0;
  if (group_count > 0 && !same_customer(group[0], record, length)) status = report_group();
  memcpy(group[group_count], record, (size_t)length);
  group[group_count][length] = '\0';
  ++group_count;
  return status;
}

int main(void) {
  int32_t status;
  fsort_handle outer = FsortCreate(NULL, NULL);
  if (outer == NULL) return 1;

  status = FsortStart(outer, read_order, collect_order, "-q -t 32 -k -f 0");
  if (status != 0) fputs(FsortMessage(outer), stderr);
  FsortDestroy(outer);
  if (status == 0) status = report_group(); /* the last customer: a sort has no call at its end */

  printf("%s", report);
  return status == 0 && strcmp(report,
                               "alice 120\nalice 40\nalice 7\n"
                               "bob 300\nbob 31\n"
                               "carol 15\ncarol 2\n") == 0
             ? 0
             : 1;
}
