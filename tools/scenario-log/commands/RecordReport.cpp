#include "commands/RecordReport.h"

#include <charconv>

#include "base/Counted.h"

namespace scenariolog {
namespace {

template <typename Number>
void appendNumber(std::string& text, Number number) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.append(digits, static_cast<std::size_t>(end - digits));
}

}  // namespace

RecordReport RecordReport::forRequests(std::ostream& out, bool json, const RequestRange& range) {
    RecordReport report(out, json);
    report.mShow = true;
    report.mRange = range;
    return report;
}

RecordReport RecordReport::forFilter(std::ostream& out, bool json, const RecordFilter& filter,
                                     const RequestRange& range) {
    RecordReport report(out, json);
    report.mFilter = filter;
    report.mRange = range;
    return report;
}

void RecordReport::beginSeries(const LogSeries& series) {
    mSeries = &series;
    mSeriesHeaderDue = true;
}

void RecordReport::onHeadline(const LineContext& context, const Headline& headline) {
    if (!mShow || !mRange.contains(context.request)) return;
    ++mMatched;
    if (!mJson) {
        printText(context);
        return;
    }
    mOut << placeJson(context, "headline")
                .add("nddTexts", headline.nddCount)
                .add("uniqueKey", headline.uniqueKey)
                .add("requestNum", headline.requestNum)
                .add("snippets", headline.snippets)
                .str()
         << "\n";
}

void RecordReport::onRecord(const LineContext& context, const Record& record) {
    if (!context.request) ++mUnknownRequestRecords;
    if (!mRange.contains(context.request) || (!mShow && !mFilter.matches(record))) return;
    ++mMatched;
    if (!mJson) {
        printText(context);
        return;
    }
    JsonObject object = placeJson(context, "record");
    object.add("kind", recordKindName(record.kind))
        .add("sensorId", record.sensorId)
        .add("frameNum", record.frameNum)
        .add("magicNum", record.magicNum)
        .add("module", record.module);
    if (record.kind == RecordKind::kDecision) {
        object.add("decision", record.decision);
    } else {
        object.add("stage", record.stage).add("result", record.result);
    }
    mOut << object.add("text", record.text).str() << "\n";
}

void RecordReport::printNotes(std::ostream& err) const {
    if (mJson) return;
    if (mMatched == 0 && mShow && mRange.from == mRange.to) {
        err << "scenario-log: request " << mRange.text() << " is in none of the inputs\n";
    } else if (mMatched == 0 && mShow) {
        err << "scenario-log: none of requests " << mRange.text() << " is in the inputs\n";
    } else if (mMatched == 0) {
        err << "scenario-log: no matching records\n";
    }
    if (mRange.bounded() && mUnknownRequestRecords > 0) {
        err << "scenario-log: " << counted(mUnknownRequestRecords, "record", "records")
            << " of unknown request (preview blocks without [ReqNum: N]) not shown\n";
    }
}

void RecordReport::printSeriesHeader() {
    if (!mSeriesHeaderDue || !mShow) return;
    mSeriesHeaderDue = false;
    const LogFileName& name = mSeries->identity();
    mOut << "== " << seriesKindName(name.kind) << " series " << name.prefix << " " << name.timeStamp
         << "\n";
}

// The line is put together in one buffer and written with one call: one
// stream insertion per piece cost more than the reading when many match.
void RecordReport::printText(const LineContext& context) {
    printSeriesHeader();
    std::string& line = mLine;
    line.assign(context.file->path);
    line += ':';
    appendNumber(line, context.line);
    line += ": ";
    if (!mShow) {
        line += "request ";
        if (context.request) {
            appendNumber(line, *context.request);
        } else {
            line += '?';
        }
        line += ": ";
    }
    line.append(context.text);
    line += '\n';
    mOut.write(line.data(), static_cast<std::streamsize>(line.size()));
}

JsonObject RecordReport::placeJson(const LineContext& context, const char* type) const {
    const LogFileName& name = mSeries->identity();
    JsonObject object;
    object.add("type", type)
        .add("file", context.file->path)
        .add("line", context.line)
        .add("series", name.seriesKey())
        .add("seriesKind", seriesKindName(name.kind))
        .add("request", context.request);
    return object;
}

}  // namespace scenariolog
