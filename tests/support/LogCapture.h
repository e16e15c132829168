// Captures the library's log lines from both sinks while it lives: the
// Android log through liblog's logger hook, the unified camera logger through
// a test sink. Sets the unified logger's settings so that every level passes
// to both sinks, and restores them afterwards.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace testsupport {

struct CapturedLine {
    enum class Sink { kAndroid, kUnified };
    Sink sink;
    int level;  // Android priority, or the unified logger's level
    std::string tag;
    std::string text;
    unsigned int moduleId;  // unified logger only
};

class LogCapture {
  public:
    // `mode`, `detailsLevel` and `mask` are the unified logger's settings while
    // capturing; the defaults let every line through to both sinks.
    explicit LogCapture(int mode = 0x3, int detailsLevel = 5,
                        unsigned int mask = (1u << 30) | (1u << 13));
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<CapturedLine> lines() const;
    // Texts of the unified logger's lines that contain `needle`.
    std::vector<std::string> unifiedLinesContaining(const std::string& needle) const;

    void add(CapturedLine line);
    // Calls `observer` with each line as it is logged, on the logging thread.
    void onEachLine(std::function<void(const CapturedLine&)> observer);

  private:
    mutable std::mutex mLock;
    std::vector<CapturedLine> mLines;                    // guarded by mLock
    std::function<void(const CapturedLine&)> mObserver;  // guarded by mLock
    int mSavedMode;
    int mSavedDetailsLevel;
    unsigned int mSavedMask;
    int mSavedMinimumPriority;
};

}  // namespace testsupport
