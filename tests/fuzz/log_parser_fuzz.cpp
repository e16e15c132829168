// libFuzzer target: the log reader's parsing of whatever a file may hold.
//  - Arbitrary bytes read through LineReader come back as lines that, joined
//    with their line breaks, give the bytes again; every line's parse keeps
//    its views inside the line and says why it is unparsable when it is.
//  - Arbitrary file names parse without harm.
//  - A record line that the recorder formats from fuzzed parameters and text
//    parses back to the same numbers, names and text.
// Any difference aborts.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "ConvertToString.h"
#include "LineReader.h"
#include "LogFileName.h"
#include "LogParser.h"
#include "RecordFormat.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;
using scenariolog::LineKind;
using scenariolog::ParsedLine;

namespace {

constexpr size_t kMaxTextBytes = 1100;

void check(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "log parser invariant broken: %s\n", what);
    abort();
}

bool inside(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() &&
                            part.data() + part.size() <= whole.data() + whole.size());
}

void checkParse(std::string_view line) {
    const ParsedLine parsed = scenariolog::parseLine(line);
    if (parsed.kind == LineKind::kUnparsable) {
        check(parsed.reason[0] != '\0', "an unparsable line has a reason");
        return;
    }
    const scenariolog::Record& record = parsed.record;
    check(inside(parsed.headline.snippets, line) && inside(record.module, line) &&
              inside(record.decision, line) && inside(record.stage, line) &&
              inside(record.result, line) && inside(record.text, line),
          "views stay inside the line");
    if (parsed.kind == LineKind::kRecord)
        check(!record.module.empty(), "a record names its module");
}

// The bytes as a file, read back line by line.
void checkLines(const uint8_t* data, size_t size) {
    const int fd = memfd_create("log_parser_fuzz", 0);
    if (fd < 0) abort();
    if (size != 0 && write(fd, data, size) != static_cast<ssize_t>(size)) abort();
    {
        scenariolog::LineReader reader("/proc/self/fd/" + std::to_string(fd));
        check(reader.openError().empty(), "the file opens");
        std::string joined;
        scenariolog::Line line;
        uint64_t expectedNumber = 1;
        while (reader.next(line)) {
            check(line.number == expectedNumber++, "lines are numbered from 1");
            check(!line.tooLong, "short files have no overlong line");
            joined.append(line.text);
            if (!line.unterminated) joined.push_back('\n');
            checkParse(line.text);
        }
        check(reader.readError().empty(), "the file reads whole");
        check(joined == std::string_view(reinterpret_cast<const char*>(data), size),
              "the lines give the bytes back");
    }
    close(fd);
}

int32_t optionalNumber(FuzzedDataProvider& input) {
    return input.ConsumeBool() ? -1 : input.ConsumeIntegral<int32_t>();
}

void checkOptional(const std::optional<int>& parsed, int32_t given, const char* what) {
    check(given == -1 ? !parsed.has_value() : parsed == given, what);
}

// A line as the recorder stores it parses back to what it was made from.
void checkRoundTrip(FuzzedDataProvider& input) {
    sr::ResultParam param;
    param.sensorId = optionalNumber(input);
    param.frameNum = optionalNumber(input);
    param.magicNum = optionalNumber(input);
    param.moduleId = input.ConsumeIntegral<uint32_t>();
    param.decisionType = static_cast<sr::DecisionType>(input.ConsumeIntegralInRange(0, 8));
    param.stageId = input.ConsumeIntegralInRange(-1, 40);
    const bool isExecution = input.ConsumeBool();
    const std::string text = input.ConsumeRandomLengthString(kMaxTextBytes);

    char line[sr::kRecordLineSize];
    size_t length = 0;
    if (isExecution) {
        length = sr::formatExecutionLine(param, sr::toRecordText(text), line);
    } else {
        sr::DecisionParam decision;
        decision.sensorId = param.sensorId;
        decision.frameNum = param.frameNum;
        decision.magicNum = param.magicNum;
        decision.moduleId = param.moduleId;
        decision.decisionType = param.decisionType;
        length = sr::formatDecisionLine(decision, sr::toRecordText(text), line);
    }
    const std::string_view stored(line, length - 1);
    const ParsedLine parsed = scenariolog::parseLine(stored);
    check(parsed.kind == LineKind::kRecord, "a recorder line parses as a record");
    const scenariolog::Record& record = parsed.record;
    checkOptional(record.sensorId, param.sensorId, "sensor id");
    checkOptional(record.frameNum, param.frameNum, "frame number");
    checkOptional(record.magicNum, param.magicNum, "magic number");
    check(record.module == sr::ConvertToString::getInstance().getModuleName(param.moduleId),
          "module name");
    const char* decisionName =
        sr::ConvertToString::getInstance().getDecisionName(param.decisionType);
    if (isExecution) {
        check(record.kind == scenariolog::RecordKind::kExecution, "execution kind");
        check(record.stage == sr::ConvertToString::getInstance().getStageName(param.stageId),
              "stage name");
        check(record.result == decisionName, "result name");
    } else {
        check(record.kind == scenariolog::RecordKind::kDecision, "decision kind");
        check(record.decision == decisionName, "decision name");
    }
    const sr::RecordText given = sr::toRecordText(text);
    const std::string_view givenText(given.chars, given.length);
    // A long text is cut with the line; what is kept is its beginning.
    check(givenText.substr(0, record.text.size()) == record.text, "text");
    check(record.text.size() == givenText.size() || stored.size() == sr::kRecordLineSize - 1,
          "only a full line cuts its text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkLines(data, size);
    FuzzedDataProvider input(data, size);
    const std::string name = input.ConsumeRandomLengthString(200);
    (void)scenariolog::parseLogFileName(name);
    checkRoundTrip(input);
    return 0;
}
