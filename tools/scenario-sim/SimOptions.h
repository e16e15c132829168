// Command line of scenario-sim.
#pragma once

#include <string>
#include <vector>

namespace scenariosim {

struct SimOptions {
    double mDurationSeconds = 3.0;
    int mFrames = 0;  // preview frame times of the session; 0: as many as fit in the duration
    int mFps = 30;
    int mWorkerThreads = 4;
    int mCaptureInterval = 30;  // a capture request every N requests; 0 for none
    int mFirstRequest = 0;      // the number of the session's first request
    int mRecordsPerModule = 4;
    int mFlushIntervalMs = 100;
    std::string mOutFolder = "scenario_logs";
    std::string mStatsJsonPath;  // empty: no stats file
    std::string mScene = "street";
    int mSeed = 1;  // 0 to INT_MAX
    bool mQuiet = false;
    bool mHelp = false;
};

struct ParseResult {
    SimOptions mOptions;
    std::string mError;  // one line; empty when the command line is good
};

// Accepts "--name value" and "--name=value".
ParseResult parseOptions(const std::vector<std::string>& args);

extern const char* const kHelpText;

}  // namespace scenariosim
