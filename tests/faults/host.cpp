// A camera host in miniature: it links the platform's property service and
// loads the client module argv[1], which links the recorder, with dlopen.
//   host MODULE exit FOLDER     the module leaves threads submitting records
//                               and the host calls exit(0) meanwhile
//   host MODULE dlclose FOLDER  twice: the module records one request with a
//                               started and stopped recorder and is closed;
//                               exit status 3 if the recorder's library was
//                               unmapped, 0 if it stayed loaded
// Any other exit status is a failure on the way.
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
