/* A program that links libzddsc and logs as user and as service, in ExampleLog.c. */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>

#include "dds/dds.h"

bool isMonitored(void);
void logBoth(void);

int main(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    if (dds_create_participant(domain != NULL ? (dds_domainid_t)atoi(domain) : 0, NULL, NULL) <= 0)
        return 1;
    for (int i = 0; i < 3000 && !isMonitored(); ++i)
        dds_sleepfor(DDS_MSECS(10));
    puts("ready");
    fflush(stdout);
    while (getchar() != EOF)
        logBoth();
    return 0;
}
