// NDD reports: the choice of a request's file series, and the headline
// items that head every buffer block of a request in the file.
#include <string.h>

#include "BriefLock.h"
#include "HeadlineItem.h"
#include "RecordFormat.h"
#include "RecorderLog.h"
#include "ReportFailures.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// Reports are ignored while the recorder is not started: nothing but the
// service thread drains the headline queue and closes capture writers, so a
// recorder that is never started (or switched on without being started) would
// otherwise gather items and open files without bound.
void ScenarioRecorder::recordNddInfo(int uniqueKey, int requestNum, int tagNumber, bool isCapture) {
    if (!mReady.load(std::memory_order_acquire)) return;
    runReportingFailures(__func__, [&] {
        std::lock_guard<std::mutex> lock(mWriterLock);
        if (!isCapture) {
            if (mDefaultWriter->mUniqueKey != uniqueKey) {
                replaceDefaultWriter(uniqueKey, requestNum, tagNumber);
            }
        } else {
            if (mFileWriters.count(requestNum) != 0) return;
            auto writer = std::make_unique<FileWriter>(uniqueKey, requestNum, tagNumber);
            openFileWriter(writer.get(), "capture");
            mFileWriters.emplace(requestNum, std::move(writer));
        }
        writeNDDToHeadline(uniqueKey, requestNum);
    });
}

// Caller holds mWriterLock. The old series is written out and closed before
// the new series' first file, and the storage reservation ahead of it, are
// made, so the reservation never removes a file that is still open. A writer
// the service thread is writing through is parked instead; that thread
// destroys it, into its own file, when it hands its buffer back.
void ScenarioRecorder::replaceDefaultWriter(int uniqueKey, int requestNum, int tagNumber) {
    auto writer = std::make_unique<FileWriter>(uniqueKey, requestNum, tagNumber);
    mReplacedWriters.reserve(mReplacedWriters.size() + 1);  // parking must not throw
    std::unique_ptr<FileWriter> previous = std::exchange(mDefaultWriter, std::move(writer));
    if (previous.get() == mWriterInUse) {
        mReplacedWriters.push_back(std::move(previous));
    } else {
        previous.reset();
    }
    openFileWriter(mDefaultWriter.get(), "preview");
}

void ScenarioRecorder::writeNDDToHeadline(int uniqueKey, int requestNum) {
    HeadlineItem item =
        makeHeadlineItem([&](auto& area) { return formatNddText(uniqueKey, requestNum, area); });
    if (item.first != nullptr) queueHeadlineItem(requestNum, std::move(item), /*atFront=*/true);
}

// NDD texts go to the front and execution snippets to the back, so every NDD
// text precedes every snippet on the headline line. Producers append here at
// the rate of their records, and every holder of mNddLock keeps it for a
// lookup and an append, so a contended caller spins briefly before sleeping.
void ScenarioRecorder::queueHeadlineItem(int requestNum, HeadlineItem item, bool atFront) {
    std::unique_lock<std::mutex> lock(mNddLock, std::defer_lock);
    lockBriefly(lock);
    auto& queue = mNddInfos[requestNum];
    if (atFront) {
        queue.push_front(std::move(item));
    } else {
        queue.push_back(std::move(item));
    }
}

// An item goes in whole only when at least 2 bytes stay free after it, so the
// headline and its NUL always fit into the buffer's headline block. A
// negative length, widened and compared as unsigned, never fits.
void ScenarioRecorder::writeStringToHeadline(Buffer* buffer, const char* str, int len) {
    const uint64_t length = static_cast<uint64_t>(static_cast<int64_t>(len));
    if (length < buffer->mHeadlineRemaining - 1) {
        memcpy(buffer->mHeadlineCursor, str, length);
        buffer->mHeadlineCursor += length;
        buffer->mHeadlineRemaining -= length;
    } else {
        SR_LOGW("Headline size is not enough");
    }
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
