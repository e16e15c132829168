// FileWriter::reserveSpace on a size-limited tmpfs in a private user and mount
// namespace, filled so that its free space sits exactly where a case needs it.
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
using namespace testsupport;

namespace {

using Lines = std::vector<std::string>;

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

// Fills sub/filler, which reserveSpace must never touch, until exactly
// `wanted` bytes are free.
bool leaveFree(const std::string& folder, long long wanted) {
    const auto freeBytes = [&folder] {
        struct statvfs info;
        if (statvfs(folder.c_str(), &info) != 0) return -1LL;
        return static_cast<long long>(info.f_bsize) * static_cast<long long>(info.f_bfree);
    };
    const long long excess = freeBytes() - wanted;
    return excess >= 0 && makeFile(folder + "/sub/filler", excess, 0) && freeBytes() == wanted;
}

struct Outcome {
    int status = -1;
    Lines log;   // Android-log lines, "<folder>" for the tmpfs
    Lines left;  // regular files afterwards, sub/ included
};

// Mounts a tmpfs of `bytes`, lets `setup` fill it, runs reserveSpace on it
// and reports what was logged and what is left.
Outcome reserveOnTmpfs(long long bytes, bool quiet,
                       const std::function<bool(const std::string&)>& setup) {
    TempDir dir;
    const std::string folder = dir.file("fs");
    mkdir(folder.c_str(), 0755);
    Outcome outcome;
    outcome.status = runInSandbox([&]() -> int {
        if (!mountTmpfs(folder, bytes)) return kSandboxUnavailable;
        if (mkdir((folder + "/sub").c_str(), 0755) != 0 || !setup(folder)) return 1;
        std::string report;
        {
            LogCapture capture;
            FileWriter writer(1, 2, 3);
            writer.mFolder = folder;
            writer.reserveSpace(quiet);
            for (const CapturedLine& line : capture.lines()) {
                if (line.sink == CapturedLine::Sink::kAndroid) report += "log " + line.text + "\n";
            }
        }
        for (const std::string& name : listFiles(folder)) report += "left " + name + "\n";
        for (const std::string& name : listFiles(folder + "/sub"))
            report += "left sub/" + name + "\n";
        writeFile(dir.file("report"), report);
        return 0;
    });
    for (std::string line : readLines(dir.file("report"))) {
        if (const size_t at = line.find(folder); at != std::string::npos) {
            line.replace(at, folder.size(), "<folder>");
        }
        (line.rfind("log ", 0) == 0 ? outcome.log : outcome.left)
            .push_back(line.substr(line.find(' ') + 1));
    }
    return outcome;
}

std::string unlinked(const std::string& name) {
    return "[reserveSpace] Storage full. Unlinked: <folder>/" + name;
}

// A mount point can't be unlinked (EBUSY), and stat sees the file bound
// there: the oldest file stays, uncounted, and the next oldest go.
TEST(StorageReservation, RemovesOldestFilesFirstUntilMoreThan280MiBAreFreePassingOverStuckOnes) {
    const Outcome outcome = reserveOnTmpfs(450 * kMiB, false, [](const std::string& folder) {
        return makeFile(folder + "/sub/source", 50 * kMiB, 50) &&
               makeFile(folder + "/stuck", 0, 50) &&
               mount((folder + "/sub/source").c_str(), (folder + "/stuck").c_str(), "none", MS_BIND,
                     nullptr) == 0 &&
               makeFile(folder + "/tuning.txt", 50 * kMiB, 300) &&
               makeFile(folder + "/notes", 50 * kMiB, 100) &&
               makeFile(folder + "/dump.bin", 50 * kMiB, 200) && leaveFree(folder, 200 * kMiB);
    });
    SKIP_WITHOUT_SANDBOX(outcome.status);
    EXPECT_EQ(outcome.log, (Lines{unlinked("notes"), unlinked("dump.bin")}));
    EXPECT_EQ(outcome.left, (Lines{"stuck", "tuning.txt", "sub/filler", "sub/source"}));
}

// tmpfs counts whole pages: one page more than 280 MiB is the next free
// space above it.
TEST(StorageReservation, RemovesOnlyAtOrBelow280MiBFreeAndAllWhenSpaceStaysShortQuietlyIfAsked) {
    struct Case {
        long long free;
        bool quiet;
        Lines log, left;
    };
    for (const Case& c :
         {Case{kThreshold, false, {unlinked("old")}, {"new", "sub/filler"}},
          Case{kThreshold + 4096, false, {}, {"new", "old", "sub/filler"}},
          Case{100 * kMiB, false, {unlinked("old"), unlinked("new")}, {"sub/filler"}},
          Case{100 * kMiB, true, {}, {"sub/filler"}}}) {
        const Outcome outcome =
            reserveOnTmpfs(300 * kMiB, c.quiet, [&c](const std::string& folder) {
                return makeFile(folder + "/old", kMiB, 100) &&
                       makeFile(folder + "/new", kMiB, 200) && leaveFree(folder, c.free);
            });
        SKIP_WITHOUT_SANDBOX(outcome.status);
        EXPECT_EQ(outcome.log, c.log) << c.free << " free, quiet: " << c.quiet;
        EXPECT_EQ(outcome.left, c.left) << c.free << " free, quiet: " << c.quiet;
    }
}

}  // namespace
