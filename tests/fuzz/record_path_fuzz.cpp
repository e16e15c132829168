// libFuzzer target: fuzzed submits, NDD reports and hand-offs. Each request's
// stored lines must be the snprintf construction's, in submission order, at
// most 1,023 characters in rooms rounded to 8; headlines stay within 1,022
// characters. Any difference aborts.
#include <cutils/properties.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <zyncam/utils/ULog.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "RecordFormat.h"
#include "RecorderProperties.h"
#include "ScenarioRecorder.h"
#include "SnprintfRecordFormat.h"
#include "support/RecorderPeer.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;
using Peer = sr::ScenarioRecorderTestPeer;

namespace {

constexpr size_t kMaxTextBytes = 1100;
constexpr int kMaxOperations = 64;
// Enough copies of the longest line to fill more than one buffer.
constexpr int kMaxBurst = 300;
constexpr size_t kMaxStoredCharacters = sr::kRecordLineSize - 1;
constexpr size_t kMaxHeadlineCharacters = sr::ScenarioRecorder::kHeadlineSize - 2;
constexpr uint32_t kSomeModules[] = {0x00202001, 0x40007001, 0x00801000, 0x00207005};

// The log folder of the capture and preview files that NDD reports open;
// emptied after every input so that long runs do not fill the disk.
char gFolder[] = "/tmp/record_path_fuzz.XXXXXX";

void removeFiles() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(gFolder, ignored))
        std::filesystem::remove(entry.path(), ignored);
}

void removeFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(gFolder, ignored);
}

void check(bool holds, const char* what, const std::string& detail = "") {
    if (holds) return;
    fprintf(stderr, "record path invariant broken: %s %s\n", what, detail.c_str());
    abort();
}

int32_t someNumber(FuzzedDataProvider& input) {
    return input.ConsumeBool() ? input.ConsumeIntegralInRange<int32_t>(-2, 4)
                               : input.ConsumeIntegral<int32_t>();
}

template <typename Param>
void fillCommon(FuzzedDataProvider& input, int requestNum, Param& param) {
    param.requestNum = requestNum;
    param.sensorId = someNumber(input);
    param.frameNum = someNumber(input);
    param.magicNum = someNumber(input);
    param.moduleId = input.ConsumeBool() ? input.PickValueInArray(kSomeModules)
                                         : input.ConsumeIntegral<uint32_t>();
    param.decisionType = static_cast<sr::DecisionType>(input.ConsumeIntegral<uint32_t>() % 9);
}

// Submits records to a recorder that takes records but has no service
// thread, and keeps the line each one must leave, per request.
class Session {
  public:
    explicit Session(FuzzedDataProvider& input) : mInput(input) { Peer::setReady(mRecorder, true); }

    void play() {
        for (int i = 0; i < kMaxOperations && mInput.remaining_bytes() > 0; ++i) {
            const int requestNum = someNumber(mInput);
            const int operation = mInput.ConsumeIntegralInRange(0, 4);
            if (operation <= 1) {
                const int copies = operation == 0 ? 1 : mInput.ConsumeIntegralInRange(2, kMaxBurst);
                submitDecisions(requestNum, copies);
            } else if (operation == 2) {
                submitExecution(requestNum);
            } else if (operation == 3) {
                mRecorder.recordNddInfo(someNumber(mInput), requestNum, someNumber(mInput),
                                        mInput.ConsumeBool());
            } else {
                mRecorder.printLog(requestNum);
            }
        }
        for (const auto& request : mExpected) mRecorder.printLog(request.first);
    }

    // Every buffer is now pending, in hand-off order.
    void verify() {
        std::map<int, std::vector<std::string>> walked;
        for (const sr::WalkedBuffer& buffer : Peer::walkPending(mRecorder)) {
            check(buffer.sizes.front() == sr::ScenarioRecorder::kHeadlineBlockSize,
                  "headline block size");
            for (size_t i = 0; i < buffer.records.size(); ++i) {
                const std::string& line = buffer.records[i];
                check(line.size() <= kMaxStoredCharacters, "line length", line);
                const uint64_t room =
                    (line.size() + 1 + sr::ScenarioRecorder::kLogHeaderSize + 7) / 8 * 8;
                check(buffer.sizes[i + 1] == room, "record room", line);
                walked[buffer.requestNum].push_back(line);
            }
        }
        for (const auto& request : mExpected) {
            check(walked[request.first] == request.second, "records of request",
                  std::to_string(request.first));
        }
        for (const std::string& headline : Peer::mergePendingHeadlines(mRecorder)) {
            check(headline.size() <= kMaxHeadlineCharacters, "headline length", headline);
        }
    }

  private:
    // A text of a chosen length, around and beyond the cuts, made of
    // repeated fuzzed bytes (NULs included), so short inputs reach long lines.
    std::string text() {
        const size_t length = mInput.ConsumeIntegralInRange<size_t>(0, kMaxTextBytes);
        std::string pattern = mInput.ConsumeRandomLengthString(16);
        if (pattern.empty()) pattern = "x";
        std::string text(length, '\0');
        for (size_t i = 0; i < length; ++i) text[i] = pattern[i % pattern.size()];
        return text;
    }

    void submitDecisions(int requestNum, int copies) {
        sr::DecisionParam param;
        fillCommon(mInput, requestNum, param);
        const std::string recordText = text();
        char line[sr::kRecordLineSize];
        const size_t length = sr::reference::snprintfDecisionLine(param, recordText.c_str(), line);
        for (int i = 0; i < copies; ++i) {
            mRecorder.submitDecisionRecord(param, recordText);
            mExpected[requestNum].emplace_back(line, length - 1);
        }
    }

    void submitExecution(int requestNum) {
        sr::ResultParam param;
        fillCommon(mInput, requestNum, param);
        param.stageId = someNumber(mInput) % 41;
        param.addToHeadline = mInput.ConsumeBool();
        const std::string recordText = text();
        char line[sr::kRecordLineSize];
        const size_t length = sr::reference::snprintfExecutionLine(param, recordText.c_str(), line);
        mRecorder.submitExecutionRecord(param, recordText);
        mExpected[requestNum].emplace_back(line, length - 1);
    }

    FuzzedDataProvider& mInput;
    sr::ScenarioRecorder mRecorder;
    std::map<int, std::vector<std::string>> mExpected;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The recorder's own info and warning lines would drown the fuzzer's.
    NSCam::Utils::ULog::ULogger::sMode = 0;
    if (mkdtemp(gFolder) == nullptr) abort();
    atexit(removeFolder);
    property_set(sr::kFolderProperty, gFolder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    {
        Session session(input);
        session.play();
        session.verify();
    }
    removeFiles();
    return 0;
}
