#include "reading/LineReader.h"

#include <cerrno>
#include <system_error>

namespace scenariolog {
namespace {

constexpr std::size_t kChunkBytes = std::size_t{256} * 1024;

}  // namespace

LineReader::LineReader(const std::string& path)
    : mFile(std::fopen(path.c_str(), "rb")), mChunk(kChunkBytes) {
    if (!mFile) mOpenError = std::generic_category().message(errno);
    mLine.reserve(kMaxLineBytes);
}

bool LineReader::refill() {
    if (!mFile || !mReadError.empty()) return false;
    mChunkPos = 0;
    mChunkEnd = std::fread(mChunk.data(), 1, mChunk.size(), mFile.get());
    if (mChunkEnd == 0 && std::ferror(mFile.get()) != 0)
        mReadError = std::generic_category().message(errno);
    // One scan per chunk spares the parser a scan per line.
    mChunkNulFree = std::memchr(mChunk.data(), '\0', mChunkEnd) == nullptr;
    return mChunkEnd > 0;
}

void LineReader::append(const char* data, std::size_t size) {
    const std::size_t room = kMaxLineBytes - mLine.size();
    if (size > room) mLineTooLong = true;
    mLine.append(data, size < room ? size : room);
}

bool LineReader::nextAcrossChunks(Line& line) {
    mLine.clear();
    mLineTooLong = false;
    bool sawAnything = false;
    bool terminated = false;
    while (!terminated && (mChunkPos < mChunkEnd || refill())) {
        sawAnything = true;
        const char* start = mChunk.data() + mChunkPos;
        const std::size_t available = mChunkEnd - mChunkPos;
        const void* newline = std::memchr(start, '\n', available);
        const std::size_t length =
            newline != nullptr ? static_cast<const char*>(newline) - start : available;
        append(start, length);
        terminated = newline != nullptr;
        mChunkPos += length + (terminated ? 1 : 0);
    }
    if (!sawAnything) return false;
    line.text = mLine;
    line.number = ++mLineNumber;
    line.tooLong = mLineTooLong;
    line.unterminated = !terminated;
    line.nulFree = false;
    return true;
}

}  // namespace scenariolog
