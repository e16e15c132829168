// FileWriter::reserveSpace on a real, small file system: a size-limited tmpfs
// mounted in a private user and mount namespace, filled so that its free
// space sits exactly where each case needs it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "FileWriter.h"
#include "support/LogCapture.h"
#include "support/Sandbox.h"
#include "support/TempDir.h"

using NSCam::TuningUtils::scenariorecorder::FileWriter;
using testsupport::CapturedLine;
using testsupport::listFiles;
using testsupport::TempDir;

namespace {

constexpr long long kMiB = 1 << 20;
constexpr long long kThreshold = 280 * kMiB;

// Creates `path` holding `bytes` of real tmpfs pages, modified at `mtime`.
bool makeFile(const std::string& path, long long bytes, time_t mtime) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) return false;
    const bool filled = bytes == 0 || fallocate(fd, 0, 0, bytes) == 0;
    close(fd);
    const timespec times[2] = {{mtime, 0}, {mtime, 0}};
    return filled && utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
}

long long freeBytes(const std::string& folder) {
    struct statvfs info;
    if (statvfs(folder.c_str(), &info) != 0) return -1;
    return static_cast<long long>(info.f_bsize) * static_cast<long long>(info.f_bfree);
}

// Fills sub/filler, which reserveSpace must never touch, until exactly
// `wanted` bytes are free.
bool leaveFree(const std::string& folder, long long wanted) {
    const long long excess = freeBytes(folder) - wanted;
    return excess >= 0 && makeFile(folder + "/sub/filler", excess, 0) &&
           freeBytes(folder) == wanted;
}

struct Outcome {
    int status = -1;
    std::vector<std::string> log;   // Android-log lines, "<folder>" for the tmpfs
    std::vector<std::string> left;  // regular files afterwards, sub/ included
};

std::string relative(const std::string& text, const std::string& folder) {
    std::string result = text;
    for (size_t at; (at = result.find(folder)) != std::string::npos;) {
        result.replace(at, folder.size(), "<folder>");
    }
    return result;
}

// Mounts a tmpfs of `bytes`, lets `setup` fill it, runs reserveSpace on the
// folder that `setup` returns, and reports what was logged and what is left.
Outcome reserveOnTmpfs(long long bytes, bool quiet,
                       const std::function<std::string(const std::string&)>& setup) {
    TempDir dir;
    const std::string mountPoint = dir.file("fs");
    mkdir(mountPoint.c_str(), 0755);
    Outcome outcome;
    outcome.status = testsupport::runInSandbox([&]() -> int {
        if (!testsupport::mountTmpfs(mountPoint, bytes)) return testsupport::kSandboxUnavailable;
        if (mkdir((mountPoint + "/sub").c_str(), 0755) != 0) return 1;
        const std::string folder = setup(mountPoint);
        if (folder.empty()) return 2;
        std::string report;
        {
            testsupport::LogCapture capture;
            FileWriter writer(1, 2, 3);
            writer.mFolder = folder;
            writer.reserveSpace(quiet);
            for (const CapturedLine& line : capture.lines()) {
                if (line.sink == CapturedLine::Sink::kAndroid) {
                    report += "log " + relative(line.text, mountPoint) + "\n";
                }
            }
        }
        for (const std::string& name : listFiles(mountPoint)) report += "left " + name + "\n";
        for (const std::string& name : listFiles(mountPoint + "/sub")) {
            report += "left sub/" + name + "\n";
        }
        testsupport::writeFile(dir.file("report"), report);
        return 0;
    });
    for (const std::string& line : testsupport::readLines(dir.file("report"))) {
        (line.rfind("log ", 0) == 0 ? outcome.log : outcome.left)
            .push_back(line.substr(line.find(' ') + 1));
    }
    return outcome;
}

#define SKIP_WITHOUT_SANDBOX(outcome)                                             \
    if ((outcome).status == testsupport::kSandboxUnavailable)                     \
        GTEST_SKIP() << "user namespaces or tmpfs mounts are not permitted here"; \
    ASSERT_EQ((outcome).status, 0)

std::string unlinked(const std::string& name) {
    return "[reserveSpace] Storage full. Unlinked: <folder>/" + name;
}

// A mount point can't be unlinked (EBUSY), and stat sees the file bound
// there: the oldest file stays, uncounted, and the next oldest go.
TEST(StorageReservation, RemovesOldestFilesFirstUntilMoreThan280MiBAreFreePassingOverStuckOnes) {
    const Outcome outcome = reserveOnTmpfs(450 * kMiB, false, [](const std::string& folder) {
        const bool ok =
            makeFile(folder + "/sub/source", 50 * kMiB, 50) && makeFile(folder + "/stuck", 0, 50) &&
            mount((folder + "/sub/source").c_str(), (folder + "/stuck").c_str(), "none", MS_BIND,
                  nullptr) == 0 &&
            makeFile(folder + "/tuning.txt", 50 * kMiB, 300) &&
            makeFile(folder + "/notes", 50 * kMiB, 100) &&
            makeFile(folder + "/dump.bin", 50 * kMiB, 200) && leaveFree(folder, 200 * kMiB);
        return ok ? folder : "";
    });
    SKIP_WITHOUT_SANDBOX(outcome);
    EXPECT_EQ(outcome.log, (std::vector<std::string>{unlinked("notes"), unlinked("dump.bin")}));
    EXPECT_EQ(outcome.left,
              (std::vector<std::string>{"stuck", "tuning.txt", "sub/filler", "sub/source"}));
}

TEST(StorageReservation, ListsOnlyAtOrBelow280MiBFree) {
    auto twoSmallFiles = [](long long free) {
        return [free](const std::string& folder) {
            const bool ok = makeFile(folder + "/old", kMiB, 100) &&
                            makeFile(folder + "/new", kMiB, 200) && leaveFree(folder, free);
            return ok ? folder : "";
        };
    };
    const Outcome atThreshold = reserveOnTmpfs(300 * kMiB, false, twoSmallFiles(kThreshold));
    SKIP_WITHOUT_SANDBOX(atThreshold);
    EXPECT_EQ(atThreshold.log, std::vector<std::string>{unlinked("old")});
    EXPECT_EQ(atThreshold.left, (std::vector<std::string>{"new", "sub/filler"}));

    // tmpfs counts whole pages: one page more is the next free space above.
    const Outcome above = reserveOnTmpfs(300 * kMiB, false, twoSmallFiles(kThreshold + 4096));
    ASSERT_EQ(above.status, 0);
    EXPECT_TRUE(above.log.empty());
    EXPECT_EQ(above.left, (std::vector<std::string>{"new", "old", "sub/filler"}));
}

TEST(StorageReservation, RemovesEveryFileWhenSpaceStaysShortAndQuietSilencesIt) {
    auto smallFiles = [](const std::string& folder) {
        const bool ok = makeFile(folder + "/a", kMiB, 20) && makeFile(folder + "/b", kMiB, 10) &&
                        leaveFree(folder, 100 * kMiB);
        return ok ? folder : "";
    };
    const Outcome loud = reserveOnTmpfs(300 * kMiB, false, smallFiles);
    SKIP_WITHOUT_SANDBOX(loud);
    EXPECT_EQ(loud.log, (std::vector<std::string>{unlinked("b"), unlinked("a")}));
    EXPECT_EQ(loud.left, std::vector<std::string>{"sub/filler"});

    const Outcome quiet = reserveOnTmpfs(300 * kMiB, true, smallFiles);
    ASSERT_EQ(quiet.status, 0);
    EXPECT_TRUE(quiet.log.empty());
    EXPECT_EQ(quiet.left, std::vector<std::string>{"sub/filler"});
}

}  // namespace
