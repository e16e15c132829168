#include "SimOptions.h"

#include <cutils/properties.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>

#include "Scene.h"

namespace scenariosim {

const char* const kHelpText =
    R"(Usage: scenario-sim [options]

Plays a camera session against the scenario recorder, the way the camera HAL
server does: a request thread issues preview requests at a frame rate and a
capture request every few requests, pipeline threads (P2Streaming, 3A,
FaceDetection, P2Capture) work on them and report decision and execution
records, and the recorder writes tuning log files into the output folder.
The preview session is reconfigured every 2 seconds (a new unique key).
The camera looks at a scene whose light and faces change over the frames:
night features, face-based AE and the tuning index follow them, and AE takes
a few frames to converge after each change. The texts depend only on the
scene, the seed and the request number, so two runs with one seed write the
same texts, and two seeds differ in a few frames around each change.

Options:
  --duration SECONDS       length of the session (default 3); a frame that
                           came late is not made up for
  --frames N               exactly N preview frame times instead, however
                           late they come, so that two runs with one seed
                           hold the same requests; 0 for --duration (default)
  --fps N                  preview frame rate, 1 to 1000 (default 30)
  --threads N              pipeline worker threads, 1 to 64 (default 4)
  --capture-interval N     every request whose number + 1 is a multiple of N
                           is a capture request, 0 for none (default 30)
  --first-request N        the first request's number, 0 to 1000000000
                           (default 0); scene and captures follow the number,
                           so 9990 reaches request 10,000 after 10 frames
  --records N              records per module per request, 1 to 200 (default 4)
  --flush-ms N             idle interval of the recorder's writer thread (default 100)
  --out FOLDER             log folder, made with its parents (default scenario_logs)
  --stats-json FILE        write per-request counts of the submitted records
  --scene NAME             street (default; daylight, a shop, faces), dusk
                           (light falls into night), portrait (faces come
                           and go)
  --seed N                 moves the scene's changes by a few frames and
                           draws the texts' numbers, 0 to 2147483647 (default 1)
  --quiet                  no progress line and no summary
  -h, --help               this text

Exit status: 0 on success, 1 when the session could not run or its results
could not be written, 2 on bad usage (one-line error).
)";

namespace {

constexpr double kMaxDurationSeconds = 86400.0;
// Leaves room for a day at the highest frame rate below INT_MAX, magic
// numbers included.
constexpr int kMaxFirstRequest = 1000000000;
// A day at the highest frame rate.
constexpr int kMaxFrames = 86400000;

struct IntRange {
    int SimOptions::*mField;
    int mMin;
    int mMax;
};

const std::map<std::string, IntRange>& intOptions() {
    static const std::map<std::string, IntRange> options = {
        {"--fps", {&SimOptions::mFps, 1, 1000}},
        {"--threads", {&SimOptions::mWorkerThreads, 1, 64}},
        {"--capture-interval", {&SimOptions::mCaptureInterval, 0, 1000000}},
        {"--first-request", {&SimOptions::mFirstRequest, 0, kMaxFirstRequest}},
        {"--records", {&SimOptions::mRecordsPerModule, 1, 200}},
        {"--flush-ms", {&SimOptions::mFlushIntervalMs, 0, 60000}},
        {"--seed", {&SimOptions::mSeed, 0, 2147483647}},
        {"--frames", {&SimOptions::mFrames, 0, kMaxFrames}},
    };
    return options;
}

std::optional<int> parseInt(const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (ec != std::errc() || ptr != end || text.empty()) return std::nullopt;
    return value;
}

std::optional<double> parseSeconds(const std::string& text) {
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value)) return std::nullopt;
    if (value <= 0.0 || value > kMaxDurationSeconds) return std::nullopt;
    return value;
}

class Parser {
  public:
    explicit Parser(const std::vector<std::string>& args) : mArgs(args) {}

    ParseResult run() {
        while (mNext < mArgs.size() && mResult.mError.empty() && !mResult.mOptions.mHelp) {
            takeOption(mArgs[mNext++]);
        }
        return mResult;
    }

  private:
    void fail(const std::string& message) {
        if (mResult.mError.empty()) mResult.mError = message;
    }

    void takeOption(const std::string& arg) {
        std::string name = arg;
        std::optional<std::string> inlineValue;
        const size_t equals = arg.find('=');
        if (arg.rfind("--", 0) == 0 && equals != std::string::npos) {
            name = arg.substr(0, equals);
            inlineValue = arg.substr(equals + 1);
        }
        if (name == "--help" || name == "-h") {
            mResult.mOptions.mHelp = true;
        } else if (name == "--quiet") {
            mResult.mOptions.mQuiet = true;
        } else if (name == "--duration" || name == "--out" || name == "--stats-json" ||
                   name == "--scene" || intOptions().count(name) != 0) {
            takeValue(name, inlineValue);
        } else {
            const bool isOption = !arg.empty() && arg[0] == '-';
            fail((isOption ? "unknown option '" : "unexpected argument '") + arg + "'; see --help");
        }
    }

    void takeValue(const std::string& name, std::optional<std::string> value) {
        if (!value) {
            if (mNext >= mArgs.size()) return fail(name + " needs a value; see --help");
            value = mArgs[mNext++];
        }
        SimOptions& options = mResult.mOptions;
        if (name == "--duration") {
            const std::optional<double> seconds = parseSeconds(*value);
            if (!seconds)
                return fail("--duration needs a number of seconds above 0, not '" + *value + "'");
            options.mDurationSeconds = *seconds;
        } else if (name == "--out") {
            takeFolder(*value);
        } else if (name == "--scene") {
            if (!Scene::named(*value, 0)) {
                return fail("--scene needs one of " + std::string(Scene::sceneNames()) + ", not '" +
                            *value + "'");
            }
            options.mScene = *value;
        } else if (name == "--stats-json") {
            if (value->empty()) return fail("--stats-json needs a file name");
            options.mStatsJsonPath = *value;
        } else {
            takeInt(name, *value);
        }
    }

    void takeInt(const std::string& name, const std::string& value) {
        const IntRange& range = intOptions().at(name);
        const std::optional<int> number = parseInt(value);
        if (!number || *number < range.mMin || *number > range.mMax) {
            return fail(name + " needs a whole number from " + std::to_string(range.mMin) + " to " +
                        std::to_string(range.mMax) + ", not '" + value + "'");
        }
        mResult.mOptions.*range.mField = *number;
    }

    // The folder travels to the recorder through a system property, whose
    // value is bounded.
    void takeFolder(const std::string& folder) {
        if (folder.empty()) return fail("--out needs a folder name");
        if (folder.size() >= PROPERTY_VALUE_MAX) {
            return fail("--out folder name is too long (at most " +
                        std::to_string(PROPERTY_VALUE_MAX - 1) + " characters)");
        }
        mResult.mOptions.mOutFolder = folder;
    }

    const std::vector<std::string>& mArgs;
    size_t mNext = 0;
    ParseResult mResult;
};

}  // namespace

ParseResult parseOptions(const std::vector<std::string>& args) {
    return Parser(args).run();
}

}  // namespace scenariosim
