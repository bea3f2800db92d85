/* Loads a plugin, and with it the engine, where nobody else sees their symbols. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
    void* handle = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (handle == NULL)
        return fprintf(stderr, "%s\n", dlerror()), 100;
    void* symbol = dlsym(handle, "runPlugin");
    if (symbol == NULL)
        return 101;
    int (*run)(void);
    memcpy(&run, &symbol, sizeof run);
    return run();
}
