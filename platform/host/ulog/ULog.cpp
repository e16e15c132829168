// Host implementation of the unified camera logger stand-in; see zyncam/utils/ULog.h.
#include <zyncam/utils/ULog.h>

namespace NSCam {
namespace Utils {
namespace ULog {

namespace {
ULogger gDiscardingLogger;
}

ULogger::~ULogger() = default;

void ULogger::onLogLine(uint32_t, const char*, int, const char*, size_t) {}

void ULogger::onFlush(int) {}

int ULogger::sMode = 1;
int ULogger::sDetailsLevel = 2;
uint32_t ULogger::sNormalDetailsMask = 0;
ULogger* ULogger::sULogger = &gDiscardingLogger;

}  // namespace ULog
}  // namespace Utils
}  // namespace NSCam
