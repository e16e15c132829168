// Faults from outside: the host goes on, the fault is logged, and records reach
// files again once it is gone. Faults that need a mount, a chroot or a lower
// limit run in a sandboxed child, which reports through files.
#include <cutils/properties.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "RecorderProperties.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"
#include "support/Records.h"
#include "support/Sandbox.h"

extern char** environ;

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

using namespace testsupport;
using Lines = std::vector<std::string>;

constexpr const char* kUnableToOpen =
    "Unable to open file. Please disable SELinux and restart lumenhostd. !!!";

void submit(ScenarioRecorder& recorder, int requestNum, const std::string& text) {
    recorder.submitDecisionRecord(decisionParam(requestNum), text);
}

// A capture request from its NDD report to its hand-off, with one record.
void captureRequest(ScenarioRecorder& recorder, int uniqueKey, int requestNum,
                    const std::string& text) {
    recorder.recordNddInfo(uniqueKey, requestNum, 0, true);
    submit(recorder, requestNum, text);
    recorder.printLog(requestNum);
}

std::string captureName(int uniqueKey, int requestNum) {
    char name[40];
    snprintf(name, sizeof(name), "%09d_%04d_0000_capture__", uniqueKey, requestNum);
    return name;
}

// The lines of the one file in `folder` of that capture request, or a line
// that says how many there were instead.
Lines captureFile(const std::string& folder, int uniqueKey, int requestNum) {
    const std::string prefix = captureName(uniqueKey, requestNum);
    Lines found;
    for (const std::string& name : listFiles(folder)) {
        if (name.rfind(prefix, 0) == 0) found.push_back(name);
    }
    if (found.size() != 1) return {std::to_string(found.size()) + " files named " + prefix};
    return readLines(folder + "/" + found[0]);
}

// That capture request's one file in `folder` holds its headline and record.
#define EXPECT_CAPTURE(folder, key, request, text) \
    EXPECT_EQ(captureFile(folder, key, request), (Lines{nddText(key, request), decisionLine(text)}))

size_t countStartingWith(const Lines& lines, const std::string& prefix) {
    return std::count_if(lines.begin(), lines.end(),
                         [&](const std::string& line) { return line.rfind(prefix, 0) == 0; });
}

// A recorder started on `folder`, its log captured from before its thread starts.
struct Started {
    explicit Started(const std::string& folder, int flushMs = 10) : properties(folder, flushMs) {
        recorder.init();
    }
    // Stops the recorder and saves its unified logger lines as "<level> <text>".
    void stop(const std::string& logPath) {
        recorder.unInit();
        std::string saved;
        for (const CapturedLine& line : logs.lines()) {
            if (line.sink != CapturedLine::Sink::kUnified) continue;
            saved += std::to_string(line.level) + " " + line.text + "\n";
        }
        writeFile(logPath, saved);
    }
    LogCapture logs;
    RecorderProperties properties;
    ScenarioRecorder recorder;
};

// The folder property names a path below a regular file, then a folder on a
// read-only mount. The child runs chrooted into a temporary folder, so the
// fall-backs under /data are made there and never on the host.
TEST(LogFolderFaults, UnusableFolderFallsBackAndIsUsedAgainOnceRepaired) {
    TempDir root;
    ASSERT_EQ(mkdir(root.file("ro").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(root.file("ro/logs").c_str(), 0755), 0);
    const int status = runInSandbox([&]() -> int {
        const std::string ro = root.file("ro");
        if (mount(ro.c_str(), ro.c_str(), "none", MS_BIND, nullptr) != 0 ||
            mount("none", ro.c_str(), "none", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0 ||
            chroot(root.path().c_str()) != 0 || chdir("/") != 0) {
            return kSandboxUnavailable;
        }
        if (mkdir("/data", 0755) != 0 || mkdir("/data/vendor", 0755) != 0) return 1;
        writeFile("/plain", "a regular file");
        Started started("/plain/logs");
        captureRequest(started.recorder, 1, 1, "below a regular file");
        if (unlink("/plain") != 0 || mkdir("/plain", 0755) != 0) return 2;
        captureRequest(started.recorder, 1, 2, "folder repaired");
        property_set(kFolderProperty, "/ro/logs");
        captureRequest(started.recorder, 1, 3, "on a read-only mount");
        if (mount("none", "/ro", "none", MS_REMOUNT | MS_BIND, nullptr) != 0) return 3;
        captureRequest(started.recorder, 1, 4, "mount writable again");
        started.stop("/log");
        return 0;
    });
    SKIP_WITHOUT_SANDBOX(status);

    const Lines log = readLines(root.file("log"));
    for (const std::string& line :
         Lines{"1 [getFolderPath] mkdir(/plain/logs) failed, errno = 20",
               "5 [operator()] mkdir(/data/vendor/camera_dump) OK",
               "1 [open] File writer: file open failed /ro/logs/" + captureName(1, 3),
               "3 [open] Write log to /data/vendor/" + captureName(1, 3)}) {
        EXPECT_EQ(countStartingWith(log, line), 1u) << line;
    }
    EXPECT_EQ(countStartingWith(log, "1 "), 2u) << "no other error";
    EXPECT_CAPTURE(root.file("data/vendor/camera_dump"), 1, 1, "below a regular file");
    EXPECT_CAPTURE(root.file("plain/logs"), 1, 2, "folder repaired");
    EXPECT_CAPTURE(root.file("data/vendor"), 1, 3, "on a read-only mount");
    EXPECT_CAPTURE(root.file("ro/logs"), 1, 4, "mount writable again");
}

// A tmpfs of 300 MiB keeps more than the reserved 280 MiB free until a filler
// beside the log folder takes its last byte. Request 1's writer stays open
// across the fault: its full buffers are retired and written while none fits.
TEST(DiskFaults, FullDiskDropsOnlyWhatIsWrittenMeanwhile) {
    const std::string text(200, 'f');
    TempDir dir;
    const std::string fs = dir.file("fs");
    ASSERT_EQ(mkdir(fs.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(dir.file("out").c_str(), 0755), 0);
    const int status = runInSandbox([&]() -> int {
        const std::string logs = fs + "/logs";
        if (!mountTmpfs(fs, 300ull << 20)) return kSandboxUnavailable;
        if (mkdir(logs.c_str(), 0755) != 0) return 1;
        Started started(logs);
        ScenarioRecorder& recorder = started.recorder;
        recorder.recordNddInfo(2, 1, 0, true);
        captureRequest(recorder, 2, 2, "before the disk filled");
        if (!waitFor([&] { return Peer::writerCount(recorder) == 1; })) return 2;

        struct statvfs info;
        const int filler = open((fs + "/filler").c_str(), O_WRONLY | O_CREAT, 0644);
        if (statvfs(fs.c_str(), &info) != 0 ||
            fallocate(filler, 0, 0, static_cast<off_t>(info.f_bsize * info.f_bfree)) != 0 ||
            close(filler) != 0 || statvfs(fs.c_str(), &info) != 0 || info.f_bfree != 0)
            return 3;
        // About 300 bytes a record, fewer than 900 to a buffer: three buffers
        // are retired and written while nothing fits.
        for (int i = 0; i < 3000; ++i) submit(recorder, 1, text);
        if (!waitFor([&] { return Peer::pendingCount(recorder) == 0; })) return 4;

        unlink((fs + "/filler").c_str());
        for (const char* line : {"freed 1", "freed 2"}) submit(recorder, 1, line);
        recorder.printLog(1);
        captureRequest(recorder, 2, 3, "after the disk was freed");
        started.stop(dir.file("log"));
        for (const std::string& name : listFiles(logs)) {
            writeFile(dir.file("out/" + name), readFile(logs + "/" + name));
        }
        return 0;
    });
    SKIP_WITHOUT_SANDBOX(status);

    const Lines log = readLines(dir.file("log"));
    EXPECT_EQ(countStartingWith(log, "1 "), 0u);
    EXPECT_EQ(countStartingWith(log, "2 [reserveSpace]"), 0u);
    // Lost: the buffers retired while the disk was full, the first with the headline.
    // Written once freed: the active buffer's empty headline and records.
    const Lines lines = captureFile(dir.file("out"), 2, 1);
    ASSERT_GT(lines.size(), 3u) << lines[0];
    EXPECT_EQ(lines.front(), "");
    EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
              (Lines{decisionLine("freed 1"), decisionLine("freed 2")}));
    const size_t kept = lines.size() - 3;
    EXPECT_LT(kept, 3000u - 3 * 800) << "three buffers of more than 800 records each are lost";
    EXPECT_EQ(static_cast<size_t>(std::count(lines.begin(), lines.end(), decisionLine(text))),
              kept);
    EXPECT_CAPTURE(dir.file("out"), 2, 2, "before the disk filled");
    EXPECT_CAPTURE(dir.file("out"), 2, 3, "after the disk was freed");
}

// The child takes every descriptor it may have while two capture requests
// open their files, then gives them back for a third.
TEST(DescriptorFaults, RequestsWithoutDescriptorsAreReportedAndHandedBackUnwritten) {
    TempDir dir;
    const int status = runInSandbox([&]() -> int {
        Started started(dir.path());
        ScenarioRecorder& recorder = started.recorder;
        // A line reaches the logger first: under UndefinedBehaviorSanitizer
        // the first check of the logger's dynamic type needs a pipe.
        if (!waitFor([&] { return !started.logs.unifiedLinesContaining("is running").empty(); }))
            return 6;
        rlimit saved;
        if (getrlimit(RLIMIT_NOFILE, &saved) != 0) return 1;
        rlimit low = saved;
        low.rlim_cur = std::min<rlim_t>(saved.rlim_cur, 256);
        if (setrlimit(RLIMIT_NOFILE, &low) != 0) return 2;
        std::vector<int> taken;
        for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) taken.push_back(fd);
        if (errno != EMFILE) return 3;
        captureRequest(recorder, 4, 1, "no descriptor");
        captureRequest(recorder, 4, 2, "no descriptor either");
        const auto refused = [&] {
            return Peer::pendingCount(recorder) == 0 && Peer::writerCount(recorder) == 0;
        };
        if (!waitFor(refused)) return 4;
        for (int fd : taken) close(fd);
        if (setrlimit(RLIMIT_NOFILE, &saved) != 0) return 5;
        captureRequest(recorder, 4, 3, "descriptors back");
        started.stop(dir.file("log"));
        return 0;
    });
    SKIP_WITHOUT_SANDBOX(status);

    const Lines log = readLines(dir.file("log"));
    for (int request : {1, 2}) {
        const std::string line =
            "1 [open] File writer: file open failed " + dir.file(captureName(4, request));
        EXPECT_EQ(countStartingWith(log, line), 1u) << line;
    }
    EXPECT_EQ(countStartingWith(log, std::string("1 [open] ") + kUnableToOpen), 2u);
    EXPECT_EQ(countStartingWith(log, std::string("1 [serviceThreadEntry] ") + kUnableToOpen), 2u);
    EXPECT_EQ(countStartingWith(log, "1 "), 6u) << "no other error";
    // No line of the first two reached a file. Under valgrind a refused open
    // leaves an empty file: its limit applies after the kernel made the file.
    for (const std::string& file : logFiles(dir.path(), "capture")) {
        if (file.find(captureName(4, 3)) == std::string::npos) {
            EXPECT_EQ(readFile(file), "") << file;
        }
    }
    EXPECT_CAPTURE(dir.path(), 4, 3, "descriptors back");
}

// The preview writer keeps its file open across requests.
TEST(FileFaults, TruncatedFileGoesOnAtItsNewEndAndADeletedOneIsLeftBehind) {
    TempDir dir;
    Started started(dir.path());
    ScenarioRecorder& recorder = started.recorder;
    auto previewRequest = [&](int requestNum, const std::string& text) {
        submit(recorder, requestNum, text);
        recorder.printLog(requestNum);
        EXPECT_TRUE(waitFor([&] { return Peer::pendingCount(recorder) == 0; }));
    };
    recorder.recordNddInfo(6, 10, 0, false);
    previewRequest(10, "before truncation");
    const Lines files = logFiles(dir.path(), "preview");
    ASSERT_EQ(files.size(), 1u);
    ASSERT_EQ(readLines(files[0]), (Lines{nddText(6, 10), decisionLine("before truncation")}));

    ASSERT_EQ(truncate(files[0].c_str(), 0), 0);
    previewRequest(11, "after truncation");
    // Opened for appending, the file has no hole of NUL bytes where the cut
    // lines were; a plain file offset would have left one in front.
    EXPECT_EQ(readFile(files[0]), "\n" + decisionLine("after truncation") + "\n");

    ASSERT_EQ(unlink(files[0].c_str()), 0);
    previewRequest(12, "into the deleted file");
    recorder.recordNddInfo(7, 13, 0, false);
    previewRequest(13, "a new session");
    captureRequest(recorder, 7, 14, "a capture request");
    recorder.unInit();
    const Lines after = logFiles(dir.path(), "preview");
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(readLines(after[0]), (Lines{nddText(7, 13), decisionLine("a new session")}));
    EXPECT_CAPTURE(dir.path(), 7, 14, "a capture request");
}

// Twenty buffers made old at once by a clock that jumps forward, and one whose
// creation lies an hour ahead, as after a clock that jumped back.
TEST(ClockFaults, ForwardJumpExpiresBuffersOnePerIdlePassAndABackwardJumpNone) {
    TempDir dir;
    Started started(dir.path(), 50);
    ScenarioRecorder& recorder = started.recorder;
    constexpr int kFuture = 20;  // requests below it are stranded
    for (int request = 0; request <= kFuture; ++request) {
        recorder.recordNddInfo(9, request, 0, true);
        submit(recorder, request, "stranded");
    }
    Peer::ageActiveBuffer(recorder, kFuture, -3600);
    for (int request = 0; request < kFuture; ++request)
        Peer::ageActiveBuffer(recorder, request, 12);
    std::vector<size_t> seen;
    ASSERT_TRUE(waitFor([&] {
        const size_t active = Peer::activeCount(recorder);
        if (seen.empty() || seen.back() != active) seen.push_back(active);
        return active == 1 && Peer::pendingCount(recorder) == 0;
    }));
    EXPECT_GT(seen.size(), 10u) << "expired one per idle pass, not all at once";
    EXPECT_TRUE(Peer::hasActive(recorder, kFuture));

    // Ages are whole seconds of the wall clock, 12 and more: some tick by, many
    // on a loaded machine, where the idle thread at nice 19 runs last.
    const Lines expired = started.logs.unifiedLinesContaining("expired");
    EXPECT_EQ(expired.size(), static_cast<size_t>(kFuture));
    std::vector<int> ages(kFuture, 0);
    for (const std::string& line : expired) {
        int request = -1, age = 0;
        if (sscanf(line.c_str(),
                   "[serviceThreadEntry] Request(%d)'s buffer is expired. It's life time is(%d)",
                   &request, &age) == 2 &&
            request >= 0 && request < kFuture)
            ages[request] = age;
    }
    for (int request = 0; request < kFuture; ++request)
        EXPECT_GE(ages[request], 12) << "request " << request;
    recorder.printLog(kFuture);
    recorder.unInit();
    for (int request = 0; request <= kFuture; ++request)
        EXPECT_CAPTURE(dir.path(), 9, request, "stranded");
}

// Runs a program; its exit status, 128 plus the signal that ended it, or -1
// when it had to be killed after a minute.
int runProgram(const Lines& program) {
    std::istringstream emulator(SCENARIO_RECORDER_TEST_EMULATOR);  // a cross build's, or none
    Lines args{std::istream_iterator<std::string>(emulator), std::istream_iterator<std::string>()};
    args.insert(args.end(), program.begin(), program.end());
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    pid_t child = -1;
    if (posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -2;
    int status = 0;
    if (!waitFor([&] { return waitpid(child, &status, WNOHANG) == child; },
                 std::chrono::minutes(1))) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The module's threads hand off every request and end; the host then exits
// with the startup object alive, so the recorder's owner stops it at exit.
// The host's properties come from a seed file, as a desk host program's do.
TEST(ProcessFaults, ExitWithoutAStopWritesEveryHandedOffRecord) {
    constexpr int kRequests = 2000;
    TempDir dir;
    writeFile(dir.file("seed.prop"), "# seeded\n" + std::string(kEnableProperty) + "=1\n\n" +
                                         kFolderProperty + "=" + dir.file("logs") + "\r\n" +
                                         kFlushIntervalProperty + "=5\n");
    ASSERT_EQ(mkdir(dir.file("logs").c_str(), 0755), 0);
    setenv("ZYNCAM_HOST_PROPERTIES", dir.file("seed.prop").c_str(), 1);
    const int status =
        runProgram({FAULTS_HOST, FAULTS_CLIENT_MODULE, "exit", std::to_string(kRequests)});
    unsetenv("ZYNCAM_HOST_PROPERTIES");
    ASSERT_EQ(status, 0) << "-1 means it hung";
    std::map<int, Lines> records;  // by request; -1 for lines before any headline
    int request = -1;
    for (const std::string& name : listFiles(dir.file("logs"))) {
        for (const std::string& line : readLines(dir.file("logs/" + name))) {
            // A line that only starts like a headline lands among the records.
            if (sscanf(line.c_str(), "[UKey: 7][ReqNum: %d]", &request) != 1 ||
                line != nddText(7, request)) {
                records[request].push_back(line);
            }
        }
    }
    EXPECT_EQ(records.size(), static_cast<size_t>(kRequests)) << "lines of unknown requests";
    for (int r = 0; r < kRequests; ++r) {
        EXPECT_EQ(records[r],
                  (Lines{decisionLine("before exit"), decisionLine("still before exit")}))
            << "request " << r;
    }
}

// A full start and stop, dlclose, and the same again: the second round's
// request reaches its file whether or not the loader unmapped the library.
TEST(ProcessFaults, DlcloseAfterAStartAndStopLeavesTheLibraryUsableAgain) {
    TempDir dir;
    EXPECT_EQ(runProgram({FAULTS_HOST, FAULTS_CLIENT_MODULE, "dlclose", dir.path()}), 0)
        << "-1 means it hung";
    for (int request : {1, 2}) EXPECT_CAPTURE(dir.path(), 5, request, "before unload");
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
