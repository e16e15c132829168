#include "reading/SeriesWalker.h"

#include "reading/LineReader.h"

namespace scenariolog {
namespace {

// The request of the block being read; see the header for the rules.
class RequestAttribution {
  public:
    explicit RequestAttribution(const LogFileName& identity) {
        if (identity.kind == SeriesKind::kCapture) mSeriesRequest = identity.requestNum;
        mCurrent = mSeriesRequest;
    }

    // Starts the block of `headline`; returns a problem text, or nullptr.
    const char* beginBlock(const Headline& headline) {
        if (mSeriesRequest) {
            mCurrent = mSeriesRequest;
            const bool differs = headline.requestNum && headline.requestNum != mSeriesRequest;
            return differs || !headline.requestsAgree
                       ? "headline names a request other than the capture series' request"
                       : nullptr;
        }
        if (!headline.requestsAgree) {
            mCurrent.reset();
            return "headline names different requests; its block counts as unknown request";
        }
        mCurrent = headline.requestNum;
        return nullptr;
    }

    // Lines were lost: the block being read is no longer known.
    void forget() { mCurrent = mSeriesRequest; }

    std::optional<int> current() const { return mCurrent; }

  private:
    std::optional<int> mSeriesRequest;
    std::optional<int> mCurrent;
};

class Walk {
  public:
    Walk(const LogSeries& series, SeriesVisitor& visitor, ProblemSink& problems)
        : mSeries(series),
          mVisitor(visitor),
          mProblems(problems),
          mAttribution(series.identity()) {}

    void run();

  private:
    void checkIndexGap(const LogFile& file, int previousIndex);
    void readFile(const LogFile& file);
    bool acceptLine(const LogFile& file, const Line& line);
    void handleLine(const LogFile& file, const Line& line);

    const LogSeries& mSeries;
    SeriesVisitor& mVisitor;
    ProblemSink& mProblems;
    RequestAttribution mAttribution;
    ParsedLine mParsed;  // of the line being handled; reused, not cleared, from line to line
};

void Walk::run() {
    mVisitor.beginSeries(mSeries);
    int previousIndex = 0;
    for (const LogFile& file : mSeries.files) {
        checkIndexGap(file, previousIndex);
        readFile(file);
        previousIndex = file.name.index;
    }
    mVisitor.endSeries(mSeries);
}

// Files at the start of a series may be gone (old files are deleted when
// storage runs short); a gap inside the series means lost lines.
void Walk::checkIndexGap(const LogFile& file, int previousIndex) {
    if (previousIndex == 0 || file.name.index == previousIndex + 1) {
        if (previousIndex == 0 && file.name.index > 1) mAttribution.forget();
        return;
    }
    const int first = previousIndex + 1;
    const int last = file.name.index - 1;
    mProblems.report(file.path, std::nullopt,
                     first == last
                         ? "file with index " + std::to_string(first) + " of this series is missing"
                         : "files with index " + std::to_string(first) + " to " +
                               std::to_string(last) + " of this series are missing");
    mAttribution.forget();
}

void Walk::readFile(const LogFile& file) {
    LineReader reader(file.path);
    if (!reader.openError().empty()) {
        mProblems.report(file.path, std::nullopt, "cannot open: " + reader.openError());
        mAttribution.forget();
        return;
    }
    Line line;
    while (reader.next(line)) {
        if (acceptLine(file, line)) handleLine(file, line);
    }
    if (!reader.readError().empty()) {
        mProblems.report(file.path, std::nullopt, "read error: " + reader.readError());
        mAttribution.forget();
    }
}

// Sorts out what is not a whole line, and the continuation marker.
bool Walk::acceptLine(const LogFile& file, const Line& line) {
    if (line.tooLong) {
        mProblems.report(
            file.path, line.number,
            "line longer than " + std::to_string(LineReader::kMaxLineBytes) + " bytes; skipped");
        return false;
    }
    if (line.unterminated) {
        mProblems.report(file.path, line.number, "last line has no line break (torn write)");
        return false;
    }
    if (line.text == kContinuedLine) {
        if (line.number == 1 && file.name.index > 1) return false;
        mProblems.report(file.path, line.number, "unexpected \"-- CONTINUED --\" line");
        return false;
    }
    if (line.number == 1 && file.name.index > 1) {
        mProblems.report(file.path, line.number, "file does not start with \"-- CONTINUED --\"");
    }
    return true;
}

void Walk::handleLine(const LogFile& file, const Line& line) {
    if (line.nulFree) {
        parseLineWithoutNul(line.text, mParsed);
    } else {
        mParsed = parseLine(line.text);
    }
    const ParsedLine& parsed = mParsed;
    if (parsed.kind == LineKind::kUnparsable) {
        mProblems.report(file.path, line.number, parsed.reason);
        return;
    }
    if (parsed.kind == LineKind::kHeadline) {
        if (const char* problem = mAttribution.beginBlock(parsed.headline)) {
            mProblems.report(file.path, line.number, problem);
        }
    }
    const LineContext context{&file, line.number, line.text, mAttribution.current()};
    if (parsed.kind == LineKind::kHeadline) {
        mVisitor.onHeadline(context, parsed.headline);
    } else {
        mVisitor.onRecord(context, parsed.record);
    }
}

}  // namespace

void walkSeries(const LogSeries& series, SeriesVisitor& visitor, ProblemSink& problems) {
    Walk(series, visitor, problems).run();
}

}  // namespace scenariolog
