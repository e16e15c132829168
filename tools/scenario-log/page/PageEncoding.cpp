#include "page/PageEncoding.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <random>
#include <sstream>

namespace scenariolog {
namespace {

constexpr std::string_view kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

// Encodes bytes as they come; holds back up to two that do not fill a group.
class Base64Writer {
  public:
    explicit Base64Writer(std::ostream& out) : mOut(out) {}

    void write(const unsigned char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            mGroup[mHeld++] = bytes[i];
            if (mHeld == 3) flushGroup();
        }
        if (mText.size() >= kChunkBytes) {
            mOut << mText;
            mText.clear();
        }
    }

    void finish() {
        if (mHeld > 0) {
            const std::size_t held = mHeld;
            for (std::size_t i = held; i < 3; ++i) mGroup[i] = 0;
            flushGroup();
            for (std::size_t i = held + 1; i < 4; ++i) mText[mText.size() - 4 + i] = '=';
        }
        mOut << mText;
        mText.clear();
    }

  private:
    void flushGroup() {
        const unsigned value = (mGroup[0] << 16u) | (mGroup[1] << 8u) | mGroup[2];
        for (int shift = 18; shift >= 0; shift -= 6) mText += kBase64Digits[(value >> shift) & 63u];
        mHeld = 0;
    }

    std::ostream& mOut;
    std::array<unsigned, 3> mGroup{};
    std::size_t mHeld = 0;
    std::string mText;
};

}  // namespace

std::string scriptSafeJson(std::string_view json) {
    std::string out;
    out.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (c == '<') {
            out += "\\u003c";
        } else if (c == '>') {
            out += "\\u003e";
        } else if (c == '&') {
            out += "\\u0026";
        } else if (json.substr(i, 3) == "\xE2\x80\xA8" || json.substr(i, 3) == "\xE2\x80\xA9") {
            out += json[i + 2] == '\xA8' ? "\\u2028" : "\\u2029";
            i += 2;
        } else {
            out += c;
        }
    }
    return out;
}

bool writeDeflatedBase64(std::string_view data, std::ostream& out) {
    z_stream stream{};
    if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) return false;
    Base64Writer base64(out);
    std::array<unsigned char, kChunkBytes> buffer{};
    // zlib reads without writing through next_in; its type predates const.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = 0;
    std::size_t left = data.size();
    int status = Z_OK;
    while (status != Z_STREAM_END) {
        if (stream.avail_in == 0 && left > 0) {
            stream.avail_in = static_cast<uInt>(std::min<std::size_t>(left, kChunkBytes));
            left -= stream.avail_in;
        }
        stream.next_out = buffer.data();
        stream.avail_out = static_cast<uInt>(buffer.size());
        status = deflate(&stream, left == 0 ? Z_FINISH : Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) break;
        base64.write(buffer.data(), buffer.size() - stream.avail_out);
    }
    deflateEnd(&stream);
    base64.finish();
    return status == Z_STREAM_END;
}

std::string randomNonce() {
    std::random_device device;
    std::array<unsigned char, 16> bytes{};
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(device());
    std::ostringstream text;
    Base64Writer base64(text);
    base64.write(bytes.data(), bytes.size());
    base64.finish();
    return text.str();
}

}  // namespace scenariolog
