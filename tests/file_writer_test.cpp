// FileWriter on real files: series names, write-out, rotation, fall-back.
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
using namespace testsupport;

namespace {

using Lines = std::vector<std::string>;

constexpr const char* kPrefix = "000001234_0017_0003_capture_";

std::unique_ptr<FileWriter> openWriter(const std::string& folder) {
    auto writer = std::make_unique<FileWriter>(1234, 17, 3);
    writer->mFolder = folder;
    writer->open(true, kPrefix, false);
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

// The time stamp in `name` if it names file `index` of kPrefix's series.
std::string stampOf(const std::string& name, const std::string& index) {
    const std::regex pattern(std::string(kPrefix) + "_(\\d{4}_\\d{4}_\\d{6})_TuningLog_" + index +
                             "\\.txt");
    std::smatch match;
    return std::regex_match(name, match, pattern) ? match[1].str() : "no stamp in " + name;
}

TEST(FileWriterSeries, FirstFileIsNamedFromPrefixLocalTimeAndIndex01AndReadableByAll) {
    TempDir dir;
    LogCapture capture;
    const std::string before = localTimeStamp();
    auto writer = openWriter(dir.path());
    const std::string after = localTimeStamp();
    ASSERT_GE(writer->mFd, 0);

    const Lines files = listFiles(dir.path());
    ASSERT_EQ(files.size(), 1u);
    // The stamps have a fixed width, so text order is time order.
    EXPECT_LE(before, stampOf(files[0], "01"));
    EXPECT_LE(stampOf(files[0], "01"), after);
    EXPECT_EQ(capture.unifiedLinesContaining("[open] Write log to " + dir.file(files[0])).size(),
              1u);
    struct stat info;
    ASSERT_EQ(stat(dir.file(files[0]).c_str(), &info), 0);
    const mode_t mask = umask(022);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0644u & ~mask);
}

// Reopening index 01 finds the file of that name and appends to it.
TEST(FileWriterSeries, IndexGrowsPast99ReopeningAppendsAndANewSeriesStartsAt01WithItsPrefixCut) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    const std::string first = dir.file(listFiles(dir.path()).at(0));
    writer->onWriteLog("first");
    for (int index : {1, 2, 99, 100}) {
        writer->close();
        writer->mFileIndex = index;
        ASSERT_TRUE(writer->open(false, "", false));
        writer->onWriteLog(std::to_string(index).c_str());
    }
    EXPECT_EQ(readFile(first), "first\n1\n");
    const Lines files = listFiles(dir.path());
    ASSERT_EQ(files.size(), 4u);
    const std::string stem = files[0].substr(0, files[0].size() - 6);
    EXPECT_EQ(files, (Lines{stem + "01.txt", stem + "02.txt", stem + "100.txt", stem + "99.txt"}));
    EXPECT_EQ(readFile(dir.file(files[2])), "") << "still in the writer's buffer";
    writer.reset();
    EXPECT_EQ(readFile(dir.file(files[2])), "100\n") << "written by the destructor";

    writer = std::make_unique<FileWriter>(1234, 17, 3);
    writer->mFolder = dir.path();
    snprintf(writer->mTimeStamp, sizeof(writer->mTimeStamp), "old");
    ASSERT_TRUE(writer->open(true, "abcdefghijklmnopqrstuvwxyz0123456789", false));
    EXPECT_EQ(strlen(writer->mTimeStamp), 16u) << "a fresh time stamp";
    const std::string expected =
        std::string("abcdefghijklmnopqrstuvwxyz012_") + writer->mTimeStamp + "_TuningLog_01.txt";
    EXPECT_EQ(access(dir.file(expected).c_str(), F_OK), 0) << expected;
}

TEST(FileWriterBuffer, WritesOutAtExactly23452BufferedBytesAndOverlongLinesWholeAndInOrder) {
    TempDir dir;
    auto writer = openWriter(dir.path());
    const std::string path = dir.file(listFiles(dir.path()).at(0));
    const std::string record(1023, 'r');
    for (int i = 0; i < 22; ++i) writer->onWriteLog(record.c_str());
    writer->onWriteLog(std::string(922, 's').c_str());
    EXPECT_EQ(writer->mBufferedBytes, 23451u);
    EXPECT_EQ(readFile(path).size(), 0u);
    writer->onWriteLog("");
    EXPECT_EQ(writer->mBufferedBytes, 0u);
    EXPECT_EQ(readFile(path).size(), 23452u);
    EXPECT_EQ(writer->mFileBytes, 23452u);

    const std::string huge(30000, 'h');
    for (int i = 0; i < 22; ++i) writer->onWriteLog(record.c_str());
    writer->onWriteLog(huge.c_str());
    writer->onWriteLog("tail");
    EXPECT_EQ(writer->mFileBytes, 23452u + 22 * 1024 + 30001 + 5);
    writer.reset();
    const Lines lines = readLines(path);
    ASSERT_EQ(lines.size(), 48u);
    EXPECT_EQ(Lines(lines.begin() + 45, lines.end()), (Lines{record, huge, "tail"}));
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

    const Lines files = listFiles(dir.path());
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(readFile(dir.file(files[0])), "head\n123456789\ncrossing\n");
    EXPECT_EQ(readFile(dir.file(files[1])), "-- CONTINUED --\nafter\n");
    EXPECT_EQ(stampOf(files[1], "02"), stampOf(files[0], "01"));
}

}  // namespace
