#include "BenchSupport.h"

#include <cutils/properties.h>
#include <dirent.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "RecordFormat.h"
#include "RecorderProperties.h"

namespace bench {

namespace {

constexpr int kUniqueKey = 1;
constexpr int kSetupRequest = 1;
constexpr int kMarkerRequest = 2000000000;
constexpr int kFirstThreadRequest = 1000;
constexpr int kRequestsPerThreadBlock = 1000;
constexpr uint32_t kCameraMiddleware = 0x00202001;
constexpr int kStageMdp = 9;
constexpr char kTuningLogMark[] = "_TuningLog_";
constexpr char kPreviewMark[] = "_preview_";
constexpr size_t kTailBytes = 4096;
constexpr auto kPollInterval = std::chrono::milliseconds(5);
constexpr int kClockSamples = 1001;

RunningRecorder* gSharedRecorder = nullptr;

// The fields that the benchmark's decision and execution records share.
template <typename Param>
Param recordParam(int requestNum) {
    Param param;
    param.requestNum = requestNum;
    param.sensorId = 0;
    param.frameNum = 12;
    param.magicNum = 345;
    param.decisionType = sr::ISP_FLOW;
    param.moduleId = kCameraMiddleware;
    return param;
}

template <typename Visit>
void forEachTuningLog(const std::string& folder, Visit visit) {
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        const size_t mark = name.find(kTuningLogMark);
        if (mark == std::string::npos) continue;
        const int index = atoi(name.c_str() + mark + sizeof(kTuningLogMark) - 1);
        visit(folder + "/" + name, index);
    }
    closedir(dir);
}

// The file that the preview series writes now: the highest index. Capture
// requests have series of their own, each starting at index 01.
std::string newestPreviewLog(const std::string& folder) {
    std::string newest;
    int newestIndex = -1;
    forEachTuningLog(folder, [&](const std::string& path, int index) {
        if (path.find(kPreviewMark) != std::string::npos && index > newestIndex) {
            newestIndex = index;
            newest = path;
        }
    });
    return newest;
}

bool fileEndsWith(const std::string& path, const std::string& tail) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return false;
    const std::streamoff size = in.tellg();
    const std::streamoff start = std::max<std::streamoff>(0, size - kTailBytes);
    in.seekg(start);
    std::string content(static_cast<size_t>(size - start), '\0');
    in.read(content.data(), static_cast<std::streamsize>(content.size()));
    return content.size() >= tail.size() &&
           content.compare(content.size() - tail.size(), tail.size(), tail) == 0;
}

int64_t medianClockCost() {
    std::vector<int64_t> costs(kClockSamples);
    for (int64_t& cost : costs) {
        const auto start = std::chrono::steady_clock::now();
        const auto end = std::chrono::steady_clock::now();
        cost = std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count();
    }
    std::nth_element(costs.begin(), costs.begin() + kClockSamples / 2, costs.end());
    return costs[kClockSamples / 2];
}

double percentile(std::vector<int64_t>& values, double fraction) {
    if (values.empty()) return 0;
    const size_t rank = std::min(values.size() - 1, static_cast<size_t>(fraction * values.size()));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(rank),
                     values.end());
    return static_cast<double>(values[rank]);
}

}  // namespace

ScratchFolder::ScratchFolder(const char* name) {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/" + name + ".XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    mPath = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

void useFolderForNewWriters(const std::string& folder) {
    property_set(sr::kFolderProperty, folder.c_str());
}

RunningRecorder::RunningRecorder(const std::string& folder) : mFolder(folder) {
    useFolderForNewWriters(folder);
    mRecorder = std::make_unique<sr::ScenarioRecorder>();
    mRecorder->init();
    mRecorder->recordNddInfo(kUniqueKey, kSetupRequest, 0, /*isCapture=*/false);
}

RunningRecorder::~RunningRecorder() {
    mRecorder->unInit();
}

bool RunningRecorder::waitUntilWritten(std::chrono::seconds timeout) {
    const std::string text = "drain marker " + std::to_string(++mMarkers);
    mRecorder->submitDecisionRecord(decisionParam(kMarkerRequest), text);
    mRecorder->printLog(kMarkerRequest);
    const std::string tail = " " + text + "\n";
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (fileEndsWith(newestPreviewLog(mFolder), tail)) return true;
        std::this_thread::sleep_for(kPollInterval);
    }
    return false;
}

void RunningRecorder::removeWrittenLogs() {
    const std::string newest = newestPreviewLog(mFolder);
    forEachTuningLog(mFolder, [&](const std::string& path, int) {
        if (path != newest) unlink(path.c_str());
    });
}

RunningRecorder& sharedRecorder() {
    return *gSharedRecorder;
}

void setSharedRecorder(RunningRecorder* recorder) {
    gSharedRecorder = recorder;
}

sr::DecisionParam decisionParam(int requestNum) {
    return recordParam<sr::DecisionParam>(requestNum);
}

sr::ResultParam executionParam(int requestNum, bool addToHeadline) {
    auto param = recordParam<sr::ResultParam>(requestNum);
    param.stageId = kStageMdp;
    param.addToHeadline = addToHeadline;
    return param;
}

std::string benchText(size_t length) {
    std::string text(length, ' ');
    for (size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
}

size_t decisionLineLength(const std::string& text) {
    char line[sr::kRecordLineSize];
    return sr::formatDecisionLine(decisionParam(0), sr::toRecordText(text), line);
}

std::string textForDecisionLineOf100() {
    const size_t prefix = decisionLineLength(std::string()) - 1;
    return benchText(100 - prefix);
}

RequestCycle::RequestCycle(int threadIndex)
    : mFirst(kFirstThreadRequest + threadIndex * kRequestsPerThreadBlock) {}

void RequestCycle::next(sr::ScenarioRecorder& recorder) {
    recorder.printLog(current());
    ++mHandedOff;
    mCount = 0;
    mIndex = (mIndex + 1) % kRequestsPerThread;
}

LatencySamples::LatencySamples(size_t capacity) : mClockNanoseconds(medianClockCost()) {
    // Filled once, so that the samples' pages are touched here and not by the
    // timed loop, whose page faults are counted.
    mNanoseconds.resize(capacity);
    mNanoseconds.clear();
}

void LatencySamples::report(benchmark::State& state) {
    using benchmark::Counter;
    const auto perThousand = [](uint64_t count) {
        return Counter(static_cast<double>(count) * 1000, Counter::kAvgIterations);
    };
    state.counters["over5us_per_krecord"] = perThousand(mSlowCalls);
    state.counters["over5us_first_per_krecord"] = perThousand(mSlowFirstCalls);
    state.counters["p50_ns"] = Counter(percentile(mNanoseconds, 0.5), Counter::kAvgThreads);
    state.counters["p99_ns"] = Counter(percentile(mNanoseconds, 0.99), Counter::kAvgThreads);
    state.counters["p99.9_ns"] = Counter(percentile(mNanoseconds, 0.999), Counter::kAvgThreads);
    state.counters["p99.99_ns"] = Counter(percentile(mNanoseconds, 0.9999), Counter::kAvgThreads);
    state.counters["clock_ns"] =
        Counter(static_cast<double>(mClockNanoseconds), Counter::kAvgThreads);
}

double serviceThreadCpuSeconds() {
    // The kernel keeps 15 characters of a thread's name.
    constexpr char kServiceThreadName[] = "ScenarioRecorde";
    double seconds = 0;
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr) return 0;
    while (dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') continue;
        const std::string task = std::string("/proc/self/task/") + entry->d_name;
        std::ifstream comm(task + "/comm");
        std::string name;
        if (!std::getline(comm, name) || name != kServiceThreadName) continue;
        std::ifstream stat(task + "/stat");
        std::string content((std::istreambuf_iterator<char>(stat)),
                            std::istreambuf_iterator<char>());
        // utime and stime are fields 14 and 15, counted after the name's ')'.
        const size_t nameEnd = content.rfind(')');
        if (nameEnd == std::string::npos) continue;
        std::istringstream fields(content.substr(nameEnd + 2));
        std::string field;
        unsigned long long utime = 0, stime = 0;
        for (int i = 3; i <= 15 && fields >> field; ++i) {
            if (i == 14) utime = std::stoull(field);
            if (i == 15) stime = std::stoull(field);
        }
        seconds += static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
    }
    closedir(tasks);
    return seconds;
}

uint64_t tuningLogBytes(const std::string& folder) {
    uint64_t bytes = 0;
    forEachTuningLog(folder, [&](const std::string& path, int) {
        struct stat info;
        if (stat(path.c_str(), &info) == 0) bytes += static_cast<uint64_t>(info.st_size);
    });
    return bytes;
}

MemoryUse memoryUse() {
    const struct mallinfo2 info = mallinfo2();
    long residentPages = 0;
    if (FILE* statm = fopen("/proc/self/statm", "r")) {
        long totalPages = 0;
        if (fscanf(statm, "%ld %ld", &totalPages, &residentPages) != 2) residentPages = 0;
        fclose(statm);
    }
    return {static_cast<int64_t>(info.uordblks + info.hblkhd),
            static_cast<int64_t>(residentPages) * sysconf(_SC_PAGESIZE)};
}

}  // namespace bench
