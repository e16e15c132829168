#include "LineReader.h"

#include <cerrno>
#include <cstring>
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
    return mChunkEnd > 0;
}

void LineReader::append(const char* data, std::size_t size) {
    const std::size_t room = kMaxLineBytes - mLine.size();
    if (size > room) mLineTooLong = true;
    mLine.append(data, size < room ? size : room);
}

// A line that lies whole in the chunk is handed out where it lies.
bool LineReader::nextInChunk(Line& line) {
    const char* start = mChunk.data() + mChunkPos;
    const void* newline = std::memchr(start, '\n', mChunkEnd - mChunkPos);
    if (newline == nullptr) return false;
    const std::size_t length = static_cast<const char*>(newline) - start;
    if (length > kMaxLineBytes) return false;
    line.text = std::string_view(start, length);
    line.number = ++mLineNumber;
    line.tooLong = false;
    line.unterminated = false;
    mChunkPos += length + 1;
    return true;
}

bool LineReader::next(Line& line) {
    if (mChunkPos < mChunkEnd && nextInChunk(line)) return true;
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
    return true;
}

}  // namespace scenariolog
