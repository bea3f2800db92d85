#include "zddscore/host.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

int ORXOsapiHost_getHostName(char* name, int size) {
    if (name == nullptr || size <= 0)
        return -1;
    char buffer[256]; // the system's names are shorter
    if (gethostname(buffer, sizeof buffer) != 0)
        return -1;
    const std::size_t room = static_cast<std::size_t>(size) - 1;
    const std::size_t length = strnlen(buffer, room < sizeof buffer - 1 ? room : sizeof buffer - 1);
    std::memcpy(name, buffer, length);
    name[length] = '\0';
    return 0;
}

// From the system's random source at each call, so that nothing is remembered that a fork could copy.
int ORXOsapiHost_generate_uuid(ORXOsapiUuid* uuid) {
    if (uuid == nullptr)
        return ORX_FALSE;
    ssize_t count = 0;
    do {
        count = getrandom(uuid, sizeof *uuid, 0);
    } while (count < 0 && errno == EINTR);
    return count == static_cast<ssize_t>(sizeof *uuid);
}

ORX_UINT64 ORXOsapiProcess_getId(void) {
    return static_cast<ORX_UINT64>(getpid());
}

int ORXOsapiProcess_getMemoryInfo(ORXOsapiProcessMemoryInfo* info) {
    if (info == nullptr)
        return ORX_FALSE;
    // Plain system calls: streams of the C library would allocate.
    const int file = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return ORX_FALSE;
    char text[128];
    ssize_t length = 0;
    do {
        length = read(file, text, sizeof text - 1);
    } while (length < 0 && errno == EINTR);
    close(file);
    if (length <= 0)
        return ORX_FALSE;
    text[length] = '\0';
    unsigned long long total = 0;
    unsigned long long resident = 0;
    if (std::sscanf(text, "%llu %llu", &total, &resident) != 2)
        return ORX_FALSE;
    const auto page = static_cast<ORX_UINT64>(sysconf(_SC_PAGESIZE));
    *info = {resident * page, total * page};
    return ORX_TRUE;
}
