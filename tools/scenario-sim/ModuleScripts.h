// What each simulated pipeline module reports for a request: its module
// number, the records it submits (decision type, stage, headline mark and a
// text that follows the request's scene, with numbers that vary per request)
// and how long its work takes.
#pragma once

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "RecordSink.h"
#include "SimRequest.h"

namespace scenariosim {

using TextMaker = std::string (*)(const SimRequest& request, std::mt19937& rng);

struct RecordTemplate {
    RecordKind mKind;
    TextMaker mText;
};

struct ModuleScript {
    const char* mName;
    uint32_t mModuleId;
    bool mOnPreview;
    bool mOnCapture;
    std::chrono::microseconds mWork;  // per request, spread between its records
    std::vector<RecordTemplate> mRecords;
};

// Modules that report on the request thread as it issues a request.
const std::vector<ModuleScript>& requestThreadModules();
// Modules that run on the pipeline worker threads.
const std::vector<ModuleScript>& workerModules();
// The middleware's report for the request that ends the session.
const ModuleScript& sessionEndModule();

// Submits `records` records of `script` for `request`, cycling through its
// templates; only the first pass marks records for the headline, so the
// headline stays short whatever the count. The texts' numbers are drawn from
// `seed`, the request and the module, so a seed gives the same texts on
// every run whichever thread plays the module.
void playModule(const ModuleScript& script, SimRequest& request, int records, RecordSink& sink,
                uint32_t seed);

}  // namespace scenariosim
