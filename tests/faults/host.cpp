// A camera host in miniature: it links the platform's property service and
// loads the recorder's client module argv[1] with dlopen. "host MODULE exit
// COUNT" lets the module hand off COUNT requests with a recorder started from
// the properties of the file named by ZYNCAM_HOST_PROPERTIES, and calls
// exit(0) without stopping it. "host MODULE dlclose FOLDER" twice lets the
// module record one request with a started and stopped recorder and closes
// it, then prints whether the recorder's library was unloaded. Exit status 0
// on success; anything else is a failure.
#include <cutils/properties.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    property_set("host.started", "1");  // the property service is the host's own
    const bool exitMode = strcmp(argv[2], "exit") == 0;
    for (int requestNum = 1; requestNum <= 2; ++requestNum) {
        void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (module == nullptr) {
            fprintf(stderr, "dlopen: %s\n", dlerror());
            return 4;
        }
        if (exitMode) {
            auto handOff =
                reinterpret_cast<void (*)(int)>(dlsym(module, "faultsShimHandOffAndLeave"));
            if (handOff == nullptr) return 5;
            handOff(atoi(argv[3]));
            exit(0);
        }
        auto recordOneRequest = reinterpret_cast<int (*)(const char*, int)>(
            dlsym(module, "faultsShimRecordOneRequest"));
        if (recordOneRequest == nullptr || recordOneRequest(argv[3], requestNum) != 0) return 5;
        if (dlclose(module) != 0) return 6;
    }
    // Whether the loader unmaps the library is its own choice (unique symbols
    // of the standard library keep some builds loaded); either way the second
    // round must have worked.
    void* library = dlopen("libzyncam_scenariorecorder.so.1", RTLD_NOW | RTLD_NOLOAD);
    printf("library %s\n", library == nullptr ? "unloaded" : "kept loaded");
    if (library != nullptr) dlclose(library);
    return 0;
}
