#include "commands/ImportProgressLine.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace scenariolog {
namespace {

constexpr double kMiB = 1024.0 * 1024.0;

}  // namespace

void ImportProgressLine::start(std::uint64_t files, std::uint64_t bytes) {
    mFiles = files;
    mBytes = bytes;
    mStart = Clock::now();
}

void ImportProgressLine::update(std::uint64_t files, std::uint64_t bytes) {
    if (!mShown) return;
    const Clock::time_point now = Clock::now();
    if (now - mStart < kQuietTime || (mDrawn && now - mLastDraw < kRedrawTime)) return;
    mLastDraw = now;
    mDrawn = true;
    const double seconds = std::chrono::duration<double>(now - mStart).count();
    const double done = mBytes == 0 ? 1.0 : std::min(1.0, double(bytes) / double(mBytes));
    const int filled = static_cast<int>(done * kBarWidth);
    const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(kBarWidth - filled), '-');
    char line[160];
    (void)std::snprintf(line, sizeof line,
                        "\rimporting %llu/%llu files, %.1f/%.1f MiB [%s] %.1f MiB/s\x1b[K",
                        static_cast<unsigned long long>(std::min(files, mFiles)),
                        static_cast<unsigned long long>(mFiles), double(bytes) / kMiB,
                        double(mBytes) / kMiB, bar.c_str(), double(bytes) / kMiB / seconds);
    mErr << line << std::flush;
}

void ImportProgressLine::finish() {
    if (mDrawn) mErr << "\r\x1b[K" << std::flush;
    mDrawn = false;
}

}  // namespace scenariolog
