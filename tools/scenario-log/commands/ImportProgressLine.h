// The progress of an import on a terminal: one line on standard error,
// redrawn in place, shown only once the import has taken more than a moment
// and cleared when it ends: files and MiB done of all, a bar and the rate.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>

#include "tables/SqlImport.h"

namespace scenariolog {

class ImportProgressLine : public ImportProgress {
  public:
    static constexpr std::chrono::milliseconds kQuietTime{500};
    static constexpr std::chrono::milliseconds kRedrawTime{100};
    static constexpr int kBarWidth = 24;

    // `shown` false: the line is never drawn (standard error is no terminal).
    ImportProgressLine(std::ostream& err, bool shown) : mErr(err), mShown(shown) {}

    void start(std::uint64_t files, std::uint64_t bytes) override;
    void update(std::uint64_t files, std::uint64_t bytes) override;
    void finish() override;

  private:
    using Clock = std::chrono::steady_clock;

    std::ostream& mErr;
    bool mShown;
    bool mDrawn = false;
    std::uint64_t mFiles = 0;
    std::uint64_t mBytes = 0;
    Clock::time_point mStart = Clock::now();
    Clock::time_point mLastDraw;
};

}  // namespace scenariolog
