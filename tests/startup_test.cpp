// Starting and stopping the recorder: the enable switch and the startup
// object, init and unInit in their states, and a running recorder destroyed.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <new>
#include <string>

#include "RecorderProperties.h"
#include "ScenarioRecorder.h"
#include "ScenarioRecorderInitializer.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"
#include "support/Records.h"

// Allocation failure on demand: the next allocation on the arming thread
// fails. This program's operator new and delete replace the standard ones for
// the library's code as well, except under a sanitizer, whose runtime owns
// them.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FAILING_ALLOCATOR 0
#else
#define FAILING_ALLOCATOR 1
#endif
namespace {
thread_local bool tFailNextAllocation = false;
[[maybe_unused]] void* allocate(std::size_t size) noexcept {
    const bool fail = tFailNextAllocation;
    tFailNextAllocation = false;
    return fail ? nullptr : malloc(size == 0 ? 1 : size);
}
}  // namespace

#if FAILING_ALLOCATOR
// Never inlined: a memory checker that replaces the allocator must replace
// each of these, or blocks would be freed by another allocator. The array
// forms of the standard library call these.
#define REPLACED __attribute__((noinline))
REPLACED void* operator new(std::size_t size) {
    if (void* block = allocate(size)) return block;
    throw std::bad_alloc();
}
REPLACED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
REPLACED void operator delete(void* block) noexcept {
    free(block);
}
REPLACED void operator delete(void* block, std::size_t) noexcept {
    free(block);
}
#endif

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

using testsupport::findServiceThread;
using testsupport::waitFor;

// The process-wide recorder reads its switch once, so each value is tried in
// a child process of its own.
TEST(StartupObjectDeathTest, OnlyValueOneStartsTheRecorderAndAnyNonZeroValueSwitchesItOn) {
    // The checks run in a scope of their own, so that the temporary folder is
    // removed before the child exits.
    const auto startsAsExpected = [](const std::string& value) {
        testsupport::TempDir dir;
        testsupport::RecorderProperties properties(dir.path(), 20);
        property_set(kEnableProperty, value.c_str());
        auto starter = std::make_unique<ScenarioRecorderInitializer>();
        auto* recorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
        const bool on = recorder->isScenarioRecorderOn() == (value != "0" && value != "");
        const bool started = Peer::hasThread(*recorder) && Peer::ready(*recorder);
        starter.reset();
        const bool stopped = !Peer::hasThread(*recorder) && !Peer::ready(*recorder);
        return on && started == (value == "1") && stopped;
    };
    for (const std::string value : {"1", "0", "", "2", "-1"}) {
        EXPECT_EXIT(exit(startsAsExpected(value) ? 0 : 1), ::testing::ExitedWithCode(0), "")
            << "value \"" << value << "\"";
    }
}

// Ends with a running recorder destroyed: its thread stops with it.
TEST(InitAndUnInit, ASecondInitIsRefusedAndAnInitAfterUnInitStartsAgain) {
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    testsupport::LogCapture logs;
    auto recorder = std::make_unique<ScenarioRecorder>();
    recorder->unInit();  // harmless before a start
    EXPECT_FALSE(Peer::ready(*recorder));

    recorder->init();
    pid_t first = -1;
    ASSERT_TRUE(waitFor([&] { return (first = findServiceThread()) > 0; }));
    recorder->init();
    EXPECT_EQ(logs.unifiedLinesContaining("[init] already started; ignored").size(), 1u);
    EXPECT_EQ(findServiceThread(), first);
    recorder->unInit();
    EXPECT_FALSE(Peer::ready(*recorder));
    // A joined thread's task entry may linger for a moment.
    EXPECT_TRUE(waitFor([] { return findServiceThread() == -1; }));

    recorder->init();
    recorder->submitDecisionRecord(testsupport::decisionParam(3), "accepted again");
    EXPECT_TRUE(Peer::hasActive(*recorder, 3));
    ASSERT_TRUE(waitFor([] { return findServiceThread() > 0; }));
    recorder.reset();
    EXPECT_TRUE(waitFor([] { return findServiceThread() == -1; }));
}

// Each operation meets one failing allocation: none throws, each reports it
// in its own name, and the recorder works on afterwards.
TEST(InitAndUnInit, AFailedAllocationNeverReachesTheCallerAndTheRecorderGoesOn) {
    if (!FAILING_ALLOCATOR) GTEST_SKIP() << "the sanitizer's runtime owns operator new";
    tFailNextAllocation = true;
    // A direct call: a new-expression's allocation may be elided.
    ::operator delete(::operator new(1, std::nothrow));
    if (tFailNextAllocation) {
        tFailNextAllocation = false;
        GTEST_SKIP() << "a memory checker has replaced operator new";
    }
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    testsupport::LogCapture logs;
    auto failedOnce = [&](const std::string& function, auto&& operation) {
        const std::string line = "[" + function + "] ";
        const size_t before = logs.unifiedLinesContaining(line).size();
        tFailNextAllocation = true;
        operation();
        tFailNextAllocation = false;
        return logs.unifiedLinesContaining(line).size() == before + 1;
    };
    EXPECT_TRUE(failedOnce("ScenarioRecorderInitializer", [] { ScenarioRecorderInitializer(); }));

    ScenarioRecorder recorder;
    EXPECT_TRUE(failedOnce("init", [&] { recorder.init(); }));
    EXPECT_FALSE(Peer::ready(recorder) || Peer::hasThread(recorder));
    EXPECT_EQ(
        logs.unifiedLinesContaining("Unable to start the service thread: std::bad_alloc").size(),
        1u);
    recorder.unInit();
    recorder.init();
    ASSERT_TRUE(Peer::ready(recorder));

    EXPECT_TRUE(failedOnce("registerRequest", [&] { recorder.registerRequest(7); }));
    EXPECT_TRUE(failedOnce("recordNddInfo", [&] { recorder.recordNddInfo(5, 7, 0, true); }));
    // The pending queue grows now and then; a hand-off that cannot grow it
    // leaves the buffer active.
    bool handOffFailed = false;
    for (int request = 100; request < 400 && !handOffFailed; ++request) {
        recorder.submitDecisionRecord(testsupport::decisionParam(request), "x");
        handOffFailed = failedOnce("printLog", [&] { recorder.printLog(request); });
        if (handOffFailed) {
            EXPECT_TRUE(Peer::hasActive(recorder, request));
        }
    }
    EXPECT_TRUE(handOffFailed);

    recorder.recordNddInfo(5, 7, 0, true);
    recorder.submitDecisionRecord(testsupport::decisionParam(7), "written");
    recorder.printLog(7);
    EXPECT_TRUE(waitFor([&] { return Peer::requestWriter(recorder, 7) == nullptr; }));
    recorder.unInit();
    const auto files = testsupport::listFiles(dir.path());
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(
        testsupport::readLines(dir.file(files[0])),
        (std::vector<std::string>{"[UKey: 5][ReqNum: 7]", testsupport::decisionLine("written")}));
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
