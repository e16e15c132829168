// Reads a file line by line in bounded memory, whatever the file holds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace scenariolog {

struct Line {
    std::string_view text;      // without its line break; valid until the next read
    std::uint64_t number = 0;   // 1 for the first line of the file
    bool tooLong = false;       // longer than kMaxLineBytes; `text` holds only its start
    bool unterminated = false;  // the file ends inside this line (no line break after it)
    bool nulFree = false;       // true: the line holds no NUL byte; false: it may hold one
};

class LineReader {
  public:
    // Lines longer than this are not kept whole; the longest line the
    // recorder writes has 1,023 characters.
    static constexpr std::size_t kMaxLineBytes = std::size_t{64} * 1024;

    explicit LineReader(const std::string& path);

    // Empty when the file was opened, otherwise why it could not be.
    const std::string& openError() const { return mOpenError; }
    // Empty unless reading failed part-way; the lines before the failure were delivered.
    const std::string& readError() const { return mReadError; }

    // The next line; false at the end of the file or after a read error.
    // Inline where the line lies whole in the chunk read, as nearly all do.
    bool next(Line& line) {
        if (mChunkPos < mChunkEnd) {
            const char* start = mChunk.data() + mChunkPos;
            const void* newline = std::memchr(start, '\n', mChunkEnd - mChunkPos);
            if (newline != nullptr) {
                const auto length =
                    static_cast<std::size_t>(static_cast<const char*>(newline) - start);
                if (length <= kMaxLineBytes) {
                    line.text = std::string_view(start, length);
                    line.number = ++mLineNumber;
                    line.tooLong = false;
                    line.unterminated = false;
                    line.nulFree = mChunkNulFree;
                    mChunkPos += length + 1;
                    return true;
                }
            }
        }
        return nextAcrossChunks(line);
    }

  private:
    struct FileCloser {
        // Opened for reading only: closing it can lose nothing.
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };

    // A line that goes on into the next chunk, or the end of the file.
    bool nextAcrossChunks(Line& line);
    bool refill();
    void append(const char* data, std::size_t size);

    std::unique_ptr<std::FILE, FileCloser> mFile;
    std::string mOpenError;
    std::string mReadError;
    std::vector<char> mChunk;
    std::size_t mChunkPos = 0;
    std::size_t mChunkEnd = 0;
    bool mChunkNulFree = false;  // no NUL byte in mChunk[0, mChunkEnd)
    std::string mLine;
    bool mLineTooLong = false;
    std::uint64_t mLineNumber = 0;
};

}  // namespace scenariolog
