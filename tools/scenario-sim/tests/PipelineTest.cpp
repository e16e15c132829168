// The simulated pipeline against a recorder that keeps every call, to check
// what the simulator reports and that its own counts are true. That capture
// requests get series of their own, and that every record reaches the files,
// is checked end to end with the real recorder and the log reader.
#include <ConvertToString.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>
#include <string>

#include "Pipeline.h"

namespace scenariosim {
namespace {

struct SeenRequest {
    int mNddReports = 0;
    int mDecisions = 0;
    int mExecutions = 0;
    int mHeadlineTexts = 0;
    bool mRecordBeforeNdd = false;
};

class KeepingRecorder : public sr::IScenarioRecorder {
  public:
    void recordNddInfo(int, int requestNum, int, bool) override {
        std::lock_guard<std::mutex> lock(mLock);
        ++mRequests[requestNum].mNddReports;
    }
    bool isScenarioRecorderOn() override { return true; }
    void submitDecisionRecord(const sr::DecisionParam& param, const std::string&) override {
        std::lock_guard<std::mutex> lock(mLock);
        ++noteRecord(param.requestNum, param.moduleId).mDecisions;
    }
    void submitExecutionRecord(const sr::ResultParam& param, const std::string&) override {
        std::lock_guard<std::mutex> lock(mLock);
        SeenRequest& seen = noteRecord(param.requestNum, param.moduleId);
        ++seen.mExecutions;
        if (param.addToHeadline) ++seen.mHeadlineTexts;
        mNames.insert(sr::ConvertToString::getInstance().getStageName(param.stageId));
    }
    void printLog(int) override {}
    void registerRequest(int) override {}
    void deregisterRequest(int) override {}

    std::map<int, SeenRequest> mRequests;
    std::set<std::string> mNames;  // of modules and stages

  private:
    SeenRequest& noteRecord(int requestNum, uint32_t moduleId) {
        SeenRequest& seen = mRequests[requestNum];
        if (seen.mNddReports == 0) seen.mRecordBeforeNdd = true;
        mNames.insert(sr::ConvertToString::getInstance().getModuleName(static_cast<int>(moduleId)));
        return seen;
    }

    std::mutex mLock;
};

class PipelineTest : public ::testing::TestWithParam<int> {};

// Records beyond a module's templates repeat them without the headline mark,
// so a request's headline gets at most one text per module that has one:
// four modules on preview requests, five on capture requests.
TEST_P(PipelineTest, CountsWhatItSubmitsAfterOneNddReportPerRequest) {
    KeepingRecorder recorder;
    SimOptions options;
    options.mDurationSeconds = 0.4;
    options.mFps = 100;
    options.mWorkerThreads = GetParam();
    options.mCaptureInterval = 5;
    options.mRecordsPerModule = 9;  // more than any module's templates
    Pipeline pipeline(options, &recorder);
    pipeline.start();
    pipeline.join();
    const PipelineResult result = pipeline.takeResult();

    ASSERT_GT(result.mRequests.size(), 5u);
    ASSERT_EQ(recorder.mRequests.size(), result.mRequests.size());
    size_t records = 0;
    for (const auto& request : result.mRequests) {
        const SeenRequest& seen = recorder.mRequests[request->mRequestNum];
        SCOPED_TRACE("request " + std::to_string(request->mRequestNum));
        EXPECT_EQ(seen.mNddReports, 1);
        EXPECT_FALSE(seen.mRecordBeforeNdd);
        EXPECT_EQ(seen.mDecisions, request->mDecisions.load());
        EXPECT_EQ(seen.mExecutions, request->mExecutions.load());
        EXPECT_EQ(seen.mHeadlineTexts, request->mHeadlineTexts.load());
        EXPECT_GE(seen.mHeadlineTexts, 1);
        EXPECT_LE(seen.mHeadlineTexts, request->mCapture ? 5 : 4);
        EXPECT_EQ(request->mHolders.load(), 0) << "never handed off";
        records += static_cast<size_t>(seen.mDecisions + seen.mExecutions);
    }
    EXPECT_FALSE(result.mRequests.back()->mCapture) << "the session ends with a preview request";
    EXPECT_EQ(result.mLatenciesNs.size(), records);
    EXPECT_EQ(recorder.mNames.count("noModuleName"), 0u);
    EXPECT_EQ(recorder.mNames.count("noStageName"), 0u);
}

// One worker runs every module; six leave some modules to two workers.
INSTANTIATE_TEST_SUITE_P(WorkerLayouts, PipelineTest, ::testing::Values(1, 6));

}  // namespace
}  // namespace scenariosim
