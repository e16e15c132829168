// The simulated pipeline against a recorder that keeps every call, to check
// what the simulator reports and that its own counts are true.
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
    bool mCapture = false;
    int mUniqueKey = 0;
    int mDecisions = 0;
    int mExecutions = 0;
    int mHeadlineTexts = 0;
    bool mRecordBeforeNdd = false;
};

class KeepingRecorder : public sr::IScenarioRecorder {
  public:
    void recordNddInfo(int uniqueKey, int requestNum, int, bool isCapture) override {
        std::lock_guard<std::mutex> lock(mLock);
        SeenRequest& seen = mRequests[requestNum];
        ++seen.mNddReports;
        seen.mCapture = isCapture;
        seen.mUniqueKey = uniqueKey;
    }
    bool isScenarioRecorderOn() override { return true; }
    void submitDecisionRecord(const sr::DecisionParam& param, const std::string&) override {
        std::lock_guard<std::mutex> lock(mLock);
        SeenRequest& seen = noteRecord(param.requestNum, param.moduleId, param.decisionType);
        ++seen.mDecisions;
    }
    void submitExecutionRecord(const sr::ResultParam& param, const std::string&) override {
        std::lock_guard<std::mutex> lock(mLock);
        SeenRequest& seen = noteRecord(param.requestNum, param.moduleId, param.decisionType);
        ++seen.mExecutions;
        if (param.addToHeadline) ++seen.mHeadlineTexts;
        mStages.insert(sr::ConvertToString::getInstance().getStageName(param.stageId));
    }
    void printLog(int) override {}
    void registerRequest(int) override {}
    void deregisterRequest(int) override {}

    std::map<int, SeenRequest> mRequests;
    std::set<std::string> mModules;
    std::set<std::string> mDecisionTypes;
    std::set<std::string> mStages;

  private:
    SeenRequest& noteRecord(int requestNum, uint32_t moduleId, sr::DecisionType type) {
        SeenRequest& seen = mRequests[requestNum];
        if (seen.mNddReports == 0) seen.mRecordBeforeNdd = true;
        sr::ConvertToString& names = sr::ConvertToString::getInstance();
        mModules.insert(names.getModuleName(static_cast<int>(moduleId)));
        mDecisionTypes.insert(names.getDecisionName(type));
        return seen;
    }

    std::mutex mLock;
};

class PipelineTest : public ::testing::TestWithParam<int> {
  protected:
    PipelineResult runSession() {
        SimOptions options;
        options.mDurationSeconds = 0.4;
        options.mFps = 100;
        options.mWorkerThreads = GetParam();
        options.mCaptureInterval = 5;
        options.mRecordsPerModule = 9;  // more than any module's templates
        Pipeline pipeline(options, &mRecorder);
        pipeline.start();
        pipeline.join();
        EXPECT_TRUE(pipeline.finished());
        return pipeline.takeResult();
    }

    KeepingRecorder mRecorder;
};

TEST_P(PipelineTest, CountsWhatItSubmits) {
    const PipelineResult result = runSession();
    ASSERT_GT(result.mRequests.size(), 5u);
    ASSERT_EQ(mRecorder.mRequests.size(), result.mRequests.size());
    size_t records = 0;
    for (const auto& request : result.mRequests) {
        const SeenRequest& seen = mRecorder.mRequests[request->mRequestNum];
        EXPECT_EQ(seen.mDecisions, request->mDecisions.load()) << request->mRequestNum;
        EXPECT_EQ(seen.mExecutions, request->mExecutions.load()) << request->mRequestNum;
        EXPECT_EQ(seen.mHeadlineTexts, request->mHeadlineTexts.load()) << request->mRequestNum;
        EXPECT_EQ(request->mHolders.load(), 0) << "request " << request->mRequestNum << " held";
        records += static_cast<size_t>(seen.mDecisions + seen.mExecutions);
    }
    EXPECT_EQ(result.mLatenciesNs.size(), records);
}

TEST_P(PipelineTest, ReportsEachRequestOnceBeforeItsRecords) {
    const PipelineResult result = runSession();
    int captures = 0;
    for (const auto& request : result.mRequests) {
        const SeenRequest& seen = mRecorder.mRequests[request->mRequestNum];
        EXPECT_EQ(seen.mNddReports, 1) << request->mRequestNum;
        EXPECT_FALSE(seen.mRecordBeforeNdd) << request->mRequestNum;
        EXPECT_EQ(seen.mCapture, request->mCapture) << request->mRequestNum;
        EXPECT_EQ(seen.mUniqueKey, request->mUniqueKey) << request->mRequestNum;
        captures += request->mCapture ? 1 : 0;
    }
    EXPECT_GT(captures, 0);
    EXPECT_FALSE(result.mRequests.back()->mCapture) << "the session ends with a preview request";
}

// Records beyond a module's templates repeat them without the headline mark,
// so a request's headline gets at most one text per module that has one:
// four modules on preview requests, five on capture requests.
TEST_P(PipelineTest, MarksOneHeadlineTextPerModule) {
    const PipelineResult result = runSession();
    for (const auto& request : result.mRequests) {
        EXPECT_GE(request->mHeadlineTexts.load(), 1) << request->mRequestNum;
        EXPECT_LE(request->mHeadlineTexts.load(), request->mCapture ? 5 : 4)
            << request->mRequestNum;
    }
}

TEST_P(PipelineTest, NamesOnlyKnownModulesDecisionsAndStages) {
    runSession();
    EXPECT_EQ(mRecorder.mModules.count("noModuleName"), 0u);
    EXPECT_EQ(mRecorder.mStages.count("noStageName"), 0u);
    EXPECT_EQ(mRecorder.mDecisionTypes,
              (std::set<std::string>{"ATMS_MAPPING", "TOP_CONTROL", "NORMAL_DATA_DUMP",
                                     "AE_EXPOSURE_PARAM", "TRIGGER_FEATURE", "ISP_FLOW"}));
    EXPECT_EQ(mRecorder.mModules,
              (std::set<std::string>{"CameraMiddleware", "P1_NODE", "P2Streaming", "3A",
                                     "FaceDetection", "P2Capture"}));
}

// One worker runs every module; six leave some modules to two workers.
INSTANTIATE_TEST_SUITE_P(WorkerLayouts, PipelineTest, ::testing::Values(1, 6));

}  // namespace
}  // namespace scenariosim
