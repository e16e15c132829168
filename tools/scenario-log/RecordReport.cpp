#include "RecordReport.h"

namespace scenariolog {

RecordReport RecordReport::forRequest(std::ostream& out, bool json, int request) {
    RecordReport report(out, json);
    report.mRequest = request;
    return report;
}

RecordReport RecordReport::forFilter(std::ostream& out, bool json, const RecordFilter& filter) {
    RecordReport report(out, json);
    report.mFilter = filter;
    return report;
}

void RecordReport::beginSeries(const LogSeries& series) {
    mSeries = &series;
    mSeriesHeaderDue = true;
}

void RecordReport::onHeadline(const LineContext& context, const Headline& headline) {
    if (!mRequest || context.request != mRequest) return;
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
    if (mRequest ? context.request != mRequest : !mFilter.matches(record)) return;
    ++mMatchedRecords;
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

void RecordReport::printSeriesHeader() {
    if (!mSeriesHeaderDue || !mRequest) return;
    mSeriesHeaderDue = false;
    const LogFileName& name = mSeries->identity();
    mOut << "== " << seriesKindName(name.kind) << " series " << name.prefix << " " << name.timeStamp
         << "\n";
}

void RecordReport::printText(const LineContext& context) {
    printSeriesHeader();
    mOut << context.file->path << ':' << context.line << ": ";
    if (!mRequest) {
        mOut << "request ";
        if (context.request) {
            mOut << *context.request;
        } else {
            mOut << '?';
        }
        mOut << ": ";
    }
    mOut.write(context.text.data(), static_cast<std::streamsize>(context.text.size()));
    mOut << '\n';
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
