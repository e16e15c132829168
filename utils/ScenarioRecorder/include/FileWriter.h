// A buffered writer of one series of tuning log files.
//
// A series is a run of files "<folder>/<prefix>_<time stamp>_TuningLog_<NN>.txt"
// sharing one prefix and one time stamp. Lines collect in a 24 KiB buffer and
// reach the file in large writes; a file that grows past 180 MiB is closed and
// the series continues in the next file, which starts with "-- CONTINUED --".
// Before each file is created, old files in the folder are removed when the
// file system is short of space.
//
// Not thread-safe: one thread at a time uses a writer. The recorder reads and
// sets the members directly, so they are public.
#pragma once

#include <stdint.h>

#include <string>

#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

class SCENARIO_RECORDER_EXPORT FileWriter {
  public:
    static constexpr size_t kWriterBufferSize = 24576;
    // After an append, this many buffered bytes or more are written out; the
    // rest of the buffer (1,124 bytes) always holds one more line whole.
    static constexpr uint64_t kFlushThreshold = 23452;
    // A file whose size passes this (not at it) continues in the next file.
    static constexpr uint64_t kRotationSize = 188743680;  // 180 MiB
    // Free space that reserveSpace() keeps in the folder's file system.
    static constexpr int64_t kReserveFreeBytes = 293601280;  // 280 MiB
    static constexpr size_t kFilePrefixSize = 30;
    static constexpr size_t kTimeStampSize = 40;
    static constexpr size_t kPathSize = 512;

    // Stores the three identities; opens no file.
    FileWriter(int uniqueKey, int requestNum, int tagNumber);
    // Writes the buffered bytes (without fsync) and closes the file, if open.
    ~FileWriter();

    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    // Writes the buffered bytes out; with `sync`, fsyncs as well. Without an
    // open file the buffered bytes are dropped.
    void flush(bool sync);
    // Writes the buffered bytes (without fsync) and closes the file, if open.
    void close();
    // Opens the next file of the series, or with `newSeries` the first file of
    // a new series named with `prefix` (cut to 29 characters) and a fresh time
    // stamp. A file still open is closed first. True when a file is open
    // afterwards.
    bool open(bool newSeries, const char* prefix, bool quiet);
    // Appends `line` and a newline; may write the buffer out and rotate.
    void onWriteLog(const char* line);
    // Removes the oldest files of mFolder while its file system has no more
    // than kReserveFreeBytes free. `quiet` silences its messages.
    void reserveSpace(bool quiet);

    char* mBufferCursor;      // always mBuffer + mBufferedBytes
    uint64_t mBufferedBytes;  // bytes in mBuffer not yet written to the file
    uint64_t mFileBytes;      // bytes appended since the current file was opened
    int mFd;                  // -1 while no file is open
    char mBuffer[kWriterBufferSize];
    std::string mFolder;  // folder of the files, without a trailing slash
    char mTimeStamp[kTimeStampSize];
    char mFilePrefix[kFilePrefixSize];
    bool mQuiet;     // silences open's and reserveSpace's routine messages
    int mFileIndex;  // index of the next file of the series
    int mUniqueKey;  // identities: fixed at construction
    int mRequestNum;
    int mTagNumber;
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
