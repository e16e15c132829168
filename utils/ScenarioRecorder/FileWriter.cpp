// FileWriter: the line buffer, its write-out, and the files of a series.
//
// Invariants: mBufferCursor == mBuffer + mBufferedBytes, and mBufferedBytes
// never counts more than the bytes actually stored in mBuffer. After every
// append the buffer holds fewer than kFlushThreshold bytes, so the next line
// of up to 1,123 characters always fits whole.
#include "FileWriter.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include "RecorderLog.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

// Used when the writer's own folder can't take the file; kept for the rest of
// the writer's life.
constexpr const char* kFallbackFolder = "/data/vendor";
constexpr const char* kTimeStampFormat = "%Y_%m%d_%H%M%S";
constexpr const char* kFileNameFormat = "%s/%s_%s_TuningLog_%02d.txt";
constexpr char kContinuedLine[] = "-- CONTINUED --\n";
constexpr size_t kContinuedLineLength = sizeof(kContinuedLine) - 1;
constexpr mode_t kFileMode = 0644;
// A file of the same name exists only when two series with one prefix start
// within the same second. Appending keeps both series' lines whole; opening
// at offset 0 without truncating would overwrite the older lines and leave
// the tail of them behind the newer ones, and truncating would lose them.
constexpr int kOpenFlags = O_WRONLY | O_CREAT | O_APPEND;

// Log files are best effort: a failed or short write is not retried, and the
// caller goes on as if it had succeeded.
void writeOnce(int fd, const void* data, size_t size) {
    const ssize_t written = ::write(fd, data, size);
    (void)written;
}

// Local time of the real-time clock as "%Y_%m%d_%H%M%S"; false when strftime
// fails, and then `out` is untouched.
bool formatTimeStamp(char (&out)[FileWriter::kTimeStampSize]) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    if (localtime_r(&now.tv_sec, &local) == nullptr) local = tm{};
    char formatted[FileWriter::kTimeStampSize];
    if (strftime(formatted, sizeof(formatted), kTimeStampFormat, &local) == 0) return false;
    memcpy(out, formatted, sizeof(formatted));
    return true;
}

// Fresh time stamp, index 1, the prefix cut to 29 characters (a null prefix
// keeps the old one) and the quiet flag. False, with nothing changed, when
// the time stamp can't be formatted.
bool startSeries(FileWriter& writer, const char* prefix, bool quiet) {
    if (!formatTimeStamp(writer.mTimeStamp)) return false;
    writer.mFileIndex = 1;
    if (prefix != nullptr) {
        strncpy(writer.mFilePrefix, prefix, FileWriter::kFilePrefixSize);
        writer.mFilePrefix[FileWriter::kFilePrefixSize - 1] = '\0';
    }
    writer.mQuiet = quiet;
    return true;
}

// Appends the line and its newline, keeping a NUL behind them; false, with
// nothing changed, when they don't fit into the room left.
bool appendToBuffer(FileWriter& writer, const char* line, size_t length) {
    if (length + 2 > FileWriter::kWriterBufferSize - writer.mBufferedBytes) return false;
    memcpy(writer.mBufferCursor, line, length);
    writer.mBufferCursor[length] = '\n';
    writer.mBufferCursor[length + 1] = '\0';
    writer.mBufferCursor += length + 1;
    writer.mBufferedBytes += length + 1;
    return true;
}

// Only lines beyond the 1,123 characters that the buffer guarantees come
// here. They still reach the file whole and in order, so that mBufferedBytes
// never counts bytes that were cut off: what is buffered goes first, then the
// line through the emptied buffer if it fits there, else straight to the file.
void appendOverlongLine(FileWriter& writer, const char* line, size_t length) {
    writer.flush(false);
    if (appendToBuffer(writer, line, length) || writer.mFd < 0) return;
    static const char kNewline = '\n';
    iovec parts[2] = {{const_cast<char*>(line), length}, {const_cast<char*>(&kNewline), 1}};
    const ssize_t written = ::writev(writer.mFd, parts, 2);
    (void)written;
}

// Continues the series in its next file, which begins with kContinuedLine.
// The line that crossed the limit is written out by close() first, so it
// ends the old file whole.
void rotate(FileWriter& writer) {
    writer.close();
    writer.open(false, "", false);
    if (writer.mFd >= 0) writeOnce(writer.mFd, kContinuedLine, kContinuedLineLength);
}

}  // namespace

FileWriter::FileWriter(int uniqueKey, int requestNum, int tagNumber)
    : mBufferCursor(mBuffer),
      mBufferedBytes(0),
      mFileBytes(0),
      mFd(-1),
      mBuffer(),
      mFolder(),
      mTimeStamp(),
      mFilePrefix(),
      mQuiet(false),
      mFileIndex(1),
      mUniqueKey(uniqueKey),
      mRequestNum(requestNum),
      mTagNumber(tagNumber) {}

FileWriter::~FileWriter() {
    close();
}

void FileWriter::flush(bool sync) {
    if (mBufferedBytes > 0 && mFd >= 0) {
        writeOnce(mFd, mBuffer, mBufferedBytes);
        if (sync) fsync(mFd);
    }
    mBufferCursor = mBuffer;
    mBufferedBytes = 0;
}

void FileWriter::close() {
    if (mFd < 0) return;
    flush(false);
    ::close(mFd);
    mFd = -1;
}

bool FileWriter::open(bool newSeries, const char* prefix, bool quiet) {
    // The writer owns one descriptor at a time; a caller that did not close
    // first must not leak the old one.
    if (mFd >= 0) close();
    if (newSeries && !startSeries(*this, prefix, quiet)) {
        SR_LOGE("strftime failed");
        return false;
    }
    reserveSpace(mQuiet);

    char path[kPathSize];
    // Formats the path of the next file in mFolder and creates it; -1 when
    // either step fails.
    auto openInFolder = [this, &path]() -> int {
        if (snprintf(path, sizeof(path), kFileNameFormat, mFolder.c_str(), mFilePrefix, mTimeStamp,
                     mFileIndex) < 0) {
            SR_LOGE("snprintf failed");
            path[0] = '\0';
            return -1;
        }
        return ::open(path, kOpenFlags, kFileMode);
    };

    mFd = openInFolder();
    if (mFd < 0) {
        if (!mQuiet) SR_LOGE("File writer: file open failed %s", path);
        mFolder = kFallbackFolder;
        mFd = openInFolder();
        if (mFd < 0) {
            if (!mQuiet)
                SR_LOGE("Unable to open file. Please disable SELinux and restart lumenhostd. !!!");
            return false;
        }
    }
    if (!mQuiet) SR_LOGI("Write log to %s", path);

    mBufferedBytes = 0;
    mFileBytes = 0;
    mBufferCursor = mBuffer;
    ++mFileIndex;
    return true;
}

void FileWriter::onWriteLog(const char* line) {
    if (line == nullptr) return;  // nothing to append, and nothing counted
    const size_t length = strlen(line);
    if (!appendToBuffer(*this, line, length)) appendOverlongLine(*this, line, length);
    if (mBufferedBytes >= kFlushThreshold) flush(false);
    mFileBytes += length + 1;
    if (mFileBytes > kRotationSize) rotate(*this);
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
