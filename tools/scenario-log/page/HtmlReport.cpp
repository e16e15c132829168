#include "page/HtmlReport.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "base/ExitStatus.h"
#include "base/Json.h"
#include "commands/SummaryReport.h"
#include "page/CompareMarks.h"
#include "page/PageEncoding.h"
#include "page/WebAssets.h"
#include "reading/LogCatalog.h"
#include "tables/SeriesTable.h"

namespace scenariolog {
namespace {

constexpr std::string_view kNonceMark = "@NONCE@";
constexpr std::string_view kStyleMark = "<!-- @style -->";
constexpr std::string_view kDataMark = "<!-- @data -->";
constexpr std::string_view kScriptMark = "<!-- @script -->";

// Problems go to the command line as always and, as `--json` lists them, into
// the page.
class TeeProblems : public ProblemSink {
  public:
    explicit TeeProblems(ProblemReport& commandLine)
        : mCommandLine(commandLine), mPage(mJson, mJson, true) {}

    void report(const std::string& path, std::optional<std::uint64_t> line,
                std::string_view reason) override {
        mCommandLine.report(path, line, reason);
        mPage.report(path, line, reason);
    }
    void reportInputError(const std::string& path, std::string_view reason) override {
        mCommandLine.reportInputError(path, reason);
        mPage.report(path, std::nullopt, reason);
    }
    void finish() {
        mCommandLine.finish();
        mPage.finish();
    }
    const ProblemReport& page() const { return mPage; }
    std::string json() const { return mJson.str(); }

  private:
    ProblemReport& mCommandLine;
    std::ostringstream mJson;
    ProblemReport mPage;
};

// The page around its data: the template with its marks filled in.
class PageTemplate {
  public:
    PageTemplate() : mNonce(randomNonce()) {
        const std::string_view html = kReportHtml;
        const std::size_t style = html.find(kStyleMark);
        const std::size_t data = html.find(kDataMark);
        const std::size_t script = html.find(kScriptMark);
        mHead = withNonce(html.substr(0, style)) + "<style nonce=\"" + mNonce + "\">\n" +
                std::string(kReportCss) + "</style>" +
                withNonce(html.substr(style + kStyleMark.size(), data - style - kStyleMark.size()));
        // One function scope for the scripts, which share it in this order.
        mTail = withNonce(html.substr(data + kDataMark.size(), script - data - kDataMark.size())) +
                "<script nonce=\"" + mNonce + "\">\n(function () {\n\"use strict\";\n" +
                std::string(kReportTextJs) + std::string(kReportDiffJs) +
                std::string(kReportMapJs) + std::string(kReportPageJs) + "})();\n</script>" +
                withNonce(html.substr(script + kScriptMark.size()));
    }

    const std::string& head() const { return mHead; }
    const std::string& tail() const { return mTail; }

  private:
    std::string withNonce(std::string_view part) const {
        std::string text(part);
        for (std::size_t at = text.find(kNonceMark); at != std::string::npos;
             at = text.find(kNonceMark, at)) {
            text.replace(at, kNonceMark.size(), mNonce);
        }
        return text;
    }

    std::string mNonce;
    std::string mHead;
    std::string mTail;
};

// Walks the series for the page: each series' summary, as `summary --json`
// prints it, and its table, written into the page when its walk ends.
class PageVisitor : public SeriesVisitor {
  public:
    PageVisitor(std::ostream& page, const ProblemReport& problems)
        : mPage(page), mSummary(mSummaryJson, true, problems) {}

    void beginSeries(const LogSeries& series) override {
        mSummary.beginSeries(series);
        mTable = std::make_unique<SeriesTable>(series);
    }
    void onHeadline(const LineContext& context, const Headline& headline) override {
        mSummary.onHeadline(context, headline);
        mTable->addHeadline(context, headline);
    }
    void onRecord(const LineContext& context, const Record& record) override {
        mSummary.onRecord(context, record);
        mTable->addRecord(context, record);
    }
    void endSeries(const LogSeries& series) override {
        mSummary.endSeries(series);
        mPage << "<script type=\"application/octet-stream\" id=\"series-" << mSeries++ << "\">";
        mFailed |= !writeDeflatedBase64(mTable->json(), mPage);
        mPage << "</script>\n";
        mTable.reset();
    }

    // The summary's lines, the totals last.
    std::string summaryJson() {
        mSummary.finish();
        return mSummaryJson.str();
    }
    bool failed() const { return mFailed; }

  private:
    std::ostream& mPage;
    std::ostringstream mSummaryJson;
    SummaryReport mSummary;
    std::unique_ptr<SeriesTable> mTable;
    int mSeries = 0;
    bool mFailed = false;
};

// JSON values, one a line, as one array.
std::string jsonArray(const std::string& lines) {
    std::string array = "[";
    std::istringstream in(lines);
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        if (array.size() > 1) array += ",\n";
        array += line;
    }
    return array + "]";
}

std::string overviewJson(const std::vector<std::string>& inputs, const std::string& summary,
                         const std::string& problems, const std::string& compare) {
    std::string names;  // one JSON string a line; escaping leaves no raw line break
    for (const std::string& input : inputs) names += jsonString(input, true) + "\n";
    return JsonObject()
        .addRaw("inputs", jsonArray(names))
        .addRaw("summary", jsonArray(summary))
        .addRaw("problems", jsonArray(problems))
        .addRaw("compare", compare.empty() ? "null" : compare)
        .str();
}

}  // namespace

int runHtmlReport(const std::vector<std::string>& inputs, const std::string& output,
                  ProblemReport& problems, std::ostream& err) {
    TeeProblems tee(problems);
    // Listed before the page is begun, which may be in one of the folders.
    const std::vector<LogSeries> series = catalogInputs(inputs, tee);
    if (problems.inputErrors() > 0) {
        tee.finish();
        return kExitTrouble;
    }
    std::string compare;  // of two inputs: where B differs from A (CompareMarks.h)
    if (inputs.size() == 2) {
        try {
            compare = compareMarksJson(inputs[0], inputs[1], series, err);
        } catch (const std::runtime_error& failure) {
            err << "scenario-log: " << failure.what() << "\n";
            return kExitTrouble;
        }
    }
    const std::string temporary = output + ".part" + std::to_string(getpid());
    std::ofstream page(temporary, std::ios::binary | std::ios::trunc);
    if (!page) {
        err << "scenario-log: cannot write " << output << ": "
            << std::error_code(errno, std::generic_category()).message() << "\n";
        return kExitTrouble;
    }
    const PageTemplate pageTemplate;
    page << pageTemplate.head();
    PageVisitor visitor(page, tee.page());
    for (const LogSeries& one : series) walkSeries(one, visitor, tee);
    tee.finish();
    page << "<script type=\"application/json\" id=\"overview-data\">"
         << scriptSafeJson(overviewJson(inputs, visitor.summaryJson(), tee.json(), compare))
         << "</script>\n"
         << pageTemplate.tail();
    page.close();
    if (!page || visitor.failed() || std::rename(temporary.c_str(), output.c_str()) != 0) {
        err << "scenario-log: cannot write " << output << "\n";
        (void)std::remove(temporary.c_str());  // gone or not, nothing more to do
        return kExitTrouble;
    }
    return series.empty() ? kExitNoMatch : kExitMatch;
}

}  // namespace scenariolog
