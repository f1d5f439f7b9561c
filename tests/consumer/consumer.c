/* A program linked against an installed library: it starts the services and
 * language support with no setting of its own (the system-wide ORVANE.INI of
 * the installation names the NLS table and the services catalog), and checks
 * that a catalog error text comes from the shipped catalog. Exit status 0 and
 * "consumer: ok" on success. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orvane/catalog.h"
#include "orvane/frame.h"
#include "orvane/nls.h"

#ifndef ORVANE_CONSUMER_HOW
#define ORVANE_CONSUMER_HOW "the library"
#endif

int main(void) {
  const char *unwanted[] = {"ORVNLSTAB", "SRVCMSGS"};
  for (size_t i = 0; i < sizeof unwanted / sizeof unwanted[0]; ++i) {
    if (getenv(unwanted[i]) != NULL) {
      fprintf(stderr, "consumer: %s is set; this program checks the set-up without it\n", unwanted[i]);
      return 2;
    }
  }

  int status = servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "consumer", ORV_ITEM_END);
  if (status != 0) {
    fprintf(stderr, "consumer: servicesProcessInitialize gave %d\n", status);
    return 1;
  }
  /* The frame has initialised language support already; a second call
   * reports the same state. */
  int32_t nls = nlsInit();
  if (nls != NLS_OK) {
    fprintf(stderr, "consumer: nlsInit gave %d\n", (int)nls);
    servicesProcessTerminate(0);
    return 1;
  }

  char *text = cmGetError(9);
  int ok = text != NULL && strncmp(text, "MSG: ", 5) != 0 && strncmp(text, "ORV-E-0009", 10) == 0;
  printf("consumer (%s): cmGetError(9) = \"%s\"\n", ORVANE_CONSUMER_HOW, text != NULL ? text : "(null)");
  orvMemoryFreeFunc(text);

  servicesProcessTerminate(0);
  if (!ok) {
    fprintf(stderr, "consumer: the services catalog was not found\n");
    return 1;
  }
  printf("consumer: ok\n");
  return 0;
}
