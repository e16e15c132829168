// Input that could not be read or understood: reported with its file and,
// where there is one, its line, and counted. A problem inside a file never
// stops a report; an input error (an input named on the command line that
// yields no tuning log file at all) is counted apart, so that a command can
// stop before it answers.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace scenariolog {

class ProblemSink {
  public:
    virtual ~ProblemSink() = default;
    virtual void report(const std::string& path, std::optional<std::uint64_t> line,
                        std::string_view reason) = 0;
    // An input named on the command line that cannot be read as tuning log
    // files: missing, unreadable, a folder without one, a foreign file name.
    virtual void reportInputError(const std::string& path, std::string_view reason) {
        report(path, std::nullopt, reason);
    }
};

// Prints problems as they come: text lines "FILE:LINE: reason" to the error
// stream, or JSON objects of type "problem" to the output stream. Only the
// first kListedPerFile problems of a file are listed, followed by one line
// giving the count of the rest; all of them are counted.
class ProblemReport : public ProblemSink {
  public:
    static constexpr std::uint64_t kListedPerFile = 100;

    ProblemReport(std::ostream& out, std::ostream& err, bool json)
        : mOut(out), mErr(err), mJson(json) {}

    void report(const std::string& path, std::optional<std::uint64_t> line,
                std::string_view reason) override;
    void reportInputError(const std::string& path, std::string_view reason) override;
    // Lists the count of unlisted problems of the last file.
    void finish();

    // Every problem, input errors included.
    std::uint64_t count() const { return mCount; }
    std::uint64_t inputErrors() const { return mInputErrors; }

  private:
    void print(const std::string& path, std::optional<std::uint64_t> line, std::string_view reason);

    std::ostream& mOut;
    std::ostream& mErr;
    bool mJson;
    std::uint64_t mCount = 0;
    std::uint64_t mInputErrors = 0;
    std::string mFile;
    std::uint64_t mFileCount = 0;
};

}  // namespace scenariolog
