// Decision and execution records: format on the caller's stack, reserve,
// copy outside the lock, publish.
#include <string.h>

#include "HeadlineItem.h"
#include "RecordFormat.h"
#include "ReportFailures.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

constexpr size_t kMaxHeadlineTextLength = 1023;

// Reserves room for `length` bytes of `line` and copies them in; the record
// stays unpublished until the caller lowers the buffer's writer count.
ScenarioRecorder::Buffer* reserveAndCopy(ScenarioRecorder& recorder, int requestNum,
                                         const char* line, size_t length) {
    LogHeader* header = nullptr;
    ScenarioRecorder::Buffer* buffer = nullptr;
    if (!recorder.allocLogSpace(requestNum, length + ScenarioRecorder::kLogHeaderSize, &header,
                                &buffer)) {
        return nullptr;
    }
    header->text = reinterpret_cast<char*>(header) + ScenarioRecorder::kLogHeaderSize;
    memcpy(header->text, line, length);
    header->text[length - 1] = '\0';
    return buffer;
}

}  // namespace

void ScenarioRecorder::submitDecisionRecord(const DecisionParam& param, const std::string& text) {
    if (!mReady.load(std::memory_order_acquire)) return;
    runReportingFailures(__func__, [&] {
        char line[kRecordLineSize];
        const size_t length = formatDecisionLine(param, toRecordText(text), line);
        Buffer* buffer = reserveAndCopy(*this, param.requestNum, line, length);
        if (buffer != nullptr) publishRecord(buffer);
    });
}

void ScenarioRecorder::submitExecutionRecord(const ResultParam& param, const std::string& text) {
    if (!mReady.load(std::memory_order_acquire)) return;
    constexpr const char* kFunction = "submitExecutionRecord";
    runReportingFailures(kFunction, [&] {
        const RecordText recordText = toRecordText(text);
        char line[kRecordLineSize];
        const size_t length = formatExecutionLine(param, recordText, line);
        Buffer* buffer = reserveAndCopy(*this, param.requestNum, line, length);
        if (buffer == nullptr) return;
        // Queued before publication: the service thread merges a request's
        // headline items only once the buffer holding this record has
        // drained. The test counts the whole string, NULs included; the
        // snippet holds the text up to its first NUL, like the line. Once the
        // room is reserved the record is published whatever befalls its item.
        if (param.addToHeadline && text.size() <= kMaxHeadlineTextLength) {
            HeadlineItem item = makeHeadlineItem(
                [&](auto& area) { return formatHeadlineSnippet(recordText, area); });
            if (item.first != nullptr) {
                runReportingFailures(kFunction, [&] {
                    queueHeadlineItem(param.requestNum, std::move(item), /*atFront=*/false);
                });
            }
        }
        publishRecord(buffer);
    });
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
