// libFuzzer target: the log reader on whatever a file may hold. Lines joined
// give the bytes back and parse with their views inside them; file names
// parse; recorder-formatted lines parse back to their fields; text compares
// stay consistent; `changes`, `diff` and fuzzed command lines end with a
// defined status. Any difference aborts.
#include <ctype.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "ConvertToString.h"
#include "FuzzScratch.h"
#include "RecordFormat.h"
#include "Report.h"
#include "reading/LineReader.h"
#include "reading/LogFileName.h"
#include "reading/LogParser.h"
#include "tables/TextCompare.h"

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

// The file of the bytes, read back line by line.
void checkLines(const std::string& path, const uint8_t* data, size_t size) {
    scenariolog::LineReader reader(path);
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
    const sr::RecordText given = sr::toRecordText(text);

    const sr::DecisionParam decision{0,
                                     -1,
                                     param.frameNum,
                                     param.magicNum,
                                     0,
                                     param.sensorId,
                                     param.decisionType,
                                     param.moduleId};
    char line[sr::kRecordLineSize];
    const size_t length = isExecution ? sr::formatExecutionLine(param, given, line)
                                      : sr::formatDecisionLine(decision, given, line);
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
    const std::string_view givenText(given.chars, given.length);
    // A long text is cut with the line; what is kept is its beginning.
    check(givenText.substr(0, record.text.size()) == record.text, "text");
    check(record.text.size() == givenText.size() || stored.size() == sr::kRecordLineSize - 1,
          "only a full line cuts its text");
}

// The text with every run of digits as one '0'.
std::string digitRunsAsZero(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool digit = isdigit(static_cast<unsigned char>(text[i]));
        if (!digit || i == 0 || !isdigit(static_cast<unsigned char>(text[i - 1])))
            out.push_back(digit ? '0' : text[i]);
    }
    return out;
}

void checkCompare(FuzzedDataProvider& input) {
    const bool ignoreNumbers = input.ConsumeBool();
    const std::string a = input.ConsumeRandomLengthString(64);
    const std::string b = input.ConsumeRandomLengthString(64);
    const scenariolog::TextDifference d = scenariolog::compareTexts(a, b, ignoreNumbers);
    check(
        d.a.begin <= d.a.end && d.a.end <= a.size() && d.b.begin <= d.b.end && d.b.end <= b.size(),
        "spans lie inside their texts");
    check(d.equal == (ignoreNumbers ? digitRunsAsZero(a) == digitRunsAsZero(b) : a == b),
          "equal when alike");
    if (!ignoreNumbers) {
        check(d.a.begin == d.b.begin && a.compare(0, d.a.begin, b, 0, d.b.begin) == 0 &&
                  a.size() - d.a.end == b.size() - d.b.end &&
                  a.compare(d.a.end, std::string::npos, b, d.b.end) == 0,
              "spans lie between a common start and end");
    }
    if (d.equal) {
        check(scenariolog::textHash(a, ignoreNumbers) == scenariolog::textHash(b, ignoreNumbers),
              "alike texts hash alike");
    }
}

constexpr const char* kPreviewName =
    "000000001_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";
constexpr const char* kCaptureName =
    "000000001_0007_0001_capture__2025_0102_030406_TuningLog_01.txt";

void writeWhole(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(data, 1, size, file) != size || fclose(file) != 0) abort();
}

// Runs on the bytes written as a preview and a capture file.
void checkCommands(FuzzedDataProvider& input) {
    const std::string folder = fuzzscratch::folder();
    const std::string a = std::to_string(input.ConsumeIntegralInRange(-2, 9));
    const std::string b = std::to_string(input.ConsumeIntegralInRange(-2, 9));
    std::vector<std::vector<std::string>> commands = {
        {"changes", "--all", folder},
        {"changes", "--ignore-numbers", "--from", a, "--to", b, "--json", folder},
        {"diff", "--req", a, "--req", b, folder},
        {"diff", "--ignore-numbers", "--json", folder + ":" + a, folder + ":7"},
    };
    std::vector<std::string> fuzzedArgs;
    while (fuzzedArgs.size() < 6 && input.remaining_bytes() > 0) {
        fuzzedArgs.push_back(input.ConsumeRandomLengthString(24));
    }
    commands.push_back(fuzzedArgs);
    std::ostream out(nullptr);  // without a buffer every output is dropped
    for (const std::vector<std::string>& args : commands) {
        const int status = scenariolog::runScenarioLog(args, out, out, input.ConsumeBool());
        check(status >= 0 && status <= 2, "a command ends with 0, 1 or 2");
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzscratch::makeFolder("log_parser_fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string folder = fuzzscratch::folder();
    writeWhole(folder + "/" + kPreviewName, data, size);
    writeWhole(folder + "/" + kCaptureName, data, size);
    checkLines(folder + "/" + kPreviewName, data, size);
    FuzzedDataProvider input(data, size);
    const std::string name = input.ConsumeRandomLengthString(200);
    (void)scenariolog::parseLogFileName(name);
    checkRoundTrip(input);
    checkCompare(input);
    checkCommands(input);
    return 0;
}
