// FileWriter on real files: names of a series, the line buffer's write-out,
// rotation, over-long lines, and the fall-back folder.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "FileWriter.h"
#include "support/LogCapture.h"
#include "support/Sandbox.h"
#include "support/TempDir.h"

using NSCam::TuningUtils::scenariorecorder::FileWriter;
using testsupport::listFiles;
using testsupport::LogCapture;
using testsupport::readFile;
using testsupport::readLines;
using testsupport::TempDir;

namespace {

constexpr const char* kPrefix = "000001234_0017_0003_capture_";

std::unique_ptr<FileWriter> openWriter(const std::string& folder, const char* prefix = kPrefix) {
    auto writer = std::make_unique<FileWriter>(1234, 17, 3);
    writer->mFolder = folder;
    writer->open(true, prefix, false);
    return writer;
}

// Read from the writer's own clock: time() reads a coarser clock that can lag
// behind it across a second boundary.
std::string localTimeStamp() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    char text[40];
    strftime(text, sizeof(text), "%Y_%m%d_%H%M%S", &local);
    return text;
}

off_t fileSize(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(FileWriterSeries, FirstFileIsNamedFromPrefixLocalTimeAndIndex01AndReadableByAll) {
    TempDir dir;
    LogCapture capture;
    const std::string before = localTimeStamp();
    auto writer = openWriter(dir.path());
    const std::string after = localTimeStamp();
    ASSERT_GE(writer->mFd, 0);

    const std::vector<std::string> files = listFiles(dir.path());
    ASSERT_EQ(files.size(), 1u);
    std::smatch match;
    const std::regex pattern(
        "000001234_0017_0003_capture__(\\d{4}_\\d{4}_\\d{6})_TuningLog_01\\.txt");
    ASSERT_TRUE(std::regex_match(files[0], match, pattern)) << files[0];
    // The stamps have a fixed width, so text order is time order.
    EXPECT_LE(before, match[1].str());
    EXPECT_LE(match[1].str(), after);
    EXPECT_EQ(capture.unifiedLinesContaining("[open] Write log to " + dir.file(files[0])).size(),
              1u);
    struct stat info;
    ASSERT_EQ(stat(dir.file(files[0]).c_str(), &info), 0);
    const mode_t mask = umask(022);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0644u & ~mask);
}

TEST(FileWriterSeries, IndexGrowsPast99AndANewSeriesStartsAt01WithItsPrefixCut) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    for (int index : {2, 99, 100}) {
        writer->close();
        writer->mFileIndex = index;
        ASSERT_TRUE(writer->open(false, "", false));
    }
    writer->close();
    const std::vector<std::string> files = listFiles(dir.path());
    ASSERT_EQ(files.size(), 4u);
    const char* const indexes[] = {"01", "02", "100", "99"};  // in the order of the names
    for (size_t i = 0; i < files.size(); ++i) {
        EXPECT_TRUE(endsWith(files[i], std::string("_TuningLog_") + indexes[i] + ".txt"))
            << files[i];
    }

    snprintf(writer->mTimeStamp, sizeof(writer->mTimeStamp), "old");
    ASSERT_TRUE(writer->open(true, "abcdefghijklmnopqrstuvwxyz0123456789", false));
    EXPECT_EQ(strlen(writer->mTimeStamp), 16u) << "a fresh time stamp";
    const std::string expected =
        std::string("abcdefghijklmnopqrstuvwxyz012_") + writer->mTimeStamp + "_TuningLog_01.txt";
    EXPECT_EQ(fileSize(dir.file(expected)), 0) << expected;
}

TEST(FileWriterSeries, AFileOfTheSameNameIsAppendedToAndDestructionWritesTheBuffer) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    const std::string path = dir.file(listFiles(dir.path()).at(0));
    writer->onWriteLog("first series");
    writer->close();
    writer->mFileIndex = 1;
    ASSERT_TRUE(writer->open(false, "", false));
    writer->onWriteLog("second series");
    EXPECT_EQ(readFile(path), "first series\n");
    writer.reset();
    EXPECT_EQ(listFiles(dir.path()).size(), 1u);
    EXPECT_EQ(readFile(path), "first series\nsecond series\n");
}

TEST(FileWriterBuffer, WritesOutAtExactly23452BufferedBytes) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    const std::string path = dir.file(listFiles(dir.path()).at(0));
    const std::string record(1023, 'r');
    for (int i = 0; i < 22; ++i) writer->onWriteLog(record.c_str());
    writer->onWriteLog(std::string(922, 's').c_str());
    EXPECT_EQ(writer->mBufferedBytes, 23451u);
    EXPECT_EQ(fileSize(path), 0);

    writer->onWriteLog("");
    EXPECT_EQ(writer->mBufferedBytes, 0u);
    EXPECT_EQ(fileSize(path), 23452);
    EXPECT_EQ(writer->mFileBytes, 23452u);
}

TEST(FileWriterBuffer, OverlongLinesReachTheFileWholeAndInOrder) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    const std::string path = dir.file(listFiles(dir.path()).at(0));
    const std::string record(1023, 'r');
    const std::string huge(30000, 'h');
    for (int i = 0; i < 22; ++i) writer->onWriteLog(record.c_str());
    writer->onWriteLog(huge.c_str());
    writer->onWriteLog("tail");
    EXPECT_EQ(writer->mFileBytes, 22u * 1024 + 30001 + 5);
    writer.reset();
    const std::vector<std::string> lines = readLines(path);
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 21, lines.end()),
              (std::vector<std::string>{record, huge, "tail"}));
}

TEST(FileWriterRotation, RotatesOnlyPastTheLimitAndContinuesInTheNextFile) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    writer->onWriteLog("head");
    writer->mFileBytes = 188743680 - 10;
    writer->onWriteLog("123456789");
    EXPECT_EQ(writer->mFileBytes, 188743680u);
    EXPECT_EQ(listFiles(dir.path()).size(), 1u);

    writer->onWriteLog("crossing");
    EXPECT_EQ(writer->mFileBytes, 0u);
    EXPECT_EQ(writer->mFileIndex, 3);
    writer->onWriteLog("after");
    writer.reset();

    const std::vector<std::string> files = listFiles(dir.path());
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(readFile(dir.file(files[0])), "head\n123456789\ncrossing\n");
    EXPECT_EQ(readFile(dir.file(files[1])), "-- CONTINUED --\nafter\n");
    EXPECT_TRUE(endsWith(files[1], "_TuningLog_02.txt"));
}

// The fall-back folder lies outside the test's folder, so the writer runs
// chrooted into it; the messages of a failed open are the fault tests' part.
TEST(FileWriterFallback, FilesLandInDataVendorUnderTheSameNameAndStayThere) {
    TempDir dir;
    const int result = testsupport::runInSandbox([&dir]() -> int {
        if (chroot(dir.path().c_str()) != 0 || chdir("/") != 0)
            return testsupport::kSandboxUnavailable;
        if (mkdir("/data", 0755) != 0 || mkdir("/data/vendor", 0755) != 0) return 1;
        testsupport::writeFile("/blocker", "not a folder");
        auto writer = openWriter("/blocker/sub");
        if (writer->mFd < 0) return 2;
        writer->onWriteLog("first file");
        writer->mFileBytes = FileWriter::kRotationSize;
        writer->onWriteLog("crossing");
        writer->onWriteLog("second file");
        return writer->mFolder == "/data/vendor" ? 0 : 3;
    });
    if (result == testsupport::kSandboxUnavailable) {
        GTEST_SKIP() << "user namespaces or chroot are not permitted here";
    }
    ASSERT_EQ(result, 0);
    const std::string vendor = dir.path() + "/data/vendor";
    const std::vector<std::string> files = listFiles(vendor);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].rfind(std::string(kPrefix) + "_", 0), 0u) << files[0];
    EXPECT_TRUE(endsWith(files[0], "_TuningLog_01.txt"));
    EXPECT_EQ(readFile(vendor + "/" + files[0]), "first file\ncrossing\n");
    EXPECT_EQ(readFile(vendor + "/" + files[1]), "-- CONTINUED --\nsecond file\n");
}

}  // namespace
