// Loads liborxmonitoring2d into the process. Once loaded it stays: its code may be on any thread's stack.
#include <dlfcn.h>

#include <cstring>

#include "middleware/host/Host.hpp"
#include "middleware/log/DdsLog.hpp"
#include "zddscore/text.h"

namespace {

constexpr const char* libraryName = "liborxmonitoring2d.so.0";
constexpr size_t pathSize = 4096;

// The path of the library in the folder of this one; false when that cannot be told.
bool findSibling(char (&path)[pathSize]) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&ORX_MonitoringHost_load_library), &info) == 0)
        return false;
    if (info.dli_fname == nullptr)
        return false;
    const char* slash = std::strrchr(info.dli_fname, '/');
    if (slash == nullptr)
        return false;
    const int folder = static_cast<int>(slash - info.dli_fname);
    return ORXOsapiUtility_snprintf(path, sizeof path, "%.*s/%s", folder, info.dli_fname, libraryName) > 0;
}

void* openLibrary(const char* libraryPath) {
    constexpr int mode = RTLD_NOW | RTLD_LOCAL;
    if (libraryPath != nullptr)
        return dlopen(libraryPath, mode);
    char sibling[pathSize];
    if (findSibling(sibling)) {
        if (void* handle = dlopen(sibling, mode))
            return handle;
    }
    return dlopen(libraryName, mode);
}

} // namespace

DDS_Boolean ORX_MonitoringHost_load_library(const char* libraryPath) {
    if (!ORX_MonitoringHost_initialize())
        return DDS_BOOLEAN_FALSE;
    ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
    if (globals.createFunction != nullptr)
        return DDS_BOOLEAN_TRUE;
    void* handle = openLibrary(libraryPath);
    if (handle == nullptr)
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_FIND, "monitoring library: %s", dlerror());
    auto initialize = reinterpret_cast<void (*)(void)>(dlsym(handle, "ORX_Monitoring_initialize"));
    if (initialize != nullptr)
        initialize();
    if (globals.createFunction == nullptr) {
        dlclose(handle);
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_INITIALIZE,
            "monitoring library '%s': it brought no create function",
            libraryPath != nullptr ? libraryPath : libraryName);
    }
    globals.libraryHandle = handle;
    return DDS_BOOLEAN_TRUE;
}
