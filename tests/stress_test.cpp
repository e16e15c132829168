// Stress with a ledger: many threads record into many requests at once
// through the public interface of a started recorder, while guards pass
// between threads, buffers fill and retire mid-copy, preview sessions replace
// the default writer and aged buffers expire. Every record line encodes its
// thread, request and sequence number and a payload that follows from them,
// so reading the files back shows any record that was lost, duplicated, torn,
// misplaced or reordered.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "RecorderProperties.h"
#include "ScenarioLogPrinter.h"
#include "ScenarioRecorder.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"

// A few seconds at most in the plain build, and larger ledgers under the
// sanitizers, which find more in longer runs.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#define STRESS_SCALE 32
#elif defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define STRESS_SCALE 20
#else
#define STRESS_SCALE 4
#endif

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using Peer = ScenarioRecorderTestPeer;
using ThreadRequest = std::pair<int, int>;

constexpr int kThreads = 8;
constexpr int kRequestsPerScale = 40;
constexpr int kPreviewRequestsPerSession = 6;
constexpr int kCaptureKey = 7;
constexpr int kFirstPreviewKey = 100;

// A request is cut into parts, each recorded by whichever thread takes it.
struct Plan {
    bool capture;
    bool aged;  // its active buffer is aged into expiry halfway through part 0
    int parts;
    int recordsPerPart;
};

Plan planOf(int request) {
    if (request % 8 == 5) return {request % 3 == 0, true, 2, 100};    // expires within one buffer
    if (request % 5 == 2) return {request % 3 == 0, false, 4, 1200};  // spans four buffers
    return {request % 3 == 0, false, 1 + request % 3, 10 + request * 37 % 90};
}

std::string textOf(int thread, int request, int seq) {
    std::string text = "t" + std::to_string(thread) + " r" + std::to_string(request) + " s" +
                       std::to_string(seq) + " ";
    const int length = 40 + (thread * 7 + request * 13 + seq) % 61;
    for (int i = 0; i < length; ++i) text += static_cast<char>('a' + (thread + seq + i) % 26);
    return text;
}

std::string lineOf(int thread, int request, int seq) {
    return "[SensorId: " + std::to_string(thread) + "][FrameNum: " + std::to_string(request) +
           "][MagicNum: " + std::to_string(seq) + "][ModuleName: P2Streaming]" +
           (seq % 2 == 0 ? "[Stage_MDP][Result: ISP_FLOW] " : "[Decision: TOP_CONTROL] ") +
           textOf(thread, request, seq);
}

template <typename Param>
Param paramOf(int thread, int request, int seq, DecisionType type) {
    Param param;
    param.requestNum = param.frameNum = request;
    param.magicNum = seq;
    param.sensorId = thread;
    param.decisionType = type;
    param.moduleId = 0x00404001;  // P2Streaming
    return param;
}

// Every thread's first record of a request also goes to the headline.
void submit(ScenarioRecorder& recorder, int thread, int request, int seq) {
    if (seq % 2 == 0) {
        auto param = paramOf<ResultParam>(thread, request, seq, ISP_FLOW);
        param.stageId = 9;  // Stage_MDP
        param.addToHeadline = seq == 0;
        recorder.submitExecutionRecord(param, textOf(thread, request, seq));
    } else {
        recorder.submitDecisionRecord(paramOf<DecisionParam>(thread, request, seq, TOP_CONTROL),
                                      textOf(thread, request, seq));
    }
}

// A thread opens a request by making a guard per part and queueing the
// parts; whichever thread takes a part records it and then queues the part's
// guard, which a thread other than its maker destroys. So a request is handed
// off on whichever thread lets go of its last guard, while the other threads
// go on copying records, and several threads record into one request at once.
class Producers {
  public:
    std::vector<Plan> plans{{false, false, 0, 0}};  // per request, from 1 to the closing one
    std::map<ThreadRequest, int> submitted;         // records per thread and request
    long captures = 0, aged = 0;

    Producers(ScenarioRecorder& recorder, testsupport::LogCapture& logs, int requests)
        : mRecorder(recorder), mLogs(logs) {
        for (int request = 1; request <= requests; ++request) {
            plans.push_back(planOf(request));
            mGuardsLeft += plans.back().parts;
            captures += plans.back().capture;
            aged += plans.back().aged;
        }
        plans.push_back({false, false, 1, 1});
    }

    int lastRequest() const { return static_cast<int>(plans.size()) - 1; }

    void run() {
        open(1, kThreads);  // a preview series exists before any buffer is written
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) threads.emplace_back([this, t] { work(t); });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(Peer::activeCount(mRecorder), 0u) << "every record was handed off";
        // The closing request's buffer is written last, through the default
        // writer, which flushes it.
        ScenarioLogPrinter guard(lastRequest());
        reportNdd(lastRequest());
        submit(mRecorder, kThreads, lastRequest(), 0);
        submitted[{kThreads, lastRequest()}] = 1;
    }

  private:
    struct Part {
        int request;
        bool ager;
        int maker;  // the thread that made the guard
        std::unique_ptr<ScenarioLogPrinter> guard;
    };

    // Preview keys are installed in increasing order, so preview series sort
    // by name in the order they were written.
    void reportNdd(int request) {
        if (plans[request].capture) return mRecorder.recordNddInfo(kCaptureKey, request, 1, true);
        std::lock_guard<std::mutex> lock(mPreviewLock);
        if (mPreviewRequests++ % kPreviewRequestsPerSession == 0) ++mPreviewKey;
        mRecorder.recordNddInfo(mPreviewKey, request, 0, false);
    }

    // The report comes first: a capture request's buffers must find its
    // writer, however early they are written.
    void open(int request, int thread) {
        reportNdd(request);
        std::lock_guard<std::mutex> lock(mLock);
        for (int i = 0; i < plans[request].parts; ++i) {
            mParts.push_back({request, plans[request].aged && i == 0, thread,
                              std::make_unique<ScenarioLogPrinter>(request)});
        }
    }

    void work(int thread) {
        while (mGuardsLeft > 0) {
            Part part{0, false, 0, nullptr};
            std::unique_ptr<ScenarioLogPrinter> guard;
            {
                std::lock_guard<std::mutex> lock(mLock);
                auto theirs =
                    std::find_if(mGuards.begin(), mGuards.end(),
                                 [thread](const auto& made) { return made.first != thread; });
                if (theirs != mGuards.end()) {
                    guard = std::move(theirs->second);
                    mGuards.erase(theirs);
                } else if (!mParts.empty()) {
                    part = std::move(mParts.front());
                    mParts.pop_front();
                }
            }
            if (guard) {
                guard.reset();
                --mGuardsLeft;
            } else if (part.guard) {
                record(thread, part);
            } else if (const int request = mAgers > 0 ? lastRequest() : mNextRequest++;
                       request < lastRequest()) {
                open(request, thread);
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        }
    }

    void record(int thread, Part& part) {
        const int count = plans[part.request].recordsPerPart;
        int& seq = mSeqs[thread][part.request];
        for (int i = 0; i < count; ++i) {
            submit(mRecorder, thread, part.request, seq++);
            if (part.ager && i == count / 2) {
                // Expiry needs an idle pass of the service thread, so no
                // request is opened until it has come.
                ++mAgers;
                Peer::ageActiveBuffer(mRecorder, part.request, 12);
                const std::string expired = "Request(" + std::to_string(part.request) + ")'s";
                EXPECT_TRUE(testsupport::waitFor(
                    [&] { return !mLogs.unifiedLinesContaining(expired).empty(); },
                    std::chrono::seconds(30)))
                    << "request " << part.request << " did not expire";
                --mAgers;
            }
        }
        std::lock_guard<std::mutex> lock(mLock);
        submitted[{thread, part.request}] = seq;
        mGuards.emplace_back(part.maker, std::move(part.guard));
    }

    ScenarioRecorder& mRecorder;
    testsupport::LogCapture& mLogs;
    std::mutex mPreviewLock;
    int mPreviewRequests = 0;                // guarded by mPreviewLock
    int mPreviewKey = kFirstPreviewKey - 1;  // guarded by mPreviewLock
    std::mutex mLock;
    std::deque<Part> mParts;  // guarded by mLock
    // Guards let go of, with the thread that made them; guarded by mLock.
    std::deque<std::pair<int, std::unique_ptr<ScenarioLogPrinter>>> mGuards;
    std::atomic<int> mNextRequest{2};
    std::atomic<int> mGuardsLeft{0};
    std::atomic<int> mAgers{0};          // threads waiting for an aged buffer to expire
    std::map<int, int> mSeqs[kThreads];  // each thread's own
};

// Reads the files back against what the producers submitted.
struct Ledger {
    explicit Ledger(const Producers& source) : producers(source) {}

    const Producers& producers;
    std::map<ThreadRequest, int> next;  // per thread and request: the sequence number due
    std::map<ThreadRequest, int> snippets;
    std::map<int, int> nddTexts;
    std::vector<std::string> problems;
    size_t records = 0;
    size_t blocks = 0;
    int blockRequest = -2;  // -2 before a series' first headline, -1 before a block's first record

    // Files in name order, so each series is read in index order and the
    // preview series in the order they were started.
    void read(const std::vector<std::string>& files) {
        for (const std::string& file : files) {
            int owner = -1;  // the capture request whose series it is
            if (file.find("_capture__") != std::string::npos) {
                sscanf(file.c_str() + file.rfind('/') + 1, "%*d_%d_", &owner);
            }
            const std::vector<std::string> lines = testsupport::readLines(file);
            const bool first = file.find("_TuningLog_01.txt") != std::string::npos;
            if (first) blockRequest = -2;
            for (size_t i = 0; i < lines.size(); ++i) {
                if (!first && i == 0 && lines[i] == "-- CONTINUED --") continue;
                if (lines[i].rfind("[SensorId: ", 0) == 0) {
                    readRecord(lines[i], owner);
                } else {
                    readHeadline(lines[i]);
                }
            }
        }
    }

    void problem(const std::string& what, const std::string& line) {
        problems.push_back(what + ": \"" + line + "\"");
    }

    void readRecord(const std::string& line, int owner) {
        int thread = -1, request = -1, seq = -1;
        if (sscanf(line.c_str(), "[SensorId: %d][FrameNum: %d][MagicNum: %d]", &thread, &request,
                   &seq) != 3 ||
            request < 1 || request > producers.lastRequest() ||
            line != lineOf(thread, request, seq)) {
            return problem("torn record", line);
        }
        ++records;
        // An aged capture request's writer is dropped with its expired buffer.
        const Plan& plan = producers.plans[request];
        if (owner >= 0 ? request != owner : plan.capture && !plan.aged) {
            problem("record in another request's file", line);
        }
        if (blockRequest == -2) return problem("record before any headline", line);
        if (blockRequest == -1) blockRequest = request;
        if (request != blockRequest) {
            problem("block of request " + std::to_string(blockRequest), line);
        }
        int& due = next[{thread, request}];
        if (seq != due) problem("expected sequence number " + std::to_string(due), line);
        due = seq + 1;
    }

    // "[UKey: %d][ReqNum: %d]" texts and ", text" snippets, joined.
    void readHeadline(const std::string& line) {
        ++blocks;
        blockRequest = -1;
        for (size_t pos = 0; pos < line.size();) {
            int key = -1, thread = -1, request = -1;
            std::string item;
            if (sscanf(line.c_str() + pos, "[UKey: %d][ReqNum: %d]", &key, &request) == 2 &&
                request >= 1 && request <= producers.lastRequest()) {
                item =
                    "[UKey: " + std::to_string(key) + "][ReqNum: " + std::to_string(request) + "]";
                ++nddTexts[request];
            } else if (sscanf(line.c_str() + pos, ", t%d r%d s0 ", &thread, &request) == 2) {
                item = ", " + textOf(thread, request, 0);
                ++snippets[{thread, request}];
            }
            if (item.empty() || line.compare(pos, item.size(), item) != 0) {
                return problem("torn headline", line);
            }
            pos += item.size();
        }
    }
};

TEST(StressWithLedger, EveryRecordIsWrittenOnceWholeInItsRequestsFileAndInEachThreadsOrder) {
    property_set(kEnableProperty, "1");
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 10);
    testsupport::LogCapture logs;
    auto& recorder = *static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
    ASSERT_TRUE(recorder.isScenarioRecorderOn());
    recorder.init();
    const char* scale = getenv("SCENARIO_RECORDER_STRESS_SCALE");
    const int requests =
        kRequestsPerScale * (scale != nullptr && atoi(scale) > 0 ? atoi(scale) : STRESS_SCALE);
    Producers producers(recorder, logs, requests);
    producers.run();
    recorder.unInit();
    EXPECT_EQ(Peer::writerCount(recorder), 0u) << "every capture file was closed";

    Ledger ledger(producers);
    const std::vector<std::string> captureFiles = testsupport::logFiles(dir.path(), "capture");
    const std::vector<std::string> previewFiles = testsupport::logFiles(dir.path(), "preview");
    ledger.read(captureFiles);
    ledger.read(previewFiles);

    for (size_t i = 0; i < ledger.problems.size() && i < 20; ++i) {
        ADD_FAILURE() << ledger.problems[i];
    }
    EXPECT_EQ(ledger.problems.size(), 0u);
    EXPECT_TRUE(ledger.next == producers.submitted) << "a thread's last records are missing";
    std::map<ThreadRequest, int> onceEach = producers.submitted;
    for (auto& entry : onceEach) entry.second = 1;
    EXPECT_TRUE(ledger.snippets == onceEach) << "a headline snippet is missing or repeated";
    EXPECT_EQ(ledger.nddTexts.size(), static_cast<size_t>(producers.lastRequest()));
    for (const auto& entry : ledger.nddTexts) EXPECT_EQ(entry.second, 1) << entry.first;

    const auto seriesIn = [](const std::vector<std::string>& files) {
        return std::count_if(files.begin(), files.end(), [](const std::string& file) {
            return file.find("_TuningLog_01.txt") != std::string::npos;
        });
    };
    EXPECT_EQ(seriesIn(captureFiles), producers.captures);
    const long previews = producers.lastRequest() - producers.captures;
    EXPECT_EQ(seriesIn(previewFiles), (previews - 1) / kPreviewRequestsPerSession + 1);
    const size_t expired = logs.unifiedLinesContaining("'s buffer is expired").size();
    EXPECT_EQ(static_cast<long>(expired), producers.aged);
    for (const auto& line : logs.lines()) {
        EXPECT_FALSE(line.sink == testsupport::CapturedLine::Sink::kUnified && line.level <= 2)
            << line.text;
    }
    printf(
        "stress: %d threads, %d requests (%ld capture, %ld aged into expiry), %zu records, "
        "%zu buffers retired and written (%zu expired), %ld preview series, %zu files\n",
        kThreads, producers.lastRequest(), producers.captures, producers.aged, ledger.records,
        ledger.blocks, expired, seriesIn(previewFiles), testsupport::listFiles(dir.path()).size());
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
