#include "support/LogCapture.h"

#include <android/log.h>
#include <zyncam/utils/ULog.h>

#include <atomic>
#include <utility>

namespace testsupport {

namespace {

using NSCam::Utils::ULog::ULogger;

std::atomic<LogCapture*> gActive{nullptr};

void capture(CapturedLine line) {
    if (LogCapture* active = gActive.load()) active->add(std::move(line));
}

void androidLogger(const struct __android_logger_data* data, const char* message) {
    capture({CapturedLine::Sink::kAndroid, data->priority, data->tag ? data->tag : "", message, 0});
}

class CapturingULogger : public ULogger {
  public:
    void onLogLine(uint32_t moduleId, const char* tag, int level, const char* text,
                   size_t length) override {
        capture({CapturedLine::Sink::kUnified, level, tag, std::string(text, length), moduleId});
    }
};

CapturingULogger gCapturingULogger;
ULogger* gSavedULogger = nullptr;

}  // namespace

LogCapture::LogCapture(int mode, int detailsLevel, unsigned int mask)
    : mSavedMode(ULogger::sMode),
      mSavedDetailsLevel(ULogger::sDetailsLevel),
      mSavedMask(ULogger::sNormalDetailsMask) {
    ULogger::sMode = mode;
    ULogger::sDetailsLevel = detailsLevel;
    ULogger::sNormalDetailsMask = mask;
    gSavedULogger = ULogger::sULogger;
    ULogger::sULogger = &gCapturingULogger;
    __android_log_set_logger(androidLogger);
    // liblog filters by its own minimum priority too; let every level reach the hook.
    mSavedMinimumPriority = __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    gActive.store(this);
}

LogCapture::~LogCapture() {
    gActive.store(nullptr);
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(mSavedMinimumPriority);
    ULogger::sULogger = gSavedULogger;
    ULogger::sMode = mSavedMode;
    ULogger::sDetailsLevel = mSavedDetailsLevel;
    ULogger::sNormalDetailsMask = mSavedMask;
}

void LogCapture::add(CapturedLine line) {
    std::function<void(const CapturedLine&)> observer;
    {
        std::lock_guard<std::mutex> lock(mLock);
        observer = mObserver;
        mLines.push_back(line);
    }
    if (observer) observer(line);
}

void LogCapture::onEachLine(std::function<void(const CapturedLine&)> observer) {
    std::lock_guard<std::mutex> lock(mLock);
    mObserver = std::move(observer);
}

std::vector<CapturedLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mLines;
}

std::vector<std::string> LogCapture::unifiedLinesContaining(const std::string& needle) const {
    std::vector<std::string> found;
    for (const CapturedLine& line : lines()) {
        if (line.sink == CapturedLine::Sink::kUnified &&
            line.text.find(needle) != std::string::npos) {
            found.push_back(line.text);
        }
    }
    return found;
}

}  // namespace testsupport
