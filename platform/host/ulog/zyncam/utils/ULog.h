// Host stand-in for the platform's unified camera logger (libzyncam_ulog).
//
// The device library routes lines from every camera module into one log. On
// the host, the default sink discards everything; tests and programs install
// a sink of their own by deriving from ULogger and pointing sULogger at it.
//
// Host defaults of the settings:
//   sMode              = 1   Android log on (bit 0), unified logger off (bits 1 and 3)
//   sDetailsLevel      = 2   errors and warnings pass; info needs 3, debug 5
//   sNormalDetailsMask = 0   info and debug lines need bit 30 and one of bits 12..14
// The settings are plain statics, as on the device: change them only while no
// other thread is logging.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace NSCam {
namespace Utils {
namespace ULog {

class ULogger {
  public:
    virtual ~ULogger();

    // Receives one formatted line: the module id of the reporter, the log tag,
    // the level (1 error, 2 warning, 3 info, 5 debug), the text and its length.
    virtual void onLogLine(uint32_t moduleId, const char* tag, int level, const char* text,
                           size_t length);

    // Pushes out whatever the sink holds; `level` 1 is used before an abort.
    virtual void onFlush(int level);

    static int sMode;
    static int sDetailsLevel;
    static uint32_t sNormalDetailsMask;
    static ULogger* sULogger;  // never null on the host; reset by installing another sink
};

}  // namespace ULog
}  // namespace Utils
}  // namespace NSCam
