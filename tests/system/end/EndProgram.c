/* A program with entities that ends in the way that its argument names, on the line "end" of its standard
 * input, and tells so right before. It knows nothing of monitoring. The line "make" makes a writer. */
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "AgentTest.h"
#include "dds/dds.h"

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                  \
            exit(__LINE__ % 200 + 1);                                                                        \
        }                                                                                                    \
    } while (0)

static char* self;
static dds_entity_t participant, topic;

static void openEntities(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    participant = dds_create_participant(domain != NULL ? (dds_domainid_t)atoi(domain) : 0, NULL, NULL);
    CHECK(participant > 0);
    topic = dds_create_topic(participant, &AgentTest_Message_desc, "end", NULL, NULL);
    CHECK(topic > 0);
}

static void say(const char* text) {
    puts(text);
    fflush(stdout);
}

static void obeyUntilEnd(void) {
    char line[64];
    while (fgets(line, sizeof line, stdin) != NULL && strcmp(line, "end\n") != 0) {
        CHECK(dds_create_writer(participant, topic, NULL, NULL) > 0);
        say("made");
    }
    say("ending");
}

static void* openInThread(void* argument) {
    openEntities();
    const dds_entity_t writer = dds_create_writer(participant, topic, NULL, NULL);
    AgentTest_Message message = {1, 2};
    CHECK(writer > 0 && dds_write(writer, &message) == 0);
    return argument;
}

static int statusOf(pid_t child) {
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

/* The child of a fork goes on with what it does without the engine, and ends in several ways. */
static void forkChildren(void) {
    for (int way = 0; way < 4; ++way) {
        const pid_t child = fork();
        CHECK(child >= 0);
        if (child == 0) {
            if (way == 0)
                _exit(40);
            if (way == 1)
                abort();
            if (way == 2)
                kill(getpid(), SIGKILL);
            execl("/bin/sh", "sh", "-c", "exit 43", (char*)NULL);
            _exit(99);
        }
        printf("child %d: %d\n", way, statusOf(child));
    }
    fflush(stdout);
}

/* The child executes this program again, which has entities of its own until it reads a line. */
static void forkAndExecute(void) {
    const pid_t child = fork();
    CHECK(child >= 0);
    if (child == 0) {
        execl(self, self, "child", (char*)NULL);
        _exit(99);
    }
    printf("child: %d\n", statusOf(child));
    fflush(stdout);
}

int main(int argc, char** argv) {
    CHECK(argc > 1);
    self = argv[0];
    const char* mode = argv[1];
    if (strcmp(mode, "thread") == 0) {
        pthread_t thread;
        CHECK(pthread_create(&thread, NULL, openInThread, NULL) == 0 && pthread_join(thread, NULL) == 0);
    } else {
        openEntities();
    }
    say("open");
    if (strcmp(mode, "child") == 0) {
        char line[64];
        CHECK(dds_create_writer(participant, topic, NULL, NULL) > 0);
        CHECK(fgets(line, sizeof line, stdin) != NULL);
        say("made");
        return 44;
    }
    if (strcmp(mode, "fork") == 0)
        forkChildren();
    if (strcmp(mode, "forkExec") == 0)
        forkAndExecute();
    obeyUntilEnd();
    if (strcmp(mode, "exit") == 0)
        exit(11);
    if (strcmp(mode, "_exit") == 0)
        _exit(12);
    if (strcmp(mode, "abort") == 0)
        abort();
    if (strcmp(mode, "kill") == 0)
        kill(getpid(), SIGKILL);
    if (strcmp(mode, "delete") == 0)
        CHECK(dds_delete(participant) == 0);
    return 10;
}
