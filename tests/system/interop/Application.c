/* A program with entities, on command, that knows nothing of its being monitored. Argument: its domain.
 * Commands, one a line of standard input, each answered by "done"; the end of input ends the program:
 *
 *   participant NAME    a participant of this name with a topic "Square", a writer and a reader
 *   delete NAME         the participant alone: its entities go with it */
#include <string.h>

#include "AgentTest.h"
#include "Monitoring.h"

enum { maximalCount = 8 };
static struct {
    char name[64];
    dds_entity_t entity;
} participants[maximalCount];
static int count;

static void create(dds_domainid_t domain, const char* name) {
    CHECK(count < maximalCount);
    dds_qos_t* qos = dds_create_qos();
    dds_qset_entity_name(qos, name);
    const dds_entity_t participant = dds_create_participant(domain, qos, NULL);
    dds_delete_qos(qos);
    CHECK(participant > 0);
    const dds_entity_t topic = dds_create_topic(participant, &AgentTest_Message_desc, "Square", NULL, NULL);
    CHECK(topic > 0);
    CHECK(dds_create_writer(participant, topic, NULL, NULL) > 0);
    CHECK(dds_create_reader(participant, topic, NULL, NULL) > 0);
    snprintf(participants[count].name, sizeof participants[count].name, "%s", name);
    participants[count++].entity = participant;
}

static void removeParticipant(const char* name) {
    for (int i = 0; i < count; ++i) {
        if (strcmp(participants[i].name, name) == 0) {
            CHECK(dds_delete(participants[i].entity) == DDS_RETCODE_OK);
            return;
        }
    }
    fprintf(stderr, "no participant %s\n", name);
    exit(1);
}

int main(int argc, char** argv) {
    CHECK(argc == 2);
    setvbuf(stdout, NULL, _IOLBF, 0);
    const dds_domainid_t domain = (dds_domainid_t)atoi(argv[1]);
    for (char line[256]; fgets(line, sizeof line, stdin) != NULL;) {
        char name[64];
        line[strcspn(line, "\n")] = '\0';
        if (sscanf(line, "participant %63s", name) == 1)
            create(domain, name);
        else if (sscanf(line, "delete %63s", name) == 1)
            removeParticipant(name);
        else
            return 1;
        printf("done %s\n", line);
    }
    return 0;
}
