#include "reading/ProblemReport.h"

#include "base/Counted.h"
#include "base/Json.h"

namespace scenariolog {

void ProblemReport::report(const std::string& path, std::optional<std::uint64_t> line,
                           std::string_view reason) {
    if (path != mFile) {
        finish();
        mFile = path;
    }
    ++mCount;
    if (++mFileCount <= kListedPerFile) print(path, line, reason);
}

void ProblemReport::reportInputError(const std::string& path, std::string_view reason) {
    ++mInputErrors;
    report(path, std::nullopt, reason);
}

void ProblemReport::finish() {
    if (mFileCount > kListedPerFile) {
        const std::uint64_t unlisted = mFileCount - kListedPerFile;
        print(mFile, std::nullopt,
              counted(unlisted, "more problem", "more problems") + " in this file not listed");
    }
    mFileCount = 0;
}

void ProblemReport::print(const std::string& path, std::optional<std::uint64_t> line,
                          std::string_view reason) {
    if (mJson) {
        mOut << JsonObject()
                    .add("type", "problem")
                    .add("file", path)
                    .add("line", line)
                    .add("reason", reason)
                    .str()
             << '\n';
        return;
    }
    mErr << path;
    if (line) mErr << ':' << *line;
    mErr << ": " << reason << '\n';
}

}  // namespace scenariolog
