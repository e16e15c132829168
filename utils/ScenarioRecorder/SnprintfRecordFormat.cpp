#include "SnprintfRecordFormat.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "NameTables.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace reference {

namespace {

// Appends formatted pieces to a line the way successive bounded formats do:
// each piece gets the room left as its limit, and both the room and the
// position move by the piece's untruncated length.
class LineBuilder {
  public:
    explicit LineBuilder(char (&line)[kRecordLineSize]) : mLine(line) {
        memset(mLine, 0, kRecordLineSize);
    }

    __attribute__((format(printf, 2, 3))) void append(const char* format, ...) {
        va_list args;
        va_start(args, format);
        // Once the room is used up, later pieces are only counted: a room of
        // 0 or less is never passed on as a limit.
        int count;
        if (mTotal < static_cast<long>(kRecordLineSize)) {
            count = vsnprintf(mLine + mTotal, kRecordLineSize - mTotal, format, args);
        } else {
            count = vsnprintf(nullptr, 0, format, args);
        }
        va_end(args);
        if (count > 0) mTotal += count;
    }

    size_t storedLength() const {
        return mTotal < static_cast<long>(kRecordLineSize) ? static_cast<size_t>(mTotal) + 1
                                                           : kRecordLineSize;
    }

  private:
    char* mLine;
    long mTotal = 0;
};

void appendOptionalNumbers(LineBuilder& builder, int sensorId, int frameNum, int magicNum) {
    if (sensorId != -1) builder.append("[SensorId: %d]", sensorId);
    if (frameNum != -1) builder.append("[FrameNum: %d]", frameNum);
    if (magicNum != -1) builder.append("[MagicNum: %d]", magicNum);
}

}  // namespace

size_t snprintfDecisionLine(const DecisionParam& param, const char* text,
                            char (&line)[kRecordLineSize]) {
    LineBuilder builder(line);
    appendOptionalNumbers(builder, param.sensorId, param.frameNum, param.magicNum);
    builder.append("[ModuleName: %s][Decision: %s]", lookupModuleName(param.moduleId).text,
                   lookupDecisionName(param.decisionType).text);
    builder.append(" %s", text);
    return builder.storedLength();
}

size_t snprintfExecutionLine(const ResultParam& param, const char* text,
                             char (&line)[kRecordLineSize]) {
    LineBuilder builder(line);
    appendOptionalNumbers(builder, param.sensorId, param.frameNum, param.magicNum);
    builder.append("[ModuleName: %s]", lookupModuleName(param.moduleId).text);
    builder.append("[%s]", lookupStageName(param.stageId).text);
    builder.append("[Result: %s]", lookupDecisionName(param.decisionType).text);
    builder.append(" %s", text);
    return builder.storedLength();
}

}  // namespace reference
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
