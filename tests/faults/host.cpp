// A camera host in miniature: it links the platform's property service and
// loads the recorder's client module argv[1] with dlopen. "host MODULE exit
// FOLDER" leaves the module's threads submitting and calls exit(0). "host
// MODULE dlclose FOLDER" twice lets the module record one request with a
// started and stopped recorder and closes it; exit status 3 if the recorder's
// library was unmapped then, 0 if it stayed. Anything else is a failure.
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
            auto submitForever =
                reinterpret_cast<void (*)(const char*)>(dlsym(module, "faultsShimSubmitForever"));
            if (submitForever == nullptr) return 5;
            submitForever(argv[3]);
            exit(0);
        }
        auto recordOneRequest = reinterpret_cast<int (*)(const char*, int)>(
            dlsym(module, "faultsShimRecordOneRequest"));
        if (recordOneRequest == nullptr || recordOneRequest(argv[3], requestNum) != 0) return 5;
        if (dlclose(module) != 0) return 6;
    }
    void* library = dlopen("libzyncam_scenariorecorder.so.1", RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) return 3;
    dlclose(library);
    return 0;
}
