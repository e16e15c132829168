// Making a headline item: the text block that waits in mNddInfos until the
// service thread puts it into its request's headline.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include "RecordFormat.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// A zeroed block of kHeadlineItemSize bytes that `format` fills, with the
// length that `format` returns; the block is null when memory ran out, and
// then nothing is formatted.
template <typename Format>
std::pair<std::unique_ptr<char[]>, int> makeHeadlineItem(Format format) {
    std::unique_ptr<char[]> block(new (std::nothrow) char[kHeadlineItemSize]());
    if (block == nullptr) return {nullptr, 0};
    const int length = format(*reinterpret_cast<char(*)[kHeadlineItemSize]>(block.get()));
    return {std::move(block), length};
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
