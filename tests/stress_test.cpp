// Many threads record into many requests of a started recorder while guards
// pass between threads, buffers retire mid-copy, preview sessions replace the
// default writer and aged buffers expire. Each line encodes its thread,
// request, sequence number and payload, so the files read back show any record
// lost, repeated, torn, misplaced or reordered.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "RecorderProperties.h"
#include "ScenarioLogPrinter.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"
#include "support/Records.h"

// Seconds in the plain build; sanitizers find more in longer runs.
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

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

// Per thread and request; thread -1 stands for the request's NDD report.
using ThreadRequest = std::pair<int, int>;
using Lines = std::vector<std::string>;

constexpr int kThreads = 8;
constexpr int kPreviewRequestsPerSession = 6;

// A request is cut into parts, each recorded by a thread that takes it. An
// aged request's active buffer is aged into expiry halfway through part 0.
struct Plan {
    bool capture, aged;
    int parts, recordsPerPart;
};

Plan planOf(int request) {
    const bool capture = request % 3 == 0;
    if (request % 8 == 5) return {capture, true, 2, 100};    // expires within one buffer
    if (request % 5 == 2) return {capture, false, 4, 1200};  // spans four buffers
    return {capture, false, 1 + request % 3, 10 + request * 37 % 90};
}

std::string textOf(int thread, int request, int seq) {
    std::string text = "t" + std::to_string(thread) + " r" + std::to_string(request) + " s" +
                       std::to_string(seq) + " ";
    const int length = 40 + (thread * 7 + request * 13 + seq) % 61;
    for (int i = 0; i < length; ++i) text += static_cast<char>('a' + (thread + seq + i) % 26);
    return text;
}

std::string lineOf(int thread, int request, int seq) {
    const std::string text = textOf(thread, request, seq);
    return "[SensorId: " + std::to_string(thread) + "][FrameNum: " + std::to_string(request) +
           "][MagicNum: " + std::to_string(seq) + "]" +
           (seq % 2 == 0 ? testsupport::resultLine(text) : testsupport::decisionLine(text));
}

// Every thread's first record of a request also goes to the headline.
void submit(ScenarioRecorder& recorder, int thread, int request, int seq) {
    const testsupport::Numbers numbers{thread, request, seq};
    const std::string text = textOf(thread, request, seq);
    if (seq % 2 == 1)
        return recorder.submitDecisionRecord(testsupport::decisionParam(request, numbers), text);
    recorder.submitExecutionRecord(testsupport::resultParam(request, seq == 0, numbers), text);
}

// A thread opens a request by making a guard per part and queueing the parts;
// other threads take them, record and destroy the guard. So requests are handed
// off on whichever thread lets go of the last guard, while others copy on.
class Producers {
  public:
    std::vector<Plan> plans{{false, false, 0, 0}};  // per request; the last one closes the run
    std::map<ThreadRequest, int> submitted;         // records per thread and request
    long captures = 0, aged = 0;

    Producers(ScenarioRecorder& recorder, testsupport::LogCapture& logs, int requests)
        : mRecorder(recorder), mLogs(logs) {
        for (int request = 1; request <= requests; ++request) {
            plans.push_back(planOf(request));
            mPartsLeft += plans.back().parts;
            captures += plans.back().capture;
            aged += plans.back().aged;
        }
        plans.push_back({false, false, 1, 1});
    }

    int last() const { return static_cast<int>(plans.size()) - 1; }

    void run() {
        open(1, kThreads);  // a preview series exists before any buffer is written
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) threads.emplace_back([this, t] { work(t); });
        for (std::thread& thread : threads) thread.join();
        for (int t = 0; t < kThreads; ++t) {
            for (const auto& entry : mSeqs[t]) submitted[{t, entry.first}] = entry.second;
        }
        // Written last, through the default writer, which flushes it.
        ScenarioLogPrinter guard(last());
        reportNdd(last());
        submit(mRecorder, kThreads, last(), 0);
        submitted[{kThreads, last()}] = 1;
    }

  private:
    struct Part {
        int request, maker;  // maker: the thread that made the guard
        bool ager;
        std::unique_ptr<ScenarioLogPrinter> guard;
    };

    // Preview keys grow, so preview series sort by name in the order they
    // were written.
    void reportNdd(int request) {
        if (plans[request].capture) return mRecorder.recordNddInfo(7, request, 1, true);
        if (mPreviewRequests++ % kPreviewRequestsPerSession == 0) ++mPreviewKey;
        mRecorder.recordNddInfo(mPreviewKey, request, 0, false);
    }

    // The report comes first: a capture request's buffers must find its
    // writer, however early they are written.
    void open(int request, int thread) {
        std::lock_guard<std::mutex> lock(mLock);
        reportNdd(request);
        for (int i = 0; i < plans[request].parts; ++i) {
            mParts.push_back({request, thread, plans[request].aged && i == 0,
                              std::make_unique<ScenarioLogPrinter>(request)});
        }
    }

    void work(int thread) {
        while (mPartsLeft > 0) {
            Part part{};
            {
                std::lock_guard<std::mutex> lock(mLock);
                auto theirs = std::find_if(mParts.begin(), mParts.end(),
                                           [&](const Part& made) { return made.maker != thread; });
                if (theirs != mParts.end()) {
                    part = std::move(*theirs);
                    mParts.erase(theirs);
                }
            }
            if (part.guard) {
                record(thread, part);
            } else if (const int request = mAgers > 0 ? last() : mNextRequest++; request < last()) {
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
            if (part.ager && i == count / 2) expire(part.request);
        }
        part.guard.reset();
        --mPartsLeft;
    }

    // Expiry needs an idle pass of the service thread, so no request is
    // opened until it has come.
    void expire(int request) {
        ++mAgers;
        Peer::ageActiveBuffer(mRecorder, request, 12);
        const std::string line = "Request(" + std::to_string(request) + ")'s";
        const auto logged = [&] { return !mLogs.unifiedLinesContaining(line).empty(); };
        EXPECT_TRUE(testsupport::waitFor(logged)) << "request " << request << " did not expire";
        --mAgers;
    }

    ScenarioRecorder& mRecorder;
    testsupport::LogCapture& mLogs;
    std::mutex mLock;
    std::deque<Part> mParts;   // guarded by mLock
    int mPreviewRequests = 0;  // guarded by mLock
    int mPreviewKey = 99;      // guarded by mLock
    std::atomic<int> mNextRequest{2}, mPartsLeft{0};
    std::atomic<int> mAgers{0};          // threads waiting for an aged buffer to expire
    std::map<int, int> mSeqs[kThreads];  // each thread's own: the next sequence number by request
};

// Reads the files back against what the producers submitted.
struct Ledger {
    explicit Ledger(const Producers& source) : producers(source) {}

    const Producers& producers;
    std::map<ThreadRequest, int> next;   // the sequence number due
    std::map<ThreadRequest, int> items;  // headline items seen
    size_t problems = 0;
    int blockRequest = -2;  // -2 before a series' first headline, -1 before a block's first record

    // Files in name order: each series in index order, preview series in the
    // order they were started. Returns the number of series.
    long read(const Lines& files) {
        long series = 0;
        for (const std::string& file : files) {
            // The capture request whose series it is: "%09d_%04d_..._capture__...".
            const int owner = file.find("_capture__") == std::string::npos
                                  ? -1
                                  : std::stoi(file.substr(file.rfind('/') + 11));
            const bool first = file.find("_TuningLog_01.txt") != std::string::npos;
            series += first;
            if (first) blockRequest = -2;
            const Lines lines = testsupport::readLines(file);
            for (size_t i = 0; i < lines.size(); ++i) {
                if (!first && i == 0 && lines[i] == "-- CONTINUED --") continue;
                lines[i].rfind("[SensorId: ", 0) == 0 ? readRecord(lines[i], owner)
                                                      : readHeadline(lines[i]);
            }
        }
        return series;
    }

    void problem(const std::string& what, const std::string& line) {
        if (++problems <= 20) ADD_FAILURE() << what << ": \"" << line << "\"";
    }

    void readRecord(const std::string& line, int owner) {
        int thread = -1, request = -1, seq = -1;
        if (sscanf(line.c_str(), "[SensorId: %d][FrameNum: %d][MagicNum: %d]", &thread, &request,
                   &seq) != 3 ||
            request < 1 || request > producers.last() || line != lineOf(thread, request, seq)) {
            return problem("torn record", line);
        }
        // An aged capture request's writer is dropped with its expired buffer.
        const Plan& plan = producers.plans[request];
        if (owner >= 0 ? request != owner : plan.capture && !plan.aged) {
            problem("record in another request's file", line);
        }
        if (blockRequest == -2) return problem("record before any headline", line);
        if (blockRequest == -1) blockRequest = request;
        if (request != blockRequest) problem("in another request's block", line);
        int& due = next[{thread, request}];
        if (seq != due) problem("expected sequence number " + std::to_string(due), line);
        due = seq + 1;
    }

    // "[UKey: %d][ReqNum: %d]" texts and ", text" snippets, joined.
    void readHeadline(const std::string& line) {
        blockRequest = -1;
        for (size_t pos = 0; pos < line.size();) {
            int key = -1, thread = -1, request = -1;
            const char* at = line.c_str() + pos;
            const std::string item = sscanf(at, "[UKey: %d][ReqNum: %d]", &key, &request) == 2
                                         ? testsupport::nddText(key, request)
                                     : sscanf(at, ", t%d r%d s0 ", &thread, &request) == 2
                                         ? ", " + textOf(thread, request, 0)
                                         : "";
            if (item.empty() || line.compare(pos, item.size(), item) != 0)
                return problem("torn headline", line);
            ++items[{thread, request}];
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
    Producers producers(recorder, logs,
                        40 * (scale != nullptr && atoi(scale) > 0 ? atoi(scale) : STRESS_SCALE));
    producers.run();
    recorder.unInit();
    EXPECT_EQ(Peer::writerCount(recorder), 0u) << "every capture file was closed";

    Ledger ledger(producers);
    EXPECT_EQ(ledger.read(testsupport::logFiles(dir.path(), "capture")), producers.captures);
    EXPECT_EQ(ledger.read(testsupport::logFiles(dir.path(), "preview")),
              (producers.last() - producers.captures - 1) / kPreviewRequestsPerSession + 1);
    EXPECT_EQ(ledger.problems, 0u);
    EXPECT_TRUE(ledger.next == producers.submitted) << "a thread's last records are missing";
    std::map<ThreadRequest, int> onceEach;
    for (const auto& entry : producers.submitted) onceEach[entry.first] = 1;
    for (int request = 1; request <= producers.last(); ++request) onceEach[{-1, request}] = 1;
    EXPECT_TRUE(ledger.items == onceEach) << "a headline item is missing or repeated";
    EXPECT_EQ(static_cast<long>(logs.unifiedLinesContaining("'s buffer is expired").size()),
              producers.aged);
    for (const auto& line : logs.lines()) {
        EXPECT_FALSE(line.sink == testsupport::CapturedLine::Sink::kUnified && line.level <= 2)
            << line.text;
    }
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
